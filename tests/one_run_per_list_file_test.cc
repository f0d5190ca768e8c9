// One run per list file, through the real plink against the simulated host
// (tests/support/real_client_fixture.h): a run that writes a list file holds the lock beside it
// ("<listfile>.lock") from before its plink starts until it has ended; another run waits for it up to
// -timeoutminutes and then gives up with 16, without starting plink.
#include <gtest/gtest.h>

#include <time.h>

#include <string>

#include "held_lock.h"
#include "processes.h"
#include "real_client_fixture.h"
#include "sshd_fixture_process.h"

namespace {

const double kRunsSeconds = 90;

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// Four running VMs, each a second to suspend, so that a run takes a while.
std::string FourVms(const std::string& power) {
    return Vm("1", "web01", power, "no", 1) + Vm("2", "db01", power, "no", 1) + Vm("3", "app01", power, "no", 1) +
           Vm("4", "mail01", power, "no", 1);
}

std::string FourSuspendedAndMarked() {
    return ListFile("true", "true",
                    Row("1", "web01", "Suspended", "to reboot") + Row("2", "db01", "Suspended", "to reboot") +
                        Row("3", "app01", "Suspended", "to reboot") + Row("4", "mail01", "Suspended", "to reboot"));
}

// What was seen of one run while both ran.
struct Watched {
    PipedProcess* tool = nullptr;
    pid_t pid = 0;
    int status = -1;
    double plink_first = -1;  // when its plink was first seen
    double ended = -1;        // when it was seen to have exited
    bool other_ended_at_plink = false;  // the other run had ended when this one's plink appeared
};

bool HasPlink(pid_t tool) { return FindProcess(ChildProcesses(tool), "plink", false) != 0; }

class OneRunPerListFile : public RealClient {
protected:
    std::string Explain(const PipedProcess& tool) const {
        return "stdout:\n" + tool.output() + "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + HostNow();
    }

    // Polls both runs every 20 ms until both have exited: whose plink runs when. False when both had a
    // plink at the same time.
    bool WatchUntilBothEnd(Watched* w) {
        bool apart = true;
        double start = Now();
        while ((w[0].ended < 0 || w[1].ended < 0) && Now() - start < kRunsSeconds) {
            bool plink[2] = {false, false};
            for (int i = 0; i < 2; ++i) {
                if (w[i].ended >= 0) continue;
                plink[i] = HasPlink(w[i].pid);
                if (plink[i] && w[i].plink_first < 0) {
                    w[i].plink_first = Now();
                    w[i].other_ended_at_plink = HasEnded(w[1 - i].pid);
                }
                int status = w[i].tool->Wait(0);
                if (status != -1) {
                    w[i].status = status;
                    w[i].ended = Now();
                }
            }
            if (plink[0] && plink[1]) apart = false;
            SleepSeconds(0.02);
        }
        return apart;
    }
};

// Started together: one run does the work, the other waits for it and then finds the host in maintenance.
// Every VM is suspended once, maintenance is entered once, and the first run's record keeps every mark.
TEST_F(OneRunPerListFile, TwoSuspendsStartedTogetherRunOneAfterTheOther) {
    SetHost(Host("no", 1) + FourVms("on"));
    PipedProcess a, b;
    double start = Now();
    ASSERT_TRUE(StartRun(a, Command("suspend_vms")));
    ASSERT_TRUE(StartRun(b, Command("suspend_vms")));
    Watched w[2];
    w[0].tool = &a;
    w[0].pid = a.pid();
    w[1].tool = &b;
    w[1].pid = b.pid();
    bool apart = WatchUntilBothEnd(w);
    double took = Now() - start;

    EXPECT_EQ(0, w[0].status) << Explain(a);
    EXPECT_EQ(0, w[1].status) << Explain(b);
    ASSERT_GE(w[0].plink_first, 0) << Explain(a);
    ASSERT_GE(w[1].plink_first, 0) << Explain(b);
    EXPECT_TRUE(apart) << "both plinks ran at the same time";
    const Watched& second = w[0].plink_first < w[1].plink_first ? w[1] : w[0];
    EXPECT_TRUE(second.other_ended_at_plink) << "the second plink started before the first run ended";

    EXPECT_EQ(Host("yes", 2) + FourVms("suspended"), HostNow());
    EXPECT_EQ(FourSuspendedAndMarked(), work_.Read(std::string(kListFile) + ".bak"));
    // The second run keeps the first run's marks: the record that a resume needs is the last word.
    EXPECT_EQ(FourSuspendedAndMarked(), ListNow());
    RecordProperty("seconds_for_both_runs", std::to_string(took));
}

// The smallest wait there is (-timeoutminutes 0): a single try, then 16. Neither mode starts plink, and
// neither host nor list file changes.
TEST_F(OneRunPerListFile, ListFileHeldByAnotherRunIs16AndStartsNothing) {
    ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
    SetHost(kHostAfterSuspend);
    work_.Write(kListFile, SuspendedList());
    HeldLock other_run(work_.file(std::string(kListFile) + ".lock"));
    ASSERT_TRUE(other_run.held());
    for (const char* mode : {"suspend_vms", "reboot_vms"}) {
        ProgramResult r = Run(mode, {"-timeoutminutes", "0"});
        EXPECT_EQ(16, r.exit_status) << mode << "\n" << RealClient::Explain(r);
        EXPECT_EQ(std::string(kBanner) + "hh:mm:ss: main: another run holds the list file esxi_vms.xml\n", r.out)
            << mode;
        EXPECT_LE(remote_.last_seconds(), 1) << mode;
    }
    EXPECT_EQ(0, remote_.PlinkStarts());
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
    EXPECT_FALSE(Exists(HostKeyCache()));
}

// A run waits while the lock is held and goes on as soon as it is free.
TEST_F(OneRunPerListFile, RunWaitsForTheLockAndGoesOnWhenItIsFree) {
    ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
    SetHost(kHostBeforeSuspend);
    HeldLock other_run(work_.file(std::string(kListFile) + ".lock"));
    ASSERT_TRUE(other_run.held());
    PipedProcess tool;
    ASSERT_TRUE(StartRun(tool, Command("suspend_vms")));
    SleepSeconds(2);
    EXPECT_EQ(-1, tool.Wait(0)) << Explain(tool);
    EXPECT_EQ(0, remote_.PlinkStarts());
    EXPECT_EQ(kHostBeforeSuspend, HostNow());

    other_run.Release();
    EXPECT_EQ(0, tool.Wait(30)) << Explain(tool);
    EXPECT_EQ(1, remote_.PlinkStarts());
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
}

}  // namespace
