// Ending the client: five polls at most, one SIGTERM after the third.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <map>
#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "session_probe.h"

namespace {

int CountOf(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + 1)) ++n;
    return n;
}

struct Closing {
    FakePlinkDir dir;
    SessionProbe session;
    double took = 0;
    std::string trace;

    explicit Closing(const std::vector<std::string>& script) {
        EXPECT_EQ(SSH_SUCCESS, StartClient(dir, session, script));
    }
    void Close() {
        StartDebugCapture();
        double start = Now();
        session.CloseSession();
        took = Now() - start;
        trace = StopCapture();
    }
};

TEST(SshSessionClose, ClientIgnoringSigtermIsGivenUpAfterFivePolls) {
    Closing c({"ignore-sigterm", "wait"});
    pid_t pid = c.session.ProcessId();
    c.Close();
    EXPECT_GE(c.took, 4.9);
    EXPECT_LT(c.took, 7);
    EXPECT_EQ("TERM\n", c.dir.Signals());
    EXPECT_EQ(1, CountOf(c.trace, "Warning> client terminated forcibly\n"));
    EXPECT_EQ(5, CountOf(c.trace, "wait_process: process exists\n"));
    EXPECT_EQ(0, c.session.ProcessId());
    EXPECT_EQ(0, kill(pid, 0));  // still running: no stronger signal was sent
    kill(pid, SIGKILL);
}

TEST(SshSessionClose, WaitingClientEndsWithOneSigtermAfterThreePolls) {
    Closing c({"wait"});
    pid_t pid = c.session.ProcessId();
    c.Close();
    EXPECT_GE(c.took, 2.9);
    EXPECT_LT(c.took, 5.5);
    EXPECT_EQ("TERM\n", c.dir.Signals());
    std::string before_term = c.trace.substr(0, c.trace.find("client terminated forcibly"));
    EXPECT_EQ(3, CountOf(before_term, "wait_process: process exists\n"));
    EXPECT_NE(std::string::npos, c.trace.find("trace> killed by signal 15\n"));
    EXPECT_EQ(-1, kill(pid, 0));  // reaped
}

TEST(SshSessionClose, ClientEndingByItselfGetsNoSignal) {
    Closing c({"sleep 1.5", "exit 0"});
    c.Close();
    EXPECT_LT(c.took, 3.5);
    EXPECT_EQ("", c.dir.Signals());
    EXPECT_EQ(std::string::npos, c.trace.find("client terminated forcibly"));
    EXPECT_NE(std::string::npos, c.trace.find("trace> exited, status=0\n"));
}

TEST(SshSessionClose, NothingIsWrittenToTheClientWhenClosing) {
    Closing c({"wait"});
    c.Close();
    EXPECT_EQ("", c.dir.Received());
}

TEST(SshSessionClose, ClosesAndRestoresEverythingAndCanBeRepeated) {
    FakePlinkDir dir;
    std::map<int, std::string> before = OpenDescriptors();
    SessionProbe s;
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, s, {"exit 0"}));
    s.CloseSession();
    for (int fd : s.Descriptors()) EXPECT_EQ(-1, fd);
    EXPECT_EQ(0, s.ProcessId());
    EXPECT_EQ(before, OpenDescriptors());
    double start = Now();
    s.CloseSession();
    EXPECT_LT(Now() - start, 0.5);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SshSessionClose, DestructorEndsTheClient) {
    FakePlinkDir dir;
    pid_t pid;
    {
        SessionProbe s;
        ASSERT_EQ(SSH_SUCCESS, StartClient(dir, s, {"wait"}));
        pid = s.ProcessId();
    }
    EXPECT_EQ("TERM\n", dir.Signals());
    EXPECT_EQ(-1, kill(pid, 0));
}

}  // namespace
