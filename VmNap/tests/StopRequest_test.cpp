// The three signals that ask a run to stop only set the flag the run looks at
// between its steps.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include "StopRequest.h"

namespace {

class StopRequestTest : public testing::Test {
protected:
    void SetUp() override { StopRequest::Clear(); }
    void TearDown() override {
        StopRequest::Clear();
        for (int s : {SIGTERM, SIGINT, SIGHUP}) signal(s, SIG_DFL);
    }
};

TEST_F(StopRequestTest, NothingIsRequestedBeforeASignal) {
    StopRequest::Install();
    EXPECT_FALSE(StopRequest::Requested());
    EXPECT_EQ(0, StopRequest::Signal());
}

TEST_F(StopRequestTest, EachStopSignalSetsTheFlagAndTheProcessGoesOn) {
    StopRequest::Install();
    for (int s : {SIGTERM, SIGINT, SIGHUP}) {
        StopRequest::Clear();
        ASSERT_EQ(0, kill(getpid(), s));
        EXPECT_TRUE(StopRequest::Requested()) << s;
        EXPECT_EQ(s, StopRequest::Signal());
    }
}

TEST_F(StopRequestTest, FirstSignalIsTheOneRemembered) {
    StopRequest::Install();
    ASSERT_EQ(0, kill(getpid(), SIGHUP));
    ASSERT_EQ(0, kill(getpid(), SIGTERM));
    EXPECT_EQ(SIGHUP, StopRequest::Signal());
    StopRequest::Clear();
    EXPECT_FALSE(StopRequest::Requested());
}

// A read or write the signal comes in on is resumed, not failed.
TEST_F(StopRequestTest, HandlersResumeInterruptedCalls) {
    StopRequest::Install();
    for (int s : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction current;
        ASSERT_EQ(0, sigaction(s, nullptr, &current));
        EXPECT_NE(0, current.sa_flags & SA_RESTART) << s;
        EXPECT_NE(SIG_DFL, current.sa_handler) << s;
    }
}

}  // namespace
