// The VmNap executable against the simulated ESXi host behind a real sshd, through the real plink:
// each test starts its own server in a private network namespace, sets the host up in the simulator's
// state file, runs the tool there as a child without a controlling terminal, and checks the exit
// status, the list file and the host's state afterwards.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "host_state.h"
#include "power_on_when_suspended.h"
#include "run_program.h"
#include "sshd_fixture.h"
#include "state_store.h"
#include "state_text.h"
#include "temp_dir.h"

namespace {

const char kIp[] = "/usr/sbin/ip";
const char kPlink[] = "/usr/bin/plink";
const char kListFile[] = "esxi_vms.xml";
const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";
const int kRunTimeoutSeconds = 55;

// One VM of the simulator's state file, every key spelt out as the simulator writes it back.
std::string Vm(const std::string& id, const std::string& name, const std::string& power,
               const std::string& refuse_suspend = "no") {
    return "vm " + id + "\nname " + name + "\nfile [datastore1] " + name + "/" + name +
           ".vmx\nguest centos64Guest\nversion vmx-08\npower " + power + "\nrefuse_suspend " +
           refuse_suspend + "\nsuspend_seconds 0\n";
}

// The host part of the state file; `task_counter` counts the maintenance tasks run so far, from 1.
std::string Host(const std::string& maintenance, int task_counter, const std::string& refuse = "no",
                 const std::string& prompt = "busybox") {
    return "hostname esx01\nprompt " + prompt + "\nmaintenance " + maintenance +
           "\nrefuse_maintenance_while_running " + refuse + "\ntask_counter " +
           std::to_string(task_counter) + "\n";
}

// One row of the list file, as the tool writes it.
std::string Row(const std::string& id, const std::string& name, const std::string& status,
                const std::string& mark = "") {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\" name=\"" + name + "\"" + reboot + " status=\"" +
           status + "\" timeout=\"300\"></virtualmachineserver>";
}

std::string ListFile(const std::string& maintenance, const std::string& reboot, const std::string& rows) {
    return "<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.1\" maintenancemode=\"" + maintenance +
           "\" reboot=\"" + reboot + "\"><vms>" + rows + "</vms></esxiserver>\n";
}

// One running and one stopped VM, before suspend_vms and after it (maintenance task 1 ran).
const std::string kHostBeforeSuspend = Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
const std::string kHostAfterSuspend =
    Host("yes", 2) + Vm("1", "web01", "suspended") + Vm("2", "backup", "off");

std::string SuspendedList() {
    return ListFile("true", "true", Row("1", "web01", "Suspended", "to reboot") + Row("2", "backup", "Powered off"));
}

bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

class RealClient : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        ASSERT_EQ(0, symlink(kPlink, work_.file("plink").c_str()));
    }

    std::string StatePath() const { return sshd_.shell_dir() + "/esxi-sim.state"; }
    void SetHost(const std::string& text) { WriteTextFile(StatePath(), text); }
    std::string HostNow() const { return ReadFile(StatePath()); }
    std::string ListNow() const { return work_.Read(kListFile); }
    std::string HostKeyCache() const { return sshd_.client_home() + "/.putty/sshhostkeys"; }

    static void WriteTextFile(const std::string& path, const std::string& text) {
        std::string error;
        esxisim::HostState parsed;
        ASSERT_TRUE(esxisim::ParseState(text, &parsed, &error)) << error;
        ASSERT_EQ(text, esxisim::FormatState(parsed));
        ASSERT_TRUE(esxisim::StateStore(path).Write(parsed, &error)) << error;
    }

    // Runs VmNap inside the namespace in the working directory; stamps normalised, seconds measured.
    ProgramResult Run(const std::string& mode, const std::vector<std::string>& extra = {},
                      const std::string& password = "") {
        ProgramRun run;
        run.path = kIp;
        run.args = {"netns", "exec", sshd_.netns(), VMNAP_EXE, "-host", host_, "-usr", sshd_.user(),
                    "-pwd", password.empty() ? sshd_.password() : password, "-mode", mode};
        run.args.insert(run.args.end(), extra.begin(), extra.end());
        run.cwd = work_.path();
        run.env = {"HOME=" + sshd_.client_home()};
        run.new_session = true;
        run.timeout_seconds = kRunTimeoutSeconds;
        time_t start = time(nullptr);
        ProgramResult result = RunProgram(run);
        last_seconds_ = static_cast<int>(time(nullptr) - start);
        result.out = NormalizeStamps(result.out);
        return result;
    }

    std::string Explain(const ProgramResult& r) const {
        return "after " + std::to_string(last_seconds_) + " s\nstdout:\n" + r.out + "\nstderr:\n" + r.err +
               "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + HostNow();
    }

    SshdFixture sshd_;
    TempDir work_;
    std::string host_ = "127.0.0.1";
    int last_seconds_ = 0;
};

