// One run per list file: the lock beside the list file, how long a run waits
// for it, and what ends the wait.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "ListFileLock.h"
#include "StopRequest.h"
#include "held_lock.h"
#include "main.h"
#include "temp_dir.h"

namespace {

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void Pause(double seconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(static_cast<int>(seconds * 1000)));
}

unsigned int ModeOf(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

// Parses a command line that only differs in its extra options.
int WaitFor(std::vector<std::string> extra) {
    std::vector<std::string> words = {"VmNap", "-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms"};
    words.insert(words.end(), extra.begin(), extra.end());
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    ToolOptions options;
    EXPECT_EQ(0, parse_args(static_cast<int>(words.size()), argv.data(), options));
    return LockWaitSeconds(options.timeout.value);
}

TEST(ListFileLockPolicy, RunWaitsAsLongAsForOneVm) {
    EXPECT_EQ(300, WaitFor({}));
    EXPECT_EQ(120, WaitFor({"-timeoutminutes", "2"}));
    EXPECT_EQ(0, WaitFor({"-timeoutminutes", "0"}));
    EXPECT_EQ(0, LockWaitSeconds(-60));
}

TEST(ListFileLock, LockFileIsBesideTheListFile) {
    EXPECT_EQ("/var/lib/vmnap/esx01.xml.lock", LockPathOf("/var/lib/vmnap/esx01.xml"));
    EXPECT_EQ("esxi_vms.xml.lock", ListFileLock("esxi_vms.xml").path());
}

TEST(ListFileLock, FreeLockIsTakenAtOnceAndItsFileIsPrivateAndStays) {
    for (mode_t mask : {mode_t(0), mode_t(0277)}) {
        TempDir dir;
        mode_t before = umask(mask);
        {
            ListFileLock lock(dir.file("vms.xml"));
            double start = Now();
            EXPECT_EQ(ListFileLock::kTaken, lock.Take(5));
            EXPECT_LT(Now() - start, 0.5);
            EXPECT_EQ(0600u, ModeOf(dir.file("vms.xml.lock"))) << "umask " << mask;
        }
        umask(before);
        EXPECT_TRUE(dir.Exists("vms.xml.lock"));
        EXPECT_FALSE(dir.Exists("vms.xml"));
    }
}

TEST(ListFileLock, HeldLockWithoutWaitIsBusyAtOnce) {
    TempDir dir;
    HeldLock other(dir.file("vms.xml.lock"));
    ASSERT_TRUE(other.held());
    ListFileLock lock(dir.file("vms.xml"));
    double start = Now();
    EXPECT_EQ(ListFileLock::kBusy, lock.Take(0));
    EXPECT_LT(Now() - start, 0.5);
}

TEST(ListFileLock, HeldLockIsBusyAfterTheWholeWait) {
    TempDir dir;
    HeldLock other(dir.file("vms.xml.lock"));
    ASSERT_TRUE(other.held());
    ListFileLock lock(dir.file("vms.xml"));
    double start = Now();
    EXPECT_EQ(ListFileLock::kBusy, lock.Take(1));
    EXPECT_GE(Now() - start, 0.95);
    EXPECT_LT(Now() - start, 1.5);
}

TEST(ListFileLock, LockReleasedDuringTheWaitIsTaken) {
    TempDir dir;
    HeldLock other(dir.file("vms.xml.lock"));
    ASSERT_TRUE(other.held());
    std::thread release([&other] {
        Pause(0.5);
        other.Release();
    });
    ListFileLock lock(dir.file("vms.xml"));
    double start = Now();
    EXPECT_EQ(ListFileLock::kTaken, lock.Take(10));
    release.join();
    EXPECT_GE(Now() - start, 0.45);
    EXPECT_LT(Now() - start, 1.5);
}

// The holder is another process; its lock goes with it, however it ends.
TEST(ListFileLock, LockOfAKilledProcessIsFreeAgain) {
    TempDir dir;
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int fd = open(dir.file("vms.xml.lock").c_str(), O_RDWR | O_CREAT, 0600);
        if (fd < 0 || flock(fd, LOCK_EX) != 0 || write(ready[1], "x", 1) != 1) _exit(1);
        pause();
        _exit(0);
    }
    close(ready[1]);
    char byte = 0;
    ASSERT_EQ(1, read(ready[0], &byte, 1));
    close(ready[0]);
    ListFileLock lock(dir.file("vms.xml"));
    EXPECT_EQ(ListFileLock::kBusy, lock.Take(0));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(ListFileLock::kTaken, lock.Take(1));
}

TEST(ListFileLock, StopRequestEndsTheWait) {
    TempDir dir;
    HeldLock other(dir.file("vms.xml.lock"));
    ASSERT_TRUE(other.held());
    StopRequest::Install();
    std::thread stop([] {
        Pause(0.3);
        kill(getpid(), SIGTERM);
    });
    ListFileLock lock(dir.file("vms.xml"));
    double start = Now();
    EXPECT_EQ(ListFileLock::kStopped, lock.Take(30));
    stop.join();
    EXPECT_LT(Now() - start, 1.0);
    StopRequest::Clear();
    signal(SIGTERM, SIG_DFL);
}

TEST(ListFileLock, SymbolicLinkFifoOrMissingDirectoryFails) {
    TempDir dir;
    dir.Write("target", "keep");
    ASSERT_EQ(0, symlink("target", dir.file("link.xml.lock").c_str()));
    EXPECT_EQ(ListFileLock::kFailed, ListFileLock(dir.file("link.xml")).Take(0));
    EXPECT_EQ("keep", dir.Read("target"));
    ASSERT_EQ(0, mkfifo(dir.file("fifo.xml.lock").c_str(), 0600));
    double start = Now();
    EXPECT_EQ(ListFileLock::kFailed, ListFileLock(dir.file("fifo.xml")).Take(0));
    EXPECT_LT(Now() - start, 0.5);
    EXPECT_EQ(ListFileLock::kFailed, ListFileLock(dir.file("no/vms.xml")).Take(0));
    EXPECT_FALSE(dir.Exists("no"));
}

}  // namespace
