// The scripted stand-in client itself: script commands and the files it leaves.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "fake_plink_dir.h"
#include "run_program.h"

namespace {

// Runs the stand-in in `dir` with input from /dev/null.
ProgramResult RunScript(FakePlinkDir& dir, const std::vector<std::string>& script) {
    dir.WriteScript(script);
    ProgramRun run;
    run.path = dir.plink_path();
    run.args = {"-ssh", "root@10.0.0.5"};
    run.cwd = dir.path();
    run.timeout_seconds = 20;
    return RunProgram(run);
}

// The stand-in on an input pipe that stays open; output goes to /dev/null.
struct Piped {
    pid_t pid = -1;
    int input = -1;

    explicit Piped(FakePlinkDir& dir) {
        int fds[2];
        if (pipe(fds) != 0) return;
        pid = fork();
        if (pid == 0) {
            dup2(fds[0], 0);
            close(fds[0]);
            int null = open("/dev/null", O_WRONLY);
            dup2(null, 1);
            dup2(null, 2);
            close(fds[1]);
            if (chdir(dir.path().c_str()) != 0) _exit(126);
            execl(dir.plink_path().c_str(), "plink", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[0]);
        input = fds[1];
    }
    void Send(const std::string& text) const {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), write(input, text.data(), text.size()));
    }
    int Wait() {
        int status = 0;
        waitpid(pid, &status, 0);
        close(input);
        if (WIFEXITED(status)) return WEXITSTATUS(status);
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
    }
};

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

TEST(FakePlink, PrintDecodesEscapes) {
    FakePlinkDir dir;
    ProgramResult r = RunScript(dir, {"print a\\r\\n\\x41\\\\b\\tc", "eprint e\\n"});
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ("a\r\nA\\b\tc", r.out);
    EXPECT_EQ("e\n", r.err);
}

TEST(FakePlink, ScriptTextHelpersRoundTrip) {
    FakePlinkDir dir;
    const std::string text = "x\\y\r\n~ # ";
    ProgramResult r = RunScript(dir, {ScriptPrint(text), ScriptEprint(text)});
    EXPECT_EQ(text, r.out);
    EXPECT_EQ(text, r.err);
}

TEST(FakePlink, RecordsArgumentsPidAndTerminal) {
    FakePlinkDir dir;
    ProgramResult r = RunScript(dir, {"# a comment", "", "exit 7"});
    EXPECT_EQ(7, r.exit_status);
    EXPECT_EQ((std::vector<std::string>{dir.plink_path(), "-ssh", "root@10.0.0.5"}), dir.Argv());
    EXPECT_GT(dir.Pid(), 0);
    EXPECT_FALSE(dir.StartedWithTerminal());
    EXPECT_EQ("", dir.Received());
}

TEST(FakePlink, ExpectAtEndOfInputExitsWithFour) {
    FakePlinkDir dir;
    ProgramResult r = RunScript(dir, {"expect secret\\n", "print never"});
    EXPECT_EQ(4, r.exit_status);
    EXPECT_EQ("", r.out);
    EXPECT_NE(std::string::npos, r.err.find("input closed while expecting"));
}

TEST(FakePlink, BadScriptsExitWithTwo) {
    FakePlinkDir dir;
    EXPECT_EQ(2, RunScript(dir, {"dance"}).exit_status);
    ProgramRun run;
    run.path = dir.plink_path();
    run.cwd = dir.dir().path();
    ASSERT_EQ(0, unlink(dir.dir().file("plink.script").c_str()));
    EXPECT_EQ(2, RunProgram(run).exit_status);
}

TEST(FakePlink, ExpectConsumesInputUpToTheMatchAndRecordsEverything) {
    FakePlinkDir dir;
    dir.WriteScript({"expect b", "expect b", "exit 9"});
    Piped p(dir);
    p.Send("ab");
    ASSERT_TRUE(dir.WaitForReceived("ab", 5));
    usleep(300000);
    EXPECT_EQ(0, kill(p.pid, 0));  // the second expect still waits for another "b"
    p.Send("cb\n");
    EXPECT_EQ(9, p.Wait());
    EXPECT_EQ("abcb\n", dir.Received());
}

TEST(FakePlink, ExpectTimesOutWithThree) {
    FakePlinkDir dir;
    dir.WriteScript({"timeout 1", "expect never", "exit 0"});
    Piped p(dir);
    double start = Now();
    EXPECT_EQ(3, p.Wait());
    EXPECT_GE(Now() - start, 0.9);
    EXPECT_LT(Now() - start, 5);
}

TEST(FakePlink, SleepRecordsInputMeanwhile) {
    FakePlinkDir dir;
    dir.WriteScript({"sleep 1", "exit 0"});
    Piped p(dir);
    p.Send("typed");
    EXPECT_TRUE(dir.WaitForReceived("typed", 0.9));
    EXPECT_EQ(0, p.Wait());
}

TEST(FakePlink, SigtermEndsItAndIsRecorded) {
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    Piped p(dir);
    usleep(300000);
    kill(p.pid, SIGTERM);
    EXPECT_EQ(128 + SIGTERM, p.Wait());
    EXPECT_EQ("TERM\n", dir.Signals());
}

TEST(FakePlink, IgnoredSigtermIsRecordedOnly) {
    FakePlinkDir dir;
    dir.WriteScript({"ignore-sigterm", "wait"});
    Piped p(dir);
    usleep(300000);
    kill(p.pid, SIGTERM);
    usleep(300000);
    kill(p.pid, SIGTERM);
    usleep(300000);
    EXPECT_EQ(0, kill(p.pid, 0));
    EXPECT_EQ("TERM\nTERM\n", dir.Signals());
    kill(p.pid, SIGKILL);
    EXPECT_EQ(128 + SIGKILL, p.Wait());
}

TEST(FakePlink, LifetimeEndsAWaitingClient) {
    FakePlinkDir dir;
    dir.WriteScript({"lifetime 1", "wait"});
    Piped p(dir);
    EXPECT_EQ(128 + SIGALRM, p.Wait());
}

TEST(FakePlink, CloseInputMakesWritesFail) {
    signal(SIGPIPE, SIG_IGN);
    FakePlinkDir dir;
    dir.WriteScript({"close-input", "wait"});
    Piped p(dir);
    usleep(500000);
    EXPECT_EQ(-1, write(p.input, "x", 1));
    kill(p.pid, SIGKILL);
    p.Wait();
}

}  // namespace
