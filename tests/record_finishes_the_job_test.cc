// The list file is the record of what the tool stopped, and a later run finishes the job from it: through
// the real plink and sshd against the simulated host, a suspend that stopped part-way is undone by the
// resume, and a resume that could not start every VM is finished by the next one.
#include <gtest/gtest.h>

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

}  // namespace
