// Attempt counting of is_server_available without waiting: this test binary
// replaces sleep() with a counter, so a hundred attempts take no time.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>

#include <string>

#include "descriptors.h"
#include "ssh_socket.h"

namespace {
unsigned g_seconds_slept = 0;
}

extern "C" unsigned int sleep(unsigned int seconds) {
    g_seconds_slept += seconds;
    return 0;
}

namespace {

// Moves this test process into a network namespace of its own, with loopback up
// and nothing listening on port 22.
bool EnterOwnNetwork() {
    if (unshare(CLONE_NEWNET) != 0) return false;
    return system("ip link set lo up") == 0;
}

int Attempts(int count) {
    g_seconds_slept = 0;
    StartDebugCapture();
    EXPECT_EQ(0, is_server_available("127.0.0.1", count));
    std::string out = StopCapture();
    int n = 0;
    const std::string mark = "Trying to connect to socket";
    for (size_t pos = out.find(mark); pos != std::string::npos; pos = out.find(mark, pos + 1)) ++n;
    return n;
}

TEST(IsServerAvailableAttempts, LargeCountIsCutToAHundred) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    EXPECT_EQ(100, Attempts(1000));
    EXPECT_EQ(100u * 3 + 99u * 5, g_seconds_slept);  // each close 3 s, pauses of 5 s between
}

TEST(IsServerAvailableAttempts, CountsUpToAHundredAreKept) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    EXPECT_EQ(100, Attempts(100));
    EXPECT_EQ(99, Attempts(99));
    EXPECT_EQ(100, Attempts(101));
}

TEST(IsServerAvailableAttempts, CountsBelowOneMakeOneAttempt) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    EXPECT_EQ(1, Attempts(0));
    EXPECT_EQ(3u, g_seconds_slept);
    EXPECT_EQ(1, Attempts(-5));
}

}  // namespace
