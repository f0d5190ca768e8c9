// Threads that trace at once: each line is whole, a thread's tag goes before
// its own messages only, and a hold keeps the other threads' lines back.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kel-tools-trace.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

std::string Captured() {
    fflush(stdout);
    return GetCapturedStdout();
}

class TraceThreads : public testing::Test {
protected:
    void SetUp() override { previous_ = kel_set_trace(TRACE_MODE_DEBUG); }
    void TearDown() override {
        kel_trace_set_tag(NULL);
        kel_set_trace(TRACE_MODE_QUIET);
        (void)previous_;
    }
    unsigned int previous_ = 0;
};

TEST_F(TraceThreads, ATagGoesBeforeTheMessagesOfItsOwnThreadOnly) {
    CaptureStdout();
    kel_trace_set_tag("VM 3 web: ");
    KelTrace(TRACE_DEBUG, "Suspend", "suspend VM\n");
    std::thread other([] { KelTrace(TRACE_DEBUG, "Login", "untagged\n"); });
    other.join();
    kel_trace(TRACE_ALWAYS, "plain\n");
    kel_trace_set_tag(NULL);
    KelTrace(TRACE_DEBUG, "Suspend", "after\n");
    std::string out = Captured();
    EXPECT_TRUE(std::regex_match(out, std::regex("\\d\\d:\\d\\d:\\d\\d: trace> Suspend: VM 3 web: suspend VM\n"
                                                 "\\d\\d:\\d\\d:\\d\\d: trace> Login: untagged\n"
                                                 "\\d\\d:\\d\\d:\\d\\d: VM 3 web: plain\n"
                                                 "\\d\\d:\\d\\d:\\d\\d: trace> Suspend: after\n")))
        << out;
}

TEST_F(TraceThreads, LinesOfManyThreadsStayWhole) {
    const int kThreads = 8, kLines = 200;
    CaptureStdout();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t] {
            std::string tag = "T" + std::to_string(t) + ": ";
            kel_trace_set_tag(tag.c_str());
            std::string body(300, static_cast<char>('a' + t));
            for (int i = 0; i < kLines; ++i) KelTrace(TRACE_DEBUG, "W", "%s\n", body.c_str());
        });
    for (std::thread& thread : threads) thread.join();
    std::istringstream out(Captured());
    int lines = 0;
    std::regex whole("\\d\\d:\\d\\d:\\d\\d: trace> W: T([0-7]): ([a-h])\\2{299}");
    for (std::string line; std::getline(out, line); ++lines) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, whole)) << line.substr(0, 120);
        EXPECT_EQ(m[1].str()[0] - '0', m[2].str()[0] - 'a') << "a tag on another thread's message";
    }
    EXPECT_EQ(kThreads * kLines, lines);
}

// While one thread holds the trace, another's line waits for the release.
TEST_F(TraceThreads, AHoldKeepsTheOtherThreadsLinesBackUntilItsRelease) {
    CaptureStdout();
    std::atomic<bool> written(false);
    kel_trace_hold();
    std::thread other([&written] {
        KelTrace(TRACE_DEBUG, "Other", "line\n");
        written = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(written) << "a line was written during the hold";
    kel_trace_release();
    other.join();
    EXPECT_TRUE(written);
    EXPECT_NE(std::string::npos, Captured().find("trace> Other: line\n"));
}

// The holding thread itself may hold again (the holds nest) without blocking.
TEST_F(TraceThreads, HoldsNest) {
    kel_trace_hold();
    kel_trace_hold();
    kel_trace_release();
    kel_trace_release();
    std::atomic<bool> written(false);
    CaptureStdout();
    std::thread other([&written] {
        KelTrace(TRACE_DEBUG, "Other", "free\n");
        written = true;
    });
    other.join();
    EXPECT_TRUE(written);
    Captured();
}

}  // namespace
