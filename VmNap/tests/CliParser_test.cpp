#include "CliParser.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "SshCommand.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

namespace {

using SshSrv::SshCommand;

// Records every line; fails on the line `fail_on` (1-based) or throws there.
class RecordingParser : public SshSrv::CliParser {
public:
    std::vector<std::string> lines;
    int fail_on = 0;
    int fail_code = SSH_CLI_CMD_FAILED_ERR;
    bool throw_instead = false;
    bool error_reply = false;

    int ParseLine(const char* line) override {
        lines.push_back(line);
        if (static_cast<int>(lines.size()) < fail_on || fail_on == 0) return SSH_SUCCESS;
        if (throw_instead) throw std::runtime_error("boom");
        return fail_code + static_cast<int>(lines.size()) - fail_on;
    }
    bool HasError(const char*) const override { return error_reply; }
    int Command() const { return m_iCommand; }
    SshSrv::SshServer* Owner() const { return m_pOwner; }
};

std::vector<std::string> Lines(const char* reply) {
    RecordingParser p;
    p.ParseLines(reply);
    return p.lines;
}

using V = std::vector<std::string>;

TEST(CliParser, StartsWithUnknownCommandAndNoOwner) {
    RecordingParser p;
    EXPECT_EQ(SshCommand::SSH_CMD_UNKNOWN, p.Command());
    EXPECT_EQ(nullptr, p.Owner());
}

TEST(CliParser, ParseStoresCommandAndOwner) {
    RecordingParser p;
    auto* owner = reinterpret_cast<SshSrv::SshServer*>(&p);
    EXPECT_EQ(SSH_SUCCESS, p.Parse("x", 4, owner));
    EXPECT_EQ(4, p.Command());
    EXPECT_EQ(owner, p.Owner());
}

TEST(CliParser, ErrorReplyTurnsTheIdIntoError) {
    RecordingParser p;
    p.error_reply = true;
    EXPECT_EQ(SSH_SUCCESS, p.Parse("x", 4, nullptr));
    EXPECT_EQ(SshCommand::SSH_CMD_ERROR, p.Command());
    p.error_reply = false;
    p.Parse("x", 5, nullptr);
    EXPECT_EQ(5, p.Command());
}

TEST(CliParserLines, EmptyReplyCallsNoHandler) {
    RecordingParser p;
    EXPECT_EQ(SSH_SUCCESS, p.ParseLines(""));
    EXPECT_TRUE(p.lines.empty());
}

TEST(CliParserLines, CrLfEndsALine) {
    EXPECT_EQ((V{"a", "b"}), Lines("a\r\nb\r\n"));
}

TEST(CliParserLines, EmptyLinesAreSkippedAndTheLastLineNeedsNoEnd) {
    EXPECT_EQ((V{"a", "b"}), Lines("a\n\n\nb"));
}

TEST(CliParserLines, OnlyTheCrBeforeLfIsRemoved) {
    EXPECT_EQ((V{"a\r"}), Lines("a\r\r\n"));
    EXPECT_EQ((V{"a\rb"}), Lines("a\rb"));
}

TEST(CliParserLines, BlankLineIsPassedButCrOnlyLineIsNot) {
    EXPECT_EQ((V{"   ", "x"}), Lines("   \n\r\nx"));
}

TEST(CliParserLines, ReplyWithoutLineFeedIsOneLine) {
    EXPECT_EQ((V{"one line"}), Lines("one line"));
}

TEST(CliParserLines, FailingLineStopsTheWalkAndIsPassedTwice) {
    RecordingParser p;
    p.fail_on = 2;
    int code = p.ParseLines("l1\nl2\nl3\n");
    EXPECT_EQ((V{"l1", "l2", "l2"}), p.lines);
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR + 1, code);  // the repeated call's code
}

TEST(CliParserLines, ReturnsTheLastHandlersCode) {
    RecordingParser p;
    p.fail_on = 3;
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, p.ParseLines("a\nb\nc"));
    EXPECT_EQ((V{"a", "b", "c"}), p.lines);
}

TEST(CliParserLines, CallersTextIsNotModified) {
    RecordingParser p;
    const char reply[] = "a\r\nb\n";
    std::string before(reply);
    p.ParseLines(reply);
    EXPECT_EQ(before, std::string(reply));
}

TEST(CliParserLines, ExceptionInHandlerIsInternalError) {
    kel_set_trace(TRACE_MODE_QUIET);
    RecordingParser p;
    p.fail_on = 1;
    p.throw_instead = true;
    testing::internal::CaptureStdout();
    EXPECT_EQ(SSH_INTERNAL_ERR, p.ParseLines("a\nb\n"));
    fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(": ParseLines: CliParser::ParseLines error catched\n", out.substr(8));
}

TEST(CliParserToken, TokensAreSplitAtRunsOfBlanks) {
    RecordingParser p;
    const char* line = "  12   my vm";
    int pos = 0;
    EXPECT_EQ("12", p.GetToken(line, pos));
    EXPECT_EQ(5, pos);
    EXPECT_EQ("my", p.GetToken(line, pos));
    EXPECT_EQ("vm", p.GetToken(line, pos));
    EXPECT_EQ("", p.GetToken(line, pos));
    EXPECT_EQ(12, pos);
}

TEST(CliParserToken, TabsCrAndLfSeparateToo) {
    RecordingParser p;
    int pos = 0;
    const char* line = "a\tb\rc\nd";
    EXPECT_EQ("a", p.GetToken(line, pos));
    EXPECT_EQ("b", p.GetToken(line, pos));
    EXPECT_EQ("c", p.GetToken(line, pos));
    EXPECT_EQ("d", p.GetToken(line, pos));
}

TEST(CliParserToken, QuotesAreNotSpecial) {
    RecordingParser p;
    int pos = 0;
    const char* line = "\"my vm\"";
    EXPECT_EQ("\"my", p.GetToken(line, pos));
    EXPECT_EQ("vm\"", p.GetToken(line, pos));
}

TEST(CliParserToken, EmptyOrBlankLineGivesEmptyToken) {
    RecordingParser p;
    int pos = 0;
    EXPECT_EQ("", p.GetToken("", pos));
    EXPECT_EQ(0, pos);
    pos = 0;
    EXPECT_EQ("", p.GetToken(" \t  \t", pos));
    EXPECT_EQ(5, pos);
}

}  // namespace