TEST_F(RealClient, SuspendVmsSuspendsMarksEntersMaintenanceAndSavesTheListFile) {
    SetHost(kHostBeforeSuspend);
    ProgramResult r = Run("suspend_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
}

// Starts where the test above ends: the host as suspend_vms left it and the list file it wrote.
TEST_F(RealClient, RebootVmsReloadsTheSavedListFileAndPowersOnTheMarkedVms) {
    SetHost(kHostAfterSuspend);
    work_.Write(kListFile, SuspendedList());
    ProgramResult r = Run("reboot_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(Host("no", 3) + Vm("1", "web01", "on") + Vm("2", "backup", "off"), HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Powered on", "rebooted") + Row("2", "backup", "Powered off")),
              ListNow());
}

TEST_F(RealClient, FirstContactAnswersTheHostKeyQuestionAndTheSecondUsesTheCache) {
    SetHost(Host("no", 1));
    ASSERT_FALSE(Exists(HostKeyCache()));
    ProgramResult first = Run("account_check", {"-D", "debug"});
    ASSERT_EQ(0, first.exit_status) << Explain(first);
    std::string cache = ReadFile(HostKeyCache());
    EXPECT_EQ(0u, cache.find("ssh-ed25519@22:127.0.0.1 ")) << cache;
    EXPECT_NE(std::string::npos, first.out.find("The host key is not cached for this server")) << first.out;

    ProgramResult second = Run("account_check", {"-D", "debug"});
    EXPECT_EQ(0, second.exit_status) << Explain(second);
    EXPECT_EQ(std::string::npos, second.out.find("The host key is not cached")) << second.out;
    EXPECT_EQ(cache, ReadFile(HostKeyCache()));
}

TEST_F(RealClient, CheckMaintenanceModeOnAHostInMaintenanceIs0) {
    SetHost(Host("yes", 1));
    ProgramResult r = Run("check_maintenance_mode");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

TEST_F(RealClient, CheckMaintenanceModeOnAHostOutOfMaintenanceIs13) {
    SetHost(Host("no", 1));
    ProgramResult r = Run("check_maintenance_mode");
    EXPECT_EQ(13, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(Host("no", 1), HostNow());
}

TEST_F(RealClient, AccountCheckWithTheRightPasswordIs0) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on"));
    ProgramResult r = Run("account_check");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_FALSE(work_.Exists(kListFile));
}

TEST_F(RealClient, AccountCheckWithAWrongPasswordIs6) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on"));
    ProgramResult r = Run("account_check", {}, "not-" + sshd_.password());
    EXPECT_EQ(6, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(Host("no", 1) + Vm("1", "web01", "on"), HostNow());
}

// sshd listens on 127.0.0.1 only: 127.0.0.2 refuses the connection, and plink gives up at once. The
// list file is saved after a failed suspend too, so it now holds a host without VMs.
TEST_F(RealClient, HostRefusingTheConnectionIs3AndSuspendVmsStillWritesTheListFile) {
    host_ = "127.0.0.2";
    SetHost(kHostBeforeSuspend);
    work_.Write(kListFile, SuspendedList());
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(3, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.2\" maintenancemode=\"false\" "
              "reboot=\"false\"><vms></vms></esxiserver>\n",
              ListNow());
    EXPECT_EQ(kHostBeforeSuspend, HostNow());
}

// A second suspend_vms finds the host in maintenance, changes nothing, and saves the VMs without marks:
// the record of the first run is gone, and reboot_vms will not start anything.
TEST_F(RealClient, SecondSuspendRunOverwritesTheRecordOfTheFirst) {
    SetHost(kHostAfterSuspend);
    work_.Write(kListFile, SuspendedList());
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_EQ(ListFile("true", "false", Row("1", "web01", "Suspended") + Row("2", "backup", "Powered off")),
              ListNow());
}

TEST_F(RealClient, VmThatRefusesToSuspendIs11AndLeavesTheRestRunning) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "db01", "on", "yes") + Vm("3", "app01", "on"));
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(11, r.exit_status) << Explain(r);
    EXPECT_EQ(Host("no", 1) + Vm("1", "web01", "suspended") + Vm("2", "db01", "on", "yes") +
                  Vm("3", "app01", "on"),
              HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "db01", "Powered on") +
                           Row("3", "app01", "Powered on")),
              ListNow());
}

