// The wait for a booting host: which failed login is worth another try, and
// the tries, pauses and looks at the SSH port against a scripted host and clock.
#include "BootWait.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <deque>
#include <initializer_list>
#include <string>

#include "StopRequest.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

namespace {

using BootWait::Attempt;

Attempt Failed(int status, bool hostKeyChanged = false, bool hostdStarting = false) {
    Attempt attempt;
    attempt.status = status;
    attempt.hostKeyChanged = hostKeyChanged;
    attempt.hostdStarting = hostdStarting;
    return attempt;
}

TEST(BootWaitPolicy, WhatIsWorthAnotherTry) {
    EXPECT_TRUE(BootWait::WorthAnotherAttempt(Failed(SSH_CANNOT_CONNECT_ERR)));
    EXPECT_TRUE(BootWait::WorthAnotherAttempt(Failed(SSH_REMOTE_PARSER_ERR)));
    EXPECT_TRUE(BootWait::WorthAnotherAttempt(Failed(SSH_REMOTE_TIMEOUT_ERR)));
    EXPECT_TRUE(BootWait::WorthAnotherAttempt(Failed(SSH_CLI_CMD_FAILED_ERR, false, true)));
}

TEST(BootWaitPolicy, WhatEndsTheWaitAtOnce) {
    EXPECT_FALSE(BootWait::WorthAnotherAttempt(Failed(SSH_SUCCESS)));
    EXPECT_FALSE(BootWait::WorthAnotherAttempt(Failed(SSH_AUTH_ERR)));
    EXPECT_FALSE(BootWait::WorthAnotherAttempt(Failed(SSH_CANNOT_CONNECT_ERR, true)));
    EXPECT_FALSE(BootWait::WorthAnotherAttempt(Failed(SSH_CLI_CMD_FAILED_ERR)));
    const std::initializer_list<int> others = {
        SSH_INVALID_PARAM_ERR, SSH_INTERNAL_ERR, SSH_CLIENT_NOT_FOUND_ERR, SSH_CLIENT_ERR,
        SSH_CLI_INVALID_PARAM_ERR, SSH_CLI_NO_INFO_ERR, SSH_FLASHING_LOGIC_ERR, SSH_VERIFY_ERR,
        SSH_PARSER_CANT_PARSE, SSH_PARSER_IN_PROGRESS, StopRequest::kStatusStopped};
    for (int status : others)
        EXPECT_FALSE(BootWait::WorthAnotherAttempt(Failed(status))) << status;
    // A wrong password stays final whatever else was seen.
    EXPECT_FALSE(BootWait::WorthAnotherAttempt(Failed(SSH_AUTH_ERR, false, true)));
}

// Time that passes only in pauses; a stop that comes at a given moment.
class ScriptedClock : public BootWait::Clock {
public:
    double Now() override { return now; }
    bool Stopped() override { return now >= stopAt; }
    bool Pause(double seconds) override {
        pauses.push_back(seconds);
        now += seconds;
        return !Stopped();
    }

    double now = 1000;
    double stopAt = 1e9;
    std::deque<double> pauses;
};

// Logins that come out as scripted (the last one again when the script ends),
// each taking `loginSeconds` of the clock; the port's answers likewise.
class ScriptedHost : public BootWait::Host {
public:
    explicit ScriptedHost(ScriptedClock& clock) : clock_(clock) {}

    Attempt LogIn() override {
        ++logins;
        starts.push_back(clock_.now);
        clock_.now += loginSeconds;
        return Next(attempts);
    }
    int StartClient() override {
        ++clients;
        return startStatus;
    }
    bool PortAnswers() override {
        ++looks;
        clock_.now += lookSeconds;
        return Next(port);
    }

    std::deque<Attempt> attempts;
    std::deque<bool> port{true};
    int startStatus = SSH_SUCCESS;
    double loginSeconds = 1;
    double lookSeconds = 0;
    int logins = 0, clients = 0, looks = 0;
    std::deque<double> starts;  // when each login began

private:
    template <typename T>
    static T Next(std::deque<T>& script) {
        T next = script.front();
        if (script.size() > 1) script.pop_front();
        return next;
    }
    ScriptedClock& clock_;
};

class BootWaitLoop : public testing::Test {
protected:
    void SetUp() override { kel_set_trace(TRACE_MODE_QUIET); }
    int Wait(int seconds) { return BootWait::LogInWithin(host, seconds, clock); }

    ScriptedClock clock;
    ScriptedHost host{clock};
};

TEST_F(BootWaitLoop, ALoginThatWorksAtOnceIsOneTryWithoutPause) {
    host.attempts = {Failed(SSH_SUCCESS)};
    EXPECT_EQ(SSH_SUCCESS, Wait(60));
    EXPECT_EQ(1, host.logins);
    EXPECT_EQ(0, host.clients);
    EXPECT_EQ(0, host.looks);
    EXPECT_TRUE(clock.pauses.empty());
}

// Refused, then the connection ended during the login, then hostd not up, then in.
TEST_F(BootWaitLoop, TriesAgainOnAFreshClientFiveSecondsApartUntilTheLoginWorks) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR), Failed(SSH_REMOTE_PARSER_ERR),
                     Failed(SSH_CLI_CMD_FAILED_ERR, false, true), Failed(SSH_SUCCESS)};
    EXPECT_EQ(SSH_SUCCESS, Wait(60));
    EXPECT_EQ(4, host.logins);
    EXPECT_EQ(3, host.clients);
    EXPECT_EQ(3, host.looks);
    EXPECT_EQ((std::deque<double>{5, 5, 5}), clock.pauses);
    EXPECT_EQ((std::deque<double>{1000, 1006, 1012, 1018}), host.starts);
}

