// Faults of the connection where they happen in life, through the real plink and a real sshd with the
// simulated ESXi host as login shell: plink killed while a VM suspends, the host's shell exiting while a
// VM suspends, and a host whose key changed since the last run.
#include <gtest/gtest.h>

#include <signal.h>
#include <time.h>

#include <string>
#include <vector>

#include "processes.h"
#include "real_client_fixture.h"
#include "sshd_fixture_process.h"

namespace {

const int kSlowSuspendSeconds = 30;
const double kFindSeconds = 30;
const int kExitSeconds = 20;

// web01 takes half a minute to suspend; backup is off.
const std::string kSlowHost =
    Host("no", 1) + Vm("1", "web01", "on", "no", kSlowSuspendSeconds) + Vm("2", "backup", "off");

const std::string kQuickHost = Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "backup", "off");

// Both VMs as listed before any was suspended: nothing is marked, nothing is in maintenance.
std::string ListOfTheTable() {
    return ListFile("false", "false", Row("1", "web01", "Powered on") + Row("2", "backup", "Powered off"));
}

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

class ClientFault : public RealClient {
protected:
    // Starts suspend_vms and waits until the host's vim-cmd sleeps in web01's slow suspend; shell_ is then
    // the login shell sshd started for the session (esxi-sim, with the host's ash and that vim-cmd below it).
    void StartSuspendAndWaitForTheSlowVm() {
        ProgramRun run = Command("suspend_vms");
        std::vector<std::string> argv = {run.path};
        argv.insert(argv.end(), run.args.begin(), run.args.end());
        ASSERT_TRUE(tool_.Start(argv, run.env, run.cwd));
        pid_t suspend = WaitForProcess([this] { return sshd_.AccountProcesses(); }, "vim-cmd", true, kFindSeconds);
        ASSERT_NE(0, suspend) << "no suspend in progress\n" << tool_.ReadFor(0.1);
        shell_ = FindProcess(sshd_.AccountProcesses(), "esxi-sim", false);
        ASSERT_NE(0, shell_) << "no login shell";
    }

    // The tool's plink (`ip netns exec` became VmNap, so the tool's pid is the one started).
    pid_t Plink() const {
        return WaitForProcess([this] { return ChildProcesses(tool_.pid()); }, "plink", false, 1);
    }

    // Waits for the tool's exit; the seconds it took go to `seconds`.
    int WaitForTool(int* seconds) {
        time_t start = time(nullptr);
        int status = tool_.Wait(kExitSeconds);
        *seconds = static_cast<int>(time(nullptr) - start);
        return status;
    }

    using RealClient::Explain;
    std::string Explain() const {
        return "stdout:\n" + tool_.output() + "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + HostNow();
    }

    PipedProcess tool_;
    pid_t shell_ = 0;
};

// plink gone, the session reads nothing more: a remote error, within the session's next polls.
TEST_F(ClientFault, PlinkKilledWhileAVmSuspendsIs7AndTheListFileHoldsEveryVm) {
    SetHost(kSlowHost);
    StartSuspendAndWaitForTheSlowVm();
    pid_t plink = Plink();
    ASSERT_NE(0, plink) << Explain();
    ASSERT_EQ(0, kill(plink, SIGKILL));
    int seconds = 0;
    EXPECT_EQ(7, WaitForTool(&seconds)) << Explain();
    EXPECT_LE(seconds, 5);
    EXPECT_EQ(ListOfTheTable(), ListNow());
}

TEST_F(ClientFault, HostShellExitingWhileAVmSuspendsIs7AndTheListFileHoldsEveryVm) {
    SetHost(kSlowHost);
    StartSuspendAndWaitForTheSlowVm();
    ASSERT_EQ(0, kill(shell_, SIGTERM));
    int seconds = 0;
    EXPECT_EQ(7, WaitForTool(&seconds)) << Explain();
    EXPECT_LE(seconds, 5);
    EXPECT_EQ(ListOfTheTable(), ListNow());
}

// The first run caches the key; the server then gets a new one. plink warns, the tool cancels: no
// password reaches the server, nothing changes on the host, and plink's cache keeps the old key.
TEST_F(ClientFault, ChangedHostKeyIs3AndNoPasswordIsSent) {
    SetHost(kQuickHost);
    ProgramResult first = Run("account_check");
    ASSERT_EQ(0, first.exit_status) << Explain(first);
    std::string cache = ReadFile(HostKeyCache());
    ASSERT_TRUE(sshd_.ReplaceHostKey()) << sshd_.error();

    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(3, r.exit_status) << Explain(r);
    EXPECT_EQ(std::string(kBanner) +
                  "hh:mm:ss: DefaultParser: the host key of 127.0.0.1 has changed: connection "
                  "cancelled, no password sent\n",
              r.out);
    EXPECT_TRUE(sshd_.WaitForSshdLog("[preauth]", 10));
    std::string log = sshd_.ReadSshdLog();
    EXPECT_EQ(1u, Count(log, "password for ")) << log;  // the first run's
    EXPECT_EQ(1u, Count(log, "Accepted password for " + sshd_.user() + " ")) << log;
    EXPECT_EQ(kQuickHost, HostNow());
    EXPECT_EQ(cache, ReadFile(HostKeyCache()));
}

}  // namespace