TEST_F(RealClient, HostRefusingMaintenanceWhileAVmRunsIs13AndTheFileDoesNotAskForReboot) {
    SetHost(Host("no", 1, "yes") + Vm("1", "web01", "on") + Vm("2", "backup", "off"));
    ProgramResult r;
    {
        PowerOnWhenSuspended someone_else(StatePath(), "1", "2");
        r = Run("suspend_vms");
        EXPECT_TRUE(someone_else.fired());
    }
    EXPECT_EQ(13, r.exit_status) << Explain(r);
    EXPECT_EQ(Host("no", 1, "yes") + Vm("1", "web01", "suspended") + Vm("2", "backup", "on"), HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "backup", "Powered off")),
              ListNow());
}

// ESXi 6.0 and later prompt "[root@HOST:~] "; the tool only knows the "~ #" of 4.x and 5.x.
TEST_F(RealClient, AccountCheckOnAHostWithTheBracketPromptIs0) {
    SetHost(Host("no", 1, "no", "bracket"));
    ProgramResult r = Run("account_check");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

TEST_F(RealClient, CheckMaintenanceModeOnAHostWithTheBracketPromptStillReadsTheFlag) {
    SetHost(Host("yes", 1, "no", "bracket"));
    ProgramResult in = Run("check_maintenance_mode");
    EXPECT_EQ(0, in.exit_status) << Explain(in);
    SetHost(Host("no", 1, "no", "bracket"));
    ProgramResult out = Run("check_maintenance_mode");
    EXPECT_EQ(13, out.exit_status) << Explain(out);
}

// The prompt line is listed as a VM, and the suspend reply never counts as finished: the VM is suspended
// on the host, but the wait times out (at once with 0 minutes) and the list file does not mark it.
TEST_F(RealClient, SuspendOnAHostWithTheBracketPromptTimesOutWith8AndLeavesTheVmUnmarked) {
    SetHost(Host("no", 1, "no", "bracket") + Vm("1", "web01", "on"));
    ProgramResult r = Run("suspend_vms", {"-timeoutminutes", "0", "-D", "debug"});
    EXPECT_EQ(8, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos, r.out.find("AddChild: add child server, id: [root@esx01:~], name: \n"));
    EXPECT_NE(std::string::npos, r.out.find("client canceled by timeout\n"));
    EXPECT_EQ(Host("no", 1, "no", "bracket") + Vm("1", "web01", "suspended"), HostNow());
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.1\" maintenancemode=\"false\" "
              "reboot=\"false\"><vms><virtualmachineserver id=\"1\" name=\"web01\" status=\"Powered on\" "
              "timeout=\"0\"></virtualmachineserver><virtualmachineserver id=\"[root@esx01:~]\" "
              "timeout=\"0\"></virtualmachineserver></vms></esxiserver>\n",
              ListNow());
}

}  // namespace
