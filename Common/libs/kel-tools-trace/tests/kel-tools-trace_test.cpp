#include "kel-tools-trace.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "temp_dir.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

std::string Captured() {
    fflush(stdout);
    return GetCapturedStdout();
}

std::string NowStamp() {
    char buf[16];
    time_t now = time(nullptr);
    strftime(buf, sizeof(buf), "%H:%M:%S", localtime(&now));
    return buf;
}

// Checks "hh:mm:ss" + rest, where the stamp is the local time of the call.
void ExpectStamped(const std::string& line, const std::string& rest, const std::string& before) {
    ASSERT_GE(line.size(), 8u);
    std::string stamp = line.substr(0, 8);
    EXPECT_TRUE(stamp == before || stamp == NowStamp()) << stamp;
    EXPECT_EQ(rest, line.substr(8));
}

TEST(TraceLevels, ErrorLineIsStampedWithoutPrefix) {
    std::string before = NowStamp();
    CaptureStdout();
    EXPECT_EQ(0, kel_trace(TRACE_ERROR, "x%d\n", 5));
    ExpectStamped(Captured(), ": x5\n", before);
}

TEST(TraceLevels, DebugWarningAndPlainFormats) {
    kel_set_trace(TRACE_MODE_DEBUG);
    CaptureStdout();
    kel_trace(TRACE_DEBUG, "d\n");
    kel_trace(TRACE_WARNING, "w\n");
    kel_trace(TRACE_INFO, "i\n");
    kel_trace(TRACE_NOTICE, "n\n");
    kel_trace(TRACE_ALWAYS, "a\n");
    EXPECT_EQ("hh:mm:ss: trace> d\nhh:mm:ss: Warning> w\nhh:mm:ss: i\n"
              "hh:mm:ss: n\nhh:mm:ss: a\n",
              std::regex_replace(Captured(), std::regex("\\d\\d:\\d\\d:\\d\\d"), "hh:mm:ss"));
}

TEST(TraceLevels, NamedLinesPutTheNameAfterThePrefix) {
    kel_set_trace(TRACE_MODE_DEBUG);
    CaptureStdout();
    KelTrace(TRACE_DEBUG, "main", "text\n");
    KelTrace(TRACE_WARNING, "f", "w\n");
    KelTrace(TRACE_ERROR, "g", "e\n");
    KelTrace(TRACE_ALWAYS, "h", "a\n");
    EXPECT_EQ("hh:mm:ss: trace> main: text\nhh:mm:ss: Warning> f: w\nhh:mm:ss: g: e\n"
              "hh:mm:ss: h: a\n",
              std::regex_replace(Captured(), std::regex("\\d\\d:\\d\\d:\\d\\d"), "hh:mm:ss"));
}

TEST(TraceLevels, OutOfRangeLevelsPrintNothing) {
    kel_set_trace(TRACE_MODE_DEBUG);
    CaptureStdout();
    EXPECT_EQ(1, kel_trace(TRACE_START, "x\n"));
    EXPECT_EQ(1, kel_trace(TRACE_END, "x\n"));
    EXPECT_EQ(1, KelTrace(99, "n", "x\n"));
    EXPECT_EQ(1, KelTrace(106, "n", "x\n"));
    EXPECT_EQ("", Captured());
}

TEST(TraceLevels, NullFormatPrintsNothing) {
    CaptureStdout();
    EXPECT_EQ(1, kel_trace(TRACE_ALWAYS, nullptr));
    EXPECT_EQ(1, KelTrace(TRACE_ALWAYS, "n", nullptr));
    EXPECT_EQ("", Captured());
}

TEST(TraceLevels, LongMessageIsCutTo1023Characters) {
    std::string message(2000, 'm');
    message += "\n";
    CaptureStdout();
    EXPECT_EQ(0, kel_trace(TRACE_ALWAYS, "%s", message.c_str()));
    std::string out = Captured();
    ASSERT_EQ(8u + 2u + 1023u, out.size());
    EXPECT_EQ(std::string(1023, 'm'), out.substr(10));
}

TEST(TraceLevels, FormatterFailureStillWritesTheStampedLine) {
    // A wide character that the C locale cannot convert makes vsnprintf fail;
    // the retry with the larger buffer fails the same way and is ignored.
    CaptureStdout();
    EXPECT_EQ(0, kel_trace(TRACE_ALWAYS, "%ls", L"\u00e9\u00e9"));
    std::string out = Captured();
    EXPECT_TRUE(std::regex_match(out, std::regex("\\d\\d:\\d\\d:\\d\\d: .*"))) << out;
}

TEST(TraceMask, InitialMaskAdmitsErrorsAndAlwaysOnly) {
    EXPECT_NE(0, trace_get_bit(TRACE_ERROR));
    EXPECT_EQ(0, trace_get_bit(TRACE_WARNING));
    EXPECT_EQ(0, trace_get_bit(TRACE_DEBUG));
    EXPECT_NE(0, trace_get_bit(TRACE_ALWAYS));
    CaptureStdout();
    EXPECT_EQ(1, kel_trace(TRACE_WARNING, "w\n"));
    EXPECT_EQ(1, kel_trace(TRACE_NOTICE, "n\n"));
    EXPECT_EQ("", Captured());
}

