// Whether a host asked to power off has been down since: the uptime's reply,
// the decision, and the wait through the power-off and the boot against a
// scripted host and clock.
#include "HostBootCheck.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "StopRequest.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

namespace {

const unsigned long long kSecond = 1000000ULL;

unsigned long long Uptime(const std::string& reply, bool* ok) {
    unsigned long long micros = 12345;
    *ok = HostBootCheck::ParseUptime(reply.c_str(), &micros);
    return micros;
}

TEST(HostBootCheckUptime, ALineOfDigitsBeforeThePromptIsMicroseconds) {
    bool ok = false;
    EXPECT_EQ(3627842ULL, Uptime("3627842\n~ # ", &ok));
    EXPECT_TRUE(ok);
    EXPECT_EQ(42825414367ULL, Uptime("42825414367\r\n[root@esx01:~] ", &ok));
    EXPECT_TRUE(ok);
    EXPECT_EQ(0ULL, Uptime("\n0\n\n~ # ", &ok)) << "blank lines around it";
    EXPECT_TRUE(ok);
    EXPECT_EQ(9999999999999999ULL, Uptime("9999999999999999\n~ # ", &ok));
    EXPECT_TRUE(ok);
}

TEST(HostBootCheckUptime, AnythingElseIsNoUptime) {
    const char* const replies[] = {
        "",
        "~ # ",
        "3627842\n",  // no prompt: the reply has not ended
        "Error: Unknown command or namespace system stats uptime get\n\n~ # ",
        "-sh: esxcli: not found\n~ # ",
        "3627842 \n~ # ",
        " 3627842\n~ # ",
        "+3627842\n~ # ",
        "-3627842\n~ # ",
        "36.27842\n~ # ",
        "0x10\n~ # ",
        "3627842 us\n~ # ",
        "Uptime: 3627842\n~ # ",
        "3627842\n3627843\n~ # ",
        "3627842\nwarning\n~ # ",
        "10000000000000000\n~ # ",  // 17 digits
    };
    for (const char* reply : replies) {
        bool ok = true;
        unsigned long long micros = Uptime(reply, &ok);
        EXPECT_FALSE(ok) << reply;
        EXPECT_EQ(12345ULL, micros) << "left as it was: " << reply;
    }
    unsigned long long micros = 0;
    EXPECT_FALSE(HostBootCheck::ParseUptime(nullptr, &micros));
}

// The power-off was asked for at 1000: the host booted since when now minus
// its uptime is at least half the delay later.
TEST(HostBootCheckDecision, ABootCountsFromHalfTheDelayAfterTheRequest) {
    EXPECT_TRUE(HostBootCheck::BootedSince(1000, 2000.0, 900 * kSecond));   // booted at 1100
    EXPECT_TRUE(HostBootCheck::BootedSince(1000, 1100.0, 95 * kSecond));    // at 1005
    EXPECT_FALSE(HostBootCheck::BootedSince(1000, 1100.0, 96 * kSecond));   // at 1004
    EXPECT_FALSE(HostBootCheck::BootedSince(1000, 1004.0, 86400 * kSecond));  // up for a day: still going down
    EXPECT_FALSE(HostBootCheck::BootedSince(1000, 1003.0, 0));  // a boot before the delay is over is no boot
    EXPECT_TRUE(HostBootCheck::BootedSince(1000, 1040.0, 20 * kSecond));    // off at 1010, on at 1020
}

TEST(HostBootCheckDecision, TheRecordedMomentIsDigitsOnly) {
    long long epoch = 0;
    EXPECT_TRUE(HostBootCheck::ParsePowerOffAt("1795467601", &epoch));
    EXPECT_EQ(1795467601LL, epoch);
    for (const char* text : {"", "-1", "1795467601.5", "17954 67601", "0x10", "1795467601;reboot",
                             "1234567890123456789"})
        EXPECT_FALSE(HostBootCheck::ParsePowerOffAt(text, &epoch)) << text;
}

// Time that passes only in pauses and logins; the wall clock moves with it.
class ScriptedClock : public HostBootCheck::Clock {
public:
    double Now() override { return now; }
    double EpochNow() override { return epochOffset + now; }
    bool Stopped() override { return now >= stopAt; }
    bool Pause(double seconds) override {
        pauses.push_back(seconds);
        now += seconds;
        return !Stopped();
    }

    double now = 100;
    double epochOffset = 1000;  // the request at 1000 below is at now == 0
    double stopAt = 1e9;
    std::deque<double> pauses;
};

// A host that goes down at `offAt` and comes back at `onAt` (epoch, the
// wall clock): before, its uptime is a day; after, it counts from `onAt`;
// between, a login is refused (3). Each login takes `loginSeconds`.
class PoweringHost : public HostBootCheck::Host {
public:
    explicit PoweringHost(ScriptedClock& clock) : clock_(clock) {}

