// What a killed test leaves behind: names that carry the owner's pid, the guard that cleans up after a
// process killed outright, and vmnap-sweep, which removes the leftovers of gone processes and nothing
// of a running one.
#include <gtest/gtest.h>

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "leftover_names.h"
#include "run_program.h"
#include "sshd_fixture.h"
#include "sshd_fixture_process.h"
#include "temp_dir.h"

namespace {

const int kGuardSeconds = 30;

bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

bool AccountExists(const std::string& name) { return getpwnam(name.c_str()) != nullptr; }

// What a killed holder had set up, read from its "ready" line.
struct Holder {
    std::string netns, account, sshd_dir, temp_dir;
    pid_t pid = -1, sshd_pid = -1, guard_pid = -1;

    bool AnyLeft() const {
        return Exists("/run/netns/" + netns) || AccountExists(account) || Exists(sshd_dir) || Exists(temp_dir) ||
               ProcessAlive(sshd_pid);
    }
};

// Starts vmnap-fixture-holder, waits for its set-up, kills it with SIGKILL and reaps it.
Holder StartAndKillHolder(const std::vector<std::string>& args) {
    std::vector<std::string> argv = {FIXTURE_HOLDER_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    PipedProcess process;
    Holder holder;
    std::string line;
    EXPECT_TRUE(process.Start(argv));
    EXPECT_TRUE(process.ReadUntil("\n", 60, &line)) << line;
    std::istringstream words(line);
    std::string ready;
    words >> ready >> holder.netns >> holder.account >> holder.sshd_dir >> holder.temp_dir >> holder.sshd_pid >>
        holder.guard_pid;
    EXPECT_EQ("ready", ready) << line;
    holder.pid = process.pid();
    kill(holder.pid, SIGKILL);
    EXPECT_EQ(128 + SIGKILL, process.Wait(10));
    return holder;
}

bool WaitUntilGone(const Holder& holder, int seconds) {
    for (int tenth = 0; tenth < seconds * 10 && holder.AnyLeft(); ++tenth) usleep(100 * 1000);
    return !holder.AnyLeft();
}

// The guard ends once it has removed everything; it may still be on its way out right after that.
bool WaitUntilEnded(pid_t pid, int seconds) {
    for (int tenth = 0; tenth < seconds * 10 && ProcessAlive(pid); ++tenth) usleep(100 * 1000);
    return !ProcessAlive(pid);
}

TEST(LeftoverNames, CarryTheOwnersPid) {
    EXPECT_EQ("vmnap-4242-3", NetnsName(4242, 3));
    EXPECT_EQ("vmnap4242u3", AccountName(4242, 3));
    EXPECT_EQ("/tmp/vmnap-sshd-" + std::to_string(getpid()) + "-XXXXXX", SshdDirPattern());
    EXPECT_EQ("/tmp/vmnap-test-" + std::to_string(getpid()) + "-XXXXXX", TestDirPattern());
    TempDir dir;
    EXPECT_EQ(getpid(), OwnerOf(Owned::kDirectory, dir.path()));
}

TEST(LeftoverNames, OnlyTheseShapesHaveAnOwner) {
    EXPECT_EQ(4242, OwnerOf(Owned::kNetns, "vmnap-4242-3"));
    EXPECT_EQ(4242, OwnerOf(Owned::kAccount, "vmnap4242u3"));
    EXPECT_EQ(4242, OwnerOf(Owned::kDirectory, "/tmp/vmnap-sshd-4242-a1B2c3"));
    EXPECT_EQ(4242, OwnerOf(Owned::kDirectory, "/tmp/vmnap-test-4242-a1B2c3"));
    EXPECT_EQ(-1, OwnerOf(Owned::kNetns, "vmnap-4242"));
    EXPECT_EQ(-1, OwnerOf(Owned::kNetns, "vmnap-4242-3x"));
    EXPECT_EQ(-1, OwnerOf(Owned::kNetns, "other-4242-3"));
    EXPECT_EQ(-1, OwnerOf(Owned::kAccount, "vmnapu3"));
    EXPECT_EQ(-1, OwnerOf(Owned::kAccount, "vmnap4242"));
    EXPECT_EQ(-1, OwnerOf(Owned::kDirectory, "/tmp/vmnap-sshd-a1B2c3"));
    EXPECT_EQ(-1, OwnerOf(Owned::kDirectory, "/tmp/vmnap-demo-4242-a1B2c3"));
    EXPECT_EQ(-1, OwnerOf(Owned::kDirectory, "/tmp/vmnap-test-4242-a1B2c3/x"));
    EXPECT_EQ(-1, OwnerOf(Owned::kDirectory, "/var/tmp/vmnap-test-4242-a1B2c3"));
}

TEST(LeftoverNames, ARunningProcessIsAliveAndAReapedOneIsNot) {
    EXPECT_TRUE(ProcessAlive(getpid()));
    pid_t child = fork();
    if (child == 0) _exit(0);
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_FALSE(ProcessAlive(child));
}

class KilledRunTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
    }
};

TEST_F(KilledRunTest, GuardRemovesEverythingOfAProcessKilledOutright) {
    Holder holder = StartAndKillHolder({});
    ASSERT_GT(holder.guard_pid, 0);
    EXPECT_TRUE(WaitUntilGone(holder, kGuardSeconds))
        << holder.netns << " " << holder.account << " " << holder.sshd_dir << " " << holder.temp_dir;
    EXPECT_TRUE(WaitUntilEnded(holder.guard_pid, kGuardSeconds));
}

TEST_F(KilledRunTest, SweepRemovesTheDeadRunsLeftoversAndNothingOfALiveRun) {
    TempDir shell;
    shell.Write("shell", "#!/bin/sh\nexec cat\n");
    SshdFixture live;
    ASSERT_TRUE(live.Start(shell.file("shell"))) << live.error();
    Holder dead = StartAndKillHolder({"--kill-guard"});
    sleep(2);
    ASSERT_TRUE(dead.AnyLeft()) << "the holder's guard was to be gone";
    std::string unowned = "/tmp/vmnap-sshd-" + std::to_string(dead.pid) + "x";
    ASSERT_EQ(0, mkdir(unowned.c_str(), 0700));
    ProgramRun sweep;
    sweep.path = VMNAP_SWEEP_PATH;
    ProgramResult result = RunProgram(sweep);
    EXPECT_TRUE(Exists(unowned));
    rmdir(unowned.c_str());
    EXPECT_EQ(0, result.exit_status) << result.out << result.err;
    EXPECT_NE(std::string::npos, result.out.find("removed namespace " + dead.netns + " of process ")) << result.out;
    EXPECT_NE(std::string::npos, result.out.find("removed account " + dead.account)) << result.out;
    EXPECT_NE(std::string::npos, result.out.find("removed directory " + dead.sshd_dir)) << result.out;
    EXPECT_FALSE(dead.AnyLeft());
    EXPECT_EQ(std::string::npos, result.out.find("of process " + std::to_string(getpid()) + ",")) << result.out;
    EXPECT_TRUE(Exists("/run/netns/" + live.netns()));
    EXPECT_TRUE(AccountExists(live.user()));
    EXPECT_TRUE(Exists(live.client_home()));
    EXPECT_TRUE(Exists(shell.path()));
    EXPECT_TRUE(ProcessAlive(live.sshd_pid()));
}

}  // namespace
