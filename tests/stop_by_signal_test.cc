// A stop asked for with a signal (systemctl stop, a unit's time-out, shutdown, Ctrl-C), through the real
// plink against the simulated host (tests/support/real_client_fixture.h): the step in flight finishes,
// nothing new starts, the list file records what was done, plink is ended, and the status is 17.
#include <gtest/gtest.h>

#include <signal.h>
#include <time.h>

#include <string>
#include <vector>

#include "held_lock.h"
#include "processes.h"
#include "real_client_fixture.h"
#include "sshd_fixture_process.h"

namespace {

const int kSuspendSeconds = 3;
const double kFindSeconds = 30;
const int kExitSeconds = 30;

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

std::string SlowVm(const std::string& id, const std::string& name, const std::string& power) {
    return Vm(id, name, power, "no", kSuspendSeconds);
}

class StopBySignal : public RealClient {
protected:
    std::string Explain() const {
        return "stdout:\n" + tool_.output() + "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + HostNow();
    }
    // Polls until no process of the test account is left (its session has ended); false after `seconds`.
    bool SessionEnds(double seconds) const {
        for (double waited = 0; waited <= seconds; waited += 0.1) {
            if (sshd_.AccountProcesses().empty()) return true;
            SleepSeconds(0.1);
        }
        return false;
    }

    PipedProcess tool_;
};

// Three running VMs that take 3 s each to suspend; SIGTERM comes while the first is suspending.
TEST_F(StopBySignal, SigtermDuringTheFirstSuspendIs17TheVmIsRecordedAndTheOthersKeepRunning) {
    SetHost(Host("no", 1) + SlowVm("1", "web01", "on") + SlowVm("2", "db01", "on") + SlowVm("3", "app01", "on"));
    ASSERT_TRUE(StartRun(tool_, Command("suspend_vms")));
    // The host's vim-cmd sleeps in web01's slow suspend.
    pid_t shell = WaitForProcess([this] { return sshd_.AccountProcesses(); }, "vim-cmd", true, kFindSeconds);
    ASSERT_NE(0, shell) << "no suspend in progress\n" << Explain();
    pid_t plink = FindProcess(ChildProcesses(tool_.pid()), "plink", false);
    ASSERT_NE(0, plink) << Explain();

    double signalled = Now();
    ASSERT_EQ(0, kill(tool_.pid(), SIGTERM));
    int status = tool_.Wait(kExitSeconds);
    double took = Now() - signalled;

    EXPECT_EQ(17, status) << Explain();
    EXPECT_EQ(std::string(kBanner) + "hh:mm:ss: main: stopped by signal 15 before the next step\n",
              NormalizeStamps(tool_.output()));
    EXPECT_EQ(Host("no", 1) + SlowVm("1", "web01", "suspended") + SlowVm("2", "db01", "on") +
                  SlowVm("3", "app01", "on"),
              HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "db01", "Powered on") +
                           Row("3", "app01", "Powered on")),
              ListNow());
    EXPECT_TRUE(HasEnded(plink));
    EXPECT_TRUE(SessionEnds(5)) << Explain();
    EXPECT_LT(took, 15) << "after the signal";
    RecordProperty("seconds_after_the_signal", std::to_string(took));
}

// A run that waits for another's lock ends at once on a signal: nothing was started, nothing is written.
TEST_F(StopBySignal, SighupWhileWaitingForTheLockIs17AndStartsNothing) {
    ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
    SetHost(kHostBeforeSuspend);
    work_.Write(kListFile, SuspendedList());
    HeldLock other_run(work_.file(std::string(kListFile) + ".lock"));
    ASSERT_TRUE(other_run.held());
    ASSERT_TRUE(StartRun(tool_, Command("suspend_vms", {"-D", "info"})));
    // Between its tries for the lock the tool sleeps; before it gets there it does not.
    pid_t waiting = WaitForProcess([this] { return std::vector<pid_t>{tool_.pid()}; }, "VmNap", true, 10);
    ASSERT_NE(0, waiting) << Explain();

    double signalled = Now();
    ASSERT_EQ(0, kill(tool_.pid(), SIGHUP));
    EXPECT_EQ(17, tool_.Wait(kExitSeconds)) << Explain();
    EXPECT_LT(Now() - signalled, 3.0);  // at once beside the 300 s wait, with room for a loaded machine
    EXPECT_NE(std::string::npos, tool_.output().find("ListFileLock: another run holds esxi_vms.xml.lock, "
                                                     "waiting up to 300 s\n"))
        << tool_.output();
    EXPECT_NE(std::string::npos, tool_.output().find("main: stopped by signal 1 before the next step\n"))
        << tool_.output();
    EXPECT_EQ(0, remote_.PlinkStarts());
    EXPECT_EQ(kHostBeforeSuspend, HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
}

}  // namespace