TEST(TraceMask, EachModeBuildsItsMask) {
    EXPECT_EQ(1u, kel_set_trace(TRACE_MODE_QUIET));
    EXPECT_EQ(0x01u, kel_set_trace(TRACE_MODE_INFO));
    EXPECT_EQ(0x05u, kel_set_trace(TRACE_MODE_VERBOSE));
    EXPECT_EQ(0x0Fu, kel_set_trace(TRACE_MODE_DEBUG));
    EXPECT_EQ(0x1Fu, kel_set_trace(7));
    EXPECT_EQ(0x01u, kel_set_trace(TRACE_MODE_END));
    EXPECT_EQ(0x01u, kel_set_trace(TRACE_MODE_QUIET));
}

TEST(TraceMask, PreviousMaskIsReturned) {
    kel_set_trace(TRACE_MODE_QUIET);
    EXPECT_EQ(1u, kel_set_trace(TRACE_MODE_DEBUG));
    EXPECT_EQ(31u, kel_set_trace(TRACE_MODE_QUIET));
}

TEST(TraceMask, QuietModePrintsAlwaysButNotWarning) {
    kel_set_trace(TRACE_MODE_QUIET);
    CaptureStdout();
    EXPECT_EQ(0, kel_trace(TRACE_ALWAYS, "a\n"));
    EXPECT_EQ(1, kel_trace(TRACE_WARNING, "w\n"));
    EXPECT_EQ(": a\n", Captured().substr(8));
}

TEST(TraceMask, InfoModePrintsInfoButNotWarning) {
    kel_set_trace(TRACE_MODE_INFO);
    CaptureStdout();
    EXPECT_EQ(0, kel_trace(TRACE_INFO, "i\n"));
    EXPECT_EQ(1, kel_trace(TRACE_WARNING, "w\n"));
    EXPECT_EQ(1, kel_trace(TRACE_NOTICE, "n\n"));
    EXPECT_EQ(": i\n", Captured().substr(8));
}

TEST(TraceMask, VerboseModeHidesDebugOnly) {
    kel_set_trace(TRACE_MODE_VERBOSE);
    EXPECT_NE(0, trace_get_bit(TRACE_WARNING));
    EXPECT_NE(0, trace_get_bit(TRACE_NOTICE));
    EXPECT_EQ(0, trace_get_bit(TRACE_DEBUG));
}

// Runs `body` in a child whose standard error is a pseudo-terminal and whose
// standard output is a file; returns what reached the terminal.
std::string RunWithTerminalStderr(const TempDir& dir, void (*body)()) {
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    if (pid == 0) {
        FILE* out = fopen(dir.file("stdout").c_str(), "w");
        dup2(fileno(out), 1);
        body();
        fflush(stdout);
        fflush(stderr);
        _exit(0);
    }
    std::string seen;
    char buf[256];
    ssize_t n;
    while ((n = read(master, buf, sizeof(buf))) > 0) seen.append(buf, n);
    waitpid(pid, nullptr, 0);
    close(master);
    return seen;
}

TEST(TraceStreams, ErrorGoesToStderrWhenItIsATerminal) {
    TempDir dir;
    std::string terminal =
        RunWithTerminalStderr(dir, [] { kel_trace(TRACE_ERROR, "x\n"); });
    EXPECT_TRUE(std::regex_match(terminal, std::regex("\\d\\d:\\d\\d:\\d\\d: x\r\n"))) << terminal;
    EXPECT_EQ("", dir.Read("stdout"));
}

TEST(TraceStreams, OtherLevelsStayOnStdoutWithATerminal) {
    TempDir dir;
    std::string terminal = RunWithTerminalStderr(dir, [] {
        kel_set_trace(TRACE_MODE_DEBUG);
        kel_trace(TRACE_DEBUG, "d\n");
        KelTrace(TRACE_ALWAYS, "n", "a\n");
    });
    EXPECT_EQ("", terminal);
    EXPECT_TRUE(std::regex_match(dir.Read("stdout"),
                                 std::regex("\\d\\d:\\d\\d:\\d\\d: trace> d\n"
                                            "\\d\\d:\\d\\d:\\d\\d: n: a\n")))
        << dir.Read("stdout");
}

TEST(TraceStreams, ErrorGoesToStdoutWhenStderrIsNotATerminal) {
    ASSERT_FALSE(isatty(2)) << "run the tests with stderr redirected";
    testing::internal::CaptureStderr();
    CaptureStdout();
    kel_trace(TRACE_ERROR, "x\n");
    std::string out = Captured();
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(": x\n", out.substr(8));
}

}  // namespace
