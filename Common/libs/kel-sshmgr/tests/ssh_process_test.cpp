#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "descriptors.h"
#include "fake_plink_dir.h"
#include "ssh_exec.h"
#include "ssh_io.h"

namespace {

// The eight descriptors of one client, as the session keeps them.
struct Client {
    fd_handle stdin_def = -1, stdout_def = -1, stderr_def = -1;
    fd_handle stdout_r = -1, stdout_w = -1, stdout_e = -1, stdin_r = -1, stdin_w = -1;
    pid_t pid = 0;

    pid_t Start(const std::string& path, const char* args) {
        if (!create_pipes(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e,
                          stdin_r, stdin_w))
            return 0;
        pid = run_ssh_process(stdin_r, stdout_w, stdout_e, stdin_def, stdout_def, stderr_def,
                              path.c_str(), args);
        return pid;
    }
    void WaitGone() {
        while (pid != 0 && wait_process(pid) == 0) {
        }
    }
    ~Client() {
        if (pid != 0) kill(pid, SIGKILL);
        WaitGone();
        close_fdhandle(stdout_r);
        close_fdhandle(stdin_w);
    }
};

std::vector<std::string> ArgvOf(const char* args) {
    FakePlinkDir dir;
    dir.WriteScript({"exit 0"});
    dir.Enter();
    Client client;
    EXPECT_NE(0, client.Start(dir.plink_path(), args));
    client.WaitGone();
    return dir.Argv();
}

TEST(RunSshProcess, NullPathOrArgumentsGiveZero) {
    fd_handle in = -1, out = -1, err = -1, a = -1, b = -1, c = -1;
    EXPECT_EQ(0, run_ssh_process(in, out, err, a, b, c, nullptr, " -ssh x@y"));
    EXPECT_EQ(0, run_ssh_process(in, out, err, a, b, c, "/bin/true", nullptr));
}

TEST(RunSshProcess, LeadingSpaceGivesAnEmptyProgramName) {
    EXPECT_EQ((std::vector<std::string>{"", "-ssh", "root@10.0.0.5"}), ArgvOf(" -ssh root@10.0.0.5"));
}

TEST(RunSshProcess, DoubleSpaceGivesAnEmptyWord) {
    EXPECT_EQ((std::vector<std::string>{"a", "", "b"}), ArgvOf("a  b"));
}

TEST(RunSshProcess, TrailingSpaceAddsNoWord) {
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), ArgvOf("a b "));
}

TEST(RunSshProcess, OnlyTheToolsTwoEndsStayOpenAndStdIsRestored) {
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    dir.Enter();
    std::map<int, std::string> before = OpenDescriptors();
    Client client;
    ASSERT_NE(0, client.Start(dir.plink_path(), " -ssh root@h"));
    std::map<int, std::string> after = OpenDescriptors();
    EXPECT_EQ(-1, client.stdout_w);
    EXPECT_EQ(-1, client.stdout_e);
    EXPECT_EQ(-1, client.stdin_r);
    EXPECT_EQ(-1, client.stdin_def);
    EXPECT_EQ(-1, client.stdout_def);
    EXPECT_EQ(-1, client.stderr_def);
    for (int fd = 0; fd <= 2; ++fd) EXPECT_EQ(before[fd], after[fd]) << fd;
    EXPECT_EQ(before.size() + 2, after.size());
    EXPECT_EQ(0u, DescriptorTarget(client.stdout_r).find("pipe:"));
    EXPECT_EQ(0u, DescriptorTarget(client.stdin_w).find("pipe:"));
}

TEST(RunSshProcess, ChildTalksThroughThePipesWithStderrMerged) {
    FakePlinkDir dir;
    dir.WriteScript({"expect ping\\n", "print pong,", "eprint err", "wait"});
    dir.Enter();
    Client client;
    ASSERT_NE(0, client.Start(dir.plink_path(), " -ssh root@h"));
    ASSERT_EQ(5, write_fdhandle(client.stdin_w, "ping\n"));
    for (int i = 0; i < 50 && get_bytes_avail(client.stdout_r) < 8; ++i) usleep(100000);
    char buf[64] = {0};
    EXPECT_EQ(8, read_fdhandle(client.stdout_r, buf, 63, get_bytes_avail(client.stdout_r)));
    EXPECT_STREQ("pong,err", buf);
}