    int ReadUptime(unsigned long long* micros) override {
        ++reads;
        if (readStatus != SSH_SUCCESS) return readStatus;
        double epoch = clock_.EpochNow();
        double since = epoch >= onAt ? onAt : epoch - 86400;
        *micros = static_cast<unsigned long long>((epoch - since) * 1e6);
        return SSH_SUCCESS;
    }
    int LogInAgain(double deadline) override {
        ++logins;
        deadlines.push_back(deadline);
        for (;;) {
            clock_.now += loginSeconds;
            double epoch = clock_.EpochNow();
            if (epoch < offAt || epoch >= onAt) return SSH_SUCCESS;
            if (clock_.now + 5 > deadline) return SSH_CANNOT_CONNECT_ERR;
            clock_.Pause(5);
        }
    }

    double offAt = 1010, onAt = 1030, loginSeconds = 1;
    int readStatus = SSH_SUCCESS;
    int reads = 0, logins = 0;
    std::deque<double> deadlines;

private:
    ScriptedClock& clock_;
};

class HostBootCheckWait : public testing::Test {
protected:
    void SetUp() override { kel_set_trace(TRACE_MODE_QUIET); }

    ScriptedClock clock_;
    PoweringHost host_{clock_};
};

TEST_F(HostBootCheckWait, AHostThatHasBootedSinceIsReadOnce) {
    clock_.now = 50;  // epoch 1050: the host came back at 1030
    EXPECT_EQ(SSH_SUCCESS, HostBootCheck::WaitForBootSince(host_, 1000, clock_.now + 600, clock_));
    EXPECT_EQ(1, host_.reads);
    EXPECT_EQ(0, host_.logins);
    EXPECT_TRUE(clock_.pauses.empty());
}

TEST_F(HostBootCheckWait, WithoutAWaitAHostStillPoweringOffIs3AtOnce) {
    clock_.now = 2;  // epoch 1002: in the power-off's delay
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, HostBootCheck::WaitForBootSince(host_, 1000, clock_.now, clock_));
    EXPECT_EQ(1, host_.reads);
    EXPECT_EQ(0, host_.logins);
    EXPECT_TRUE(clock_.pauses.empty());
}

// In the delay at 1002: looks again every 5 s, through the power-off at 1010
// (logins refused) to the boot at 1030, then finds the host booted since.
TEST_F(HostBootCheckWait, AWaitFollowsTheHostDownAndBackUp) {
    clock_.now = 2;
    double deadline = clock_.now + 60;
    EXPECT_EQ(SSH_SUCCESS, HostBootCheck::WaitForBootSince(host_, 1000, deadline, clock_));
    EXPECT_GE(clock_.EpochNow(), 1030);
    EXPECT_LT(clock_.EpochNow(), 1040);
    EXPECT_EQ(host_.logins + 1, host_.reads);
    EXPECT_EQ(2, host_.logins) << "one in the delay, one through the power-off and the boot";
    for (double pause : clock_.pauses) EXPECT_EQ(5, pause);
    for (double each : host_.deadlines) EXPECT_EQ(deadline, each) << "one bound for the whole wait";
}

TEST_F(HostBootCheckWait, AHostThatIsNotBackWithinTheWaitIs3) {
    clock_.now = 2;
    host_.onAt = 5000;
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, HostBootCheck::WaitForBootSince(host_, 1000, clock_.now + 60, clock_));
    EXPECT_LE(clock_.now, 2 + 60 + 1);
}

TEST_F(HostBootCheckWait, AHostThatNeverGoesDownIs3WhenTheWaitIsOver) {
    clock_.now = 2;
    host_.offAt = host_.onAt = 5000;
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, HostBootCheck::WaitForBootSince(host_, 1000, clock_.now + 30, clock_));
    EXPECT_GE(host_.reads, 4);
    EXPECT_LE(clock_.now, 2 + 30);
}

TEST_F(HostBootCheckWait, AReplyThatIsNoUptimeEndsTheCheckWithItsStatus) {
    clock_.now = 2;
    host_.readStatus = SSH_CLI_CMD_FAILED_ERR;
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, HostBootCheck::WaitForBootSince(host_, 1000, clock_.now + 60, clock_));
    EXPECT_EQ(1, host_.reads);
    EXPECT_EQ(0, host_.logins);
}

// The session that breaks as the host goes down is worth another look.
TEST_F(HostBootCheckWait, ASessionThatBreaksAsTheHostGoesDownIsLookedAtAgain) {
    clock_.now = 2;
    host_.readStatus = SSH_REMOTE_PARSER_ERR;
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, HostBootCheck::WaitForBootSince(host_, 1000, clock_.now + 20, clock_));
    EXPECT_GE(host_.logins, 2);
}

TEST_F(HostBootCheckWait, AStopEndsTheWaitWith17) {
    clock_.now = 2;
    clock_.stopAt = 4;
    EXPECT_EQ(StopRequest::kStatusStopped,
              HostBootCheck::WaitForBootSince(host_, 1000, clock_.now + 60, clock_));
    EXPECT_EQ(0, host_.logins);
}

}  // namespace