TEST_F(BootWaitLoop, AWrongPasswordEndsTheWaitAtOnce) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR), Failed(SSH_AUTH_ERR), Failed(SSH_SUCCESS)};
    EXPECT_EQ(SSH_AUTH_ERR, Wait(60));
    EXPECT_EQ(2, host.logins);
    EXPECT_EQ(1, host.clients);
}

TEST_F(BootWaitLoop, AChangedHostKeyIsOneTry) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR, true), Failed(SSH_SUCCESS)};
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, Wait(60));
    EXPECT_EQ(1, host.logins);
    EXPECT_EQ(0, host.clients);
    EXPECT_TRUE(clock.pauses.empty());
}

// Without a wait the first failure stands, as it always has.
TEST_F(BootWaitLoop, NoTimeToWaitIsOneTry) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR), Failed(SSH_SUCCESS)};
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, Wait(0));
    EXPECT_EQ(1, host.logins);
    EXPECT_TRUE(clock.pauses.empty());
}

// Tries of a second each, five seconds apart, for 20 s: none starts after the end of the wait, and the
// last one's status is the answer.
TEST_F(BootWaitLoop, WhenTheTimeIsUpTheLastStatusStands) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR), Failed(SSH_CANNOT_CONNECT_ERR),
                     Failed(SSH_REMOTE_TIMEOUT_ERR)};
    EXPECT_EQ(SSH_REMOTE_TIMEOUT_ERR, Wait(20));
    EXPECT_EQ(4, host.logins);
    ASSERT_FALSE(host.starts.empty());
    EXPECT_LE(host.starts.back(), 1020);
    EXPECT_LE(clock.now, 1020 + 1);
}

// Nothing answers on port 22 for two looks: no client is started until it does.
TEST_F(BootWaitLoop, NoClientIsStartedWhileThePortIsSilent) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR), Failed(SSH_SUCCESS)};
    host.port = {false, false, true};
    EXPECT_EQ(SSH_SUCCESS, Wait(60));
    EXPECT_EQ(3, host.looks);
    EXPECT_EQ(1, host.clients);
    EXPECT_EQ((std::deque<double>{5, 5, 5}), clock.pauses);
}

TEST_F(BootWaitLoop, APortSilentToTheEndIs3WithoutAnotherClient) {
    host.attempts = {Failed(SSH_CLI_CMD_FAILED_ERR, false, true)};
    host.port = {false};
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, Wait(30));
    EXPECT_EQ(1, host.logins);
    EXPECT_EQ(0, host.clients);
    EXPECT_LE(clock.now, 1030);
}

TEST_F(BootWaitLoop, AClientThatCannotStartEndsTheWaitWithItsStatus) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR)};
    host.startStatus = SSH_CLIENT_NOT_FOUND_ERR;
    EXPECT_EQ(SSH_CLIENT_NOT_FOUND_ERR, Wait(60));
    EXPECT_EQ(1, host.logins);
}

TEST_F(BootWaitLoop, AStopDuringAPauseEndsTheWaitWith17) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR)};
    clock.stopAt = 1003;
    EXPECT_EQ(StopRequest::kStatusStopped, Wait(60));
    EXPECT_EQ(1, host.logins);
    EXPECT_EQ(0, host.looks);
    EXPECT_EQ(0, host.clients);
}

TEST_F(BootWaitLoop, AStopDuringALookAtThePortEndsTheWaitWith17) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR)};
    host.loginSeconds = 0;
    host.lookSeconds = 1;
    clock.stopAt = 1005.5;  // while the look waits for an answer
    EXPECT_EQ(StopRequest::kStatusStopped, Wait(60));
    EXPECT_EQ(1, host.looks);
    EXPECT_EQ(0, host.clients);
}

TEST_F(BootWaitLoop, AStopDuringATryEndsTheWaitAfterIt) {
    host.attempts = {Failed(SSH_CANNOT_CONNECT_ERR)};
    host.loginSeconds = 2;
    clock.stopAt = 1001;
    EXPECT_EQ(StopRequest::kStatusStopped, Wait(60));
    EXPECT_EQ(1, host.logins);
    EXPECT_TRUE(clock.pauses.empty());
}

double Seconds(BootWait::Clock& clock, double pause, bool* done) {
    double start = clock.Now();
    *done = clock.Pause(pause);
    return clock.Now() - start;
}

TEST(BootWaitClock, APauseLastsItsTime) {
    StopRequest::Clear();
    BootWait::Clock clock;
    bool done = false;
    double took = Seconds(clock, 0.3, &done);
    EXPECT_TRUE(done);
    EXPECT_GE(took, 0.3);
    EXPECT_LT(took, 1.0);
}

// The signal's own handler (StopRequest) cuts a pause short within its tenth of a second.
TEST(BootWaitClock, AStopSignalCutsAPauseShort) {
    StopRequest::Install();
    StopRequest::Clear();
    BootWait::Clock clock;
    ASSERT_EQ(0, raise(SIGTERM));
    bool done = true;
    double took = Seconds(clock, 5, &done);
    EXPECT_FALSE(done);
    EXPECT_LT(took, 0.2);
    EXPECT_TRUE(clock.Stopped());
    StopRequest::Clear();
}

}  // namespace
