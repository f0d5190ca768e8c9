// What a response tells about the line ends dropped at its edges, so that the
// pieces of a long output can be joined again.
#include <gtest/gtest.h>

#include <string>

#include "fake_plink_dir.h"
#include "session_probe.h"

namespace {

struct Edges {
    std::string text;
    bool before;
    bool after;
};

Edges Normalize(const std::string& command, const std::string& raw) {
    SessionProbe s;
    s.SetCommand(command);
    s.SetResponse(raw);
    s.NormalizeResponse();
    return {s.Response(), s.LineEndCutBefore(), s.LineEndCutAfter()};
}

TEST(SshSessionPieces, PieceCutInsideALineHasNoDroppedLineEnd) {
    Edges e = Normalize("", "def   vmx-08\r\n12   ab");
    EXPECT_EQ("def   vmx-08\r\n12   ab", e.text);
    EXPECT_FALSE(e.before);
    EXPECT_FALSE(e.after);
}

TEST(SshSessionPieces, LineEndsAtTheEdgesAreReported) {
    Edges e = Normalize("", "\r\n12   ab\r\n");
    EXPECT_EQ("12   ab", e.text);
    EXPECT_TRUE(e.before);
    EXPECT_TRUE(e.after);
}

TEST(SshSessionPieces, CrAtTheEndAndLfAtTheStartAreReported) {
    Edges first = Normalize("", "12   ab\r");
    EXPECT_EQ("12   ab", first.text);
    EXPECT_TRUE(first.after);
    Edges second = Normalize("", "\n13   cd");
    EXPECT_EQ("13   cd", second.text);
    EXPECT_TRUE(second.before);
}

TEST(SshSessionPieces, TextRightAfterTheEchoStartsALine) {
    Edges e = Normalize("vim-cmd vmsvc/getallvms", "vim-cmd vmsvc/getallvms\r\nVmid");
    EXPECT_EQ("Vmid", e.text);
    EXPECT_TRUE(e.before);
    EXPECT_FALSE(e.after);
}

// Through the stand-in client: a piece that ends with a CR, a piece of a lone
// LF (which is no response of its own) and the rest of the output.
TEST(SshSessionPieces, LoneLineEndPieceMarksTheNextPiece) {
    FakePlinkDir dir;
    SessionProbe session;
    session.SetTimeout(20);
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, session,
                                       {ScriptExpect("cat\n"), ScriptPrint("cat\r\n1 a\r"), "sleep 2.5",
                                        ScriptPrint("\n"), "sleep 2.5", ScriptPrint("2 b"), "wait"}));
    session.SetState(EXEC_REMOTE);
    char* response = nullptr;
    ASSERT_EQ(SSH_SUCCESS, session.SendCommand("cat\n"));
    ASSERT_EQ(SSH_SUCCESS, session.GetResponse(&response));
    EXPECT_STREQ("1 a", response);
    EXPECT_TRUE(session.LineEndCutAfter());
    ASSERT_EQ(SSH_SUCCESS, session.GetResponse(&response));
    EXPECT_STREQ("2 b", response);
    EXPECT_TRUE(session.LineEndCutBefore());
    EXPECT_FALSE(session.LineEndCutAfter());
}

}  // namespace
