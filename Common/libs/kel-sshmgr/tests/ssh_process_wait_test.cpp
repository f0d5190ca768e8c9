// Polling the child without sleeping, and waiting for it to end.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "descriptors.h"
#include "ssh_io.h"

namespace {

pid_t StartChild(double seconds) {
    pid_t pid = fork();
    if (pid == 0) {
        if (seconds < 0) pause();
        usleep(static_cast<useconds_t>(seconds * 1e6));
        _exit(4);
    }
    return pid;
}

void Reap(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

TEST(CheckProcess, RunningChildIsReportedAtOnceWithTheSameTraces) {
    pid_t pid = StartChild(-1);
    StartDebugCapture();
    double start = Now();
    EXPECT_EQ(0, check_process(pid));
    double took = Now() - start;
    std::string out = StopCapture();
    EXPECT_LT(took, 0.2);
    EXPECT_NE(std::string::npos, out.find("trace> wait_process\n"));
    EXPECT_NE(std::string::npos, out.find("trace> wait_process: process exists\n"));
    Reap(pid);
}

TEST(CheckProcess, EndedChildIsReapedAndItsStatusTraced) {
    pid_t pid = StartChild(0);
    usleep(200000);
    StartDebugCapture();
    EXPECT_EQ(1, check_process(pid));
    EXPECT_NE(std::string::npos, StopCapture().find("trace> exited, status=4\n"));
    EXPECT_EQ(-1, waitpid(pid, nullptr, WNOHANG));
}

TEST(WaitForExit, ReturnsAsSoonAsTheChildEndsAndLeavesItToBeReaped) {
    pid_t pid = StartChild(0.2);
    double start = Now();
    wait_for_exit(pid, 3000);
    EXPECT_LT(Now() - start, 1.5);
    int status = 0;
    EXPECT_EQ(pid, waitpid(pid, &status, WNOHANG));
    EXPECT_EQ(4, WEXITSTATUS(status));
}

TEST(WaitForExit, LivingChildIsWaitedForTheWholeTime) {
    pid_t pid = StartChild(-1);
    double start = Now();
    wait_for_exit(pid, 300);
    EXPECT_GE(Now() - start, 0.29);
    EXPECT_EQ(0, waitpid(pid, nullptr, WNOHANG));
    Reap(pid);
}

TEST(WaitFdhandle, WaitsForOutputOrTheTimeLimit) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    double start = Now();
    EXPECT_EQ(0, wait_fdhandle(fds[0], 200));
    EXPECT_GE(Now() - start, 0.19);
    ASSERT_EQ(1, write(fds[1], "x", 1));
    start = Now();
    EXPECT_EQ(1, wait_fdhandle(fds[0], 2000));
    EXPECT_LT(Now() - start, 0.2);
    char c;
    ASSERT_EQ(1, read(fds[0], &c, 1));
    close(fds[1]);
    EXPECT_EQ(1, wait_fdhandle(fds[0], 2000));  // the writing end is closed
    close(fds[0]);
}

TEST(WaitFdhandle, NoDescriptorJustWaits) {
    double start = Now();
    EXPECT_EQ(0, wait_fdhandle(-1, 100));
    EXPECT_GE(Now() - start, 0.09);
}

}  // namespace
