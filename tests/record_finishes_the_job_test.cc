// The list file is the record of what the tool stopped, and a later run finishes the job from it: through
// the real plink and sshd against the simulated host, a suspend that stopped part-way is undone by the
// resume, and a resume that could not start every VM is finished by the next one.
#include <gtest/gtest.h>

#include <time.h>

#include <string>

#include "real_client_fixture.h"

namespace {

class RecordFinishesTheJob : public RealClient {};

// Three running VMs, the second refuses to suspend: the suspend ends with 11 and web01 is the only one it
// stopped. The resume brings web01 back, although the host never entered maintenance mode.
TEST_F(RecordFinishesTheJob, ResumeAfterAPartialSuspendRestartsWhatItStopped) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "db01", "on", "yes") + Vm("3", "app01", "on"));
    ProgramResult suspend = Run("suspend_vms");
    ASSERT_EQ(11, suspend.exit_status) << Explain(suspend);
    ASSERT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "db01", "Powered on") +
                           Row("3", "app01", "Powered on")),
              ListNow());

    ProgramResult resume = Run("reboot_vms");
    EXPECT_EQ(0, resume.exit_status) << Explain(resume);
    EXPECT_EQ(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "db01", "on", "yes") + Vm("3", "app01", "on"),
              HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Powered on", "rebooted") + Row("2", "db01", "Powered on") +
                           Row("3", "app01", "Powered on")),
              ListNow());
}

// Three VMs marked by a suspend; web01 will not start. The resume starts the other two, keeps web01
// marked and says so with 11; once the fault is gone, the next resume starts web01 alone.
TEST_F(RecordFinishesTheJob, ASecondResumeFinishesWhatTheFirstCouldNotStart) {
    const std::string vms = Vm("1", "web01", "suspended") + "refuse_power_on yes\n" +
                            Vm("2", "db01", "suspended") + Vm("3", "app01", "suspended");
    SetHostInAnyOrder(Host("yes", 2) + vms);
    const std::string marked = Row("1", "web01", "Suspended", "to reboot") +
                               Row("2", "db01", "Suspended", "to reboot") +
                               Row("3", "app01", "Suspended", "to reboot");
    work_.Write(kListFile, ListFile("true", "true", marked));

    ProgramResult first = Run("reboot_vms");
    EXPECT_EQ(11, first.exit_status) << Explain(first);
    EXPECT_EQ(ListFile("false", "true",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "db01", "Powered on", "rebooted") +
                           Row("3", "app01", "Powered on", "rebooted")),
              ListNow());

    SetHostInAnyOrder(Host("no", 3) + Vm("1", "web01", "suspended") + Vm("2", "db01", "on") +
                      Vm("3", "app01", "on"));
    ProgramResult second = Run("reboot_vms");
    EXPECT_EQ(0, second.exit_status) << Explain(second);
    EXPECT_EQ(Host("no", 3) + Vm("1", "web01", "on") + Vm("2", "db01", "on") + Vm("3", "app01", "on"),
              HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Powered on", "rebooted") + Row("2", "db01", "Powered on", "rebooted") +
                           Row("3", "app01", "Powered on", "rebooted")),
              ListNow());
}

class SilentHost : public RealClient {
protected:
    // suspend_vms with a reply limit of `limit` seconds on a host whose reply to `path` stops halfway.
    void SuspendOnAHostSilentIn(const std::string& path, int limit) {
        SetHostInAnyOrder(Host("no", 1) + "stall " + path + "\nstall_seconds 120\n" + Vm("1", "web01", "on"));
        time_t start = time(nullptr);
        ProgramResult r = Run("suspend_vms", {"-replyseconds", std::to_string(limit)});
        long took = static_cast<long>(time(nullptr) - start);
        EXPECT_EQ(8, r.exit_status) << Explain(r);
        EXPECT_LE(took, limit + 8) << "the silence was waited on past the limit";
        EXPECT_GE(took, limit);
        EXPECT_NE(std::string::npos, ListNow().find("<esxiserver host=\"127.0.0.1\""));
        EXPECT_NE(std::string::npos, HostNow().find("power on"));
        RecordProperty("seconds", std::to_string(took));
    }
};

// The login went through; the shell's first answer stops halfway and the host goes silent.
TEST_F(SilentHost, SilentAfterTheLoginEndsWith8WithinTheReplyLimit) {
    SuspendOnAHostSilentIn("/", 5);
}

TEST_F(SilentHost, SilentInTheMiddleOfTheVmTableEndsWith8WithinTheReplyLimit) {
    SuspendOnAHostSilentIn("vmsvc/getallvms", 5);
}

}  // namespace