TEST(RunSshProcess, ParentSleepsOneSecondWithTheChildOnItsDescriptors) {
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    dir.Enter();
    Client client;
    double start = Now();
    ASSERT_NE(0, client.Start(dir.plink_path(), " x"));
    EXPECT_GE(Now() - start, 0.95);
}

// plink's host-key cache and random seed are the user's own, whatever mask the tool was started with
// (here none at all); the tool's own mask stays as it was.
TEST(RunSshProcess, ChildStartsWithMask077AndTheCallersMaskStays) {
    mode_t before = umask(0);
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    dir.Enter();
    Client client;
    ASSERT_NE(0, client.Start(dir.plink_path(), " x"));
    std::string status = ReadFile("/proc/" + std::to_string(client.pid) + "/status");
    EXPECT_EQ(0u, umask(before));
    EXPECT_NE(std::string::npos, status.find("\nUmask:\t0077\n")) << status;
}

TEST(RunSshProcess, FailedExecIsAnExitWithStatusZeroAndFlushesNothing) {
    printf("buffered-before-fork");  // left in the stdio buffer the child inherits
    Client client;
    ASSERT_NE(0, client.Start("/nonexistent/plink", " -ssh root@h"));
    int status = -1;
    ASSERT_EQ(client.pid, waitpid(client.pid, &status, 0));
    client.pid = 0;
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ(0, get_bytes_avail(client.stdout_r));
    fflush(stdout);
}

TEST(RunSshProcess, ChildHasNoControllingTerminal) {
    FakePlinkDir dir;
    dir.WriteScript({"exit 0"});
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        int tty = open("/dev/tty", O_RDONLY);
        if (tty == -1) _exit(10);  // the test's own child must have a terminal
        close(tty);
        if (chdir(dir.path().c_str()) != 0) _exit(11);
        Client client;
        if (client.Start(dir.plink_path(), " x") == 0) _exit(12);
        client.WaitGone();
        _exit(0);
    }
    char buf[256];
    while (read(master, buf, sizeof(buf)) > 0) {
    }
    int status = -1;
    waitpid(pid, &status, 0);
    close(master);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ("no\n", dir.dir().Read("plink.tty"));
}

TEST(WaitProcess, RunningChildGivesZeroAfterOneSecond) {
    pid_t pid = fork();
    if (pid == 0) {
        pause();
        _exit(0);
    }
    double start = Now();
    EXPECT_EQ(0, wait_process(pid));
    EXPECT_GE(Now() - start, 0.95);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

TEST(WaitProcess, EndedChildIsReapedAndItsStatusTraced) {
    pid_t pid = fork();
    if (pid == 0) _exit(3);
    usleep(200000);
    StartDebugCapture();
    int gone = wait_process(pid);
    std::string out = StopCapture();
    EXPECT_EQ(1, gone);
    EXPECT_NE(std::string::npos, out.find("trace> wait_process\n"));
    EXPECT_NE(std::string::npos, out.find("trace> wait_process: process doesn't exist\n"));
    EXPECT_NE(std::string::npos, out.find("trace> exited, status=3\n"));
    EXPECT_EQ(-1, waitpid(pid, nullptr, WNOHANG));  // already reaped
}

TEST(WaitProcess, AlreadyReapedPidReportsExitedStatusZero) {
    pid_t pid = fork();
    if (pid == 0) _exit(7);
    waitpid(pid, nullptr, 0);
    StartDebugCapture();
    double start = Now();
    int gone = wait_process(pid);
    double took = Now() - start;
    std::string out = StopCapture();
    EXPECT_EQ(1, gone);
    EXPECT_LT(took, 0.5);
    EXPECT_NE(std::string::npos, out.find("trace> exited, status=0\n"));
    EXPECT_EQ(std::string::npos, out.find("status=7"));
}

TEST(WaitProcess, KilledChildTracesTheSignal) {
    pid_t pid = fork();
    if (pid == 0) {
        pause();
        _exit(0);
    }
    kill(pid, SIGKILL);
    usleep(200000);
    StartDebugCapture();
    EXPECT_EQ(1, wait_process(pid));
    EXPECT_NE(std::string::npos, StopCapture().find("trace> killed by signal 9\n"));
}

TEST(WaitProcess, LivingChildTracesThatItExists) {
    pid_t pid = fork();
    if (pid == 0) {
        pause();
        _exit(0);
    }
    StartDebugCapture();
    EXPECT_EQ(0, wait_process(pid));
    std::string out = StopCapture();
    EXPECT_NE(std::string::npos, out.find("trace> wait_process: process exists\n"));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

}  // namespace
