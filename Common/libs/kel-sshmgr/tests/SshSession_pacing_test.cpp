// When a reply is handed over: at once when the client's output ends with the
// shell prompt or a question of the client, otherwise after a second without
// new output. Against the scripted stand-in client; the bounds leave room for
// a busy machine (a reply waited for a second of silence takes at least 0.95 s).
#include <gtest/gtest.h>

#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "session_probe.h"

namespace {

const double kAtOnce = 0.8;

// Runs one exchange and measures it.
struct Timed {
    RemoteSession remote;
    SshCodes rc = SSH_INTERNAL_ERR;
    double took = 0;

    explicit Timed(const std::vector<std::string>& script) : remote(script) {}
    void Exchange(const std::string& command) {
        double start = Now();
        rc = remote.Exchange(command);
        took = Now() - start;
    }
    void Next() {
        double start = Now();
        rc = remote.session.GetResponse(&remote.response);
        took = Now() - start;
    }
    std::string Response() const { return remote.response; }
};

TEST(SshSessionPacing, ShellPromptEndsTheReplyAtOnce) {
    Timed t({ScriptExpect("vim-cmd vmsvc/getallvms\n"),
             ScriptPrint("vim-cmd vmsvc/getallvms\r\nVmid Name\r\n~ # "), "wait"});
    t.Exchange("vim-cmd vmsvc/getallvms\n");
    EXPECT_EQ(SSH_SUCCESS, t.rc);
    EXPECT_EQ("Vmid Name\r\n~ # ", t.Response());
    EXPECT_LT(t.took, kAtOnce);
}

TEST(SshSessionPacing, BracketPromptEndsTheReplyAtOnce) {
    Timed t({ScriptExpect("hostname\n"), ScriptPrint("hostname\r\nesx01\r\n[root@esx01:~] "), "wait"});
    t.Exchange("hostname\n");
    EXPECT_EQ(SSH_SUCCESS, t.rc);
    EXPECT_EQ("esx01\r\n[root@esx01:~] ", t.Response());
    EXPECT_LT(t.took, kAtOnce);
}

// The progress line of a slow suspend is a reply of its own; the prompt that
// follows seconds later is the next one.
TEST(SshSessionPacing, TextWithoutPromptIsHandedOverAfterASecondOfSilence) {
    Timed t({ScriptExpect("vim-cmd vmsvc/power.suspend 1\n"),
             ScriptPrint("vim-cmd vmsvc/power.suspend 1\r\nSuspending VM:\r\n"), "sleep 2.5",
             ScriptPrint("~ # "), "wait"});
    t.Exchange("vim-cmd vmsvc/power.suspend 1\n");
    EXPECT_EQ(SSH_SUCCESS, t.rc);
    EXPECT_EQ("Suspending VM:", t.Response());
    EXPECT_GE(t.took, 0.95);
    EXPECT_LT(t.took, 2);
    t.Next();
    EXPECT_EQ(SSH_SUCCESS, t.rc);
    EXPECT_EQ("~ # ", t.Response());
}

TEST(SshSessionPacing, PromptFollowedByALineEndDoesNotEndTheReply) {
    Timed t({ScriptExpect("x\n"), ScriptPrint("x\r\nabc\r\n~ # \r\n"), "wait"});
    t.Exchange("x\n");
    EXPECT_EQ("abc\r\n~ # ", t.Response());
    EXPECT_GE(t.took, 0.95);
}

TEST(SshSessionPacing, OutputBeforeThePromptIsGatheredIntoOneReply) {
    Timed t({ScriptExpect("vim-cmd vmsvc/getallvms\n"), ScriptPrint("vim-cmd vmsvc/getallvms\r\nVmid Name\r\n"),
             "sleep 0.5", ScriptPrint("1    web01\r\n"), "sleep 0.5", ScriptPrint("~ # "), "wait"});
    t.Exchange("vim-cmd vmsvc/getallvms\n");
    EXPECT_EQ("Vmid Name\r\n1    web01\r\n~ # ", t.Response());
    EXPECT_LT(t.took, 1 + kAtOnce);
}

TEST(SshSessionPacing, LongReplyEndingWithThePromptComesInTwoPiecesAtOnce) {
    std::string text(6000, 'a');
    for (size_t i = 80; i < text.size(); i += 81) text[i] = '\n';
    text += "\n~ # ";
    Timed t({ScriptExpect("cat big\n"), ScriptPrint(text), "wait"});
    t.Exchange("cat big\n");
    EXPECT_EQ(text.substr(0, 4095), t.Response());
    EXPECT_LT(t.took, kAtOnce);
    t.Next();
    EXPECT_EQ(text.substr(4095), t.Response());
    EXPECT_LT(t.took, kAtOnce);
}

TEST(SshSessionPacing, LoginQuestionsAreAnsweredAsSoonAsAsked) {
    FakePlinkDir dir;
    SessionProbe session;
    ASSERT_EQ(SSH_SUCCESS,
              StartClient(dir, session,
                          {ScriptEprint("The host key is not cached.\r\nThe server's key fingerprint is:\r\n"
                                        "  ssh-ed25519 255 SHA256:abc\r\nStore key in cache? (y/n) "),
                           ScriptExpect("y\n"), ScriptPrint("root@10.0.0.5's password: "),
                           ScriptExpect("secret\n"), ScriptPrint("\r\nWelcome\r\n~ # "), "wait"}));
    char* response = nullptr;
    double start = Now();
    EXPECT_EQ(SSH_SUCCESS, session.GetResponse(&response));
    EXPECT_LT(Now() - start, 2 * kAtOnce);  // three outputs, none waited on for a second
    EXPECT_STREQ("\r\nWelcome\r\n~ # ", response);
    EXPECT_EQ(EXEC_LOGIN, session.GetState());
}

TEST(SshSessionPacing, ClientThatEndsIsNoticedWithoutWaitingASecond) {
    Timed t({ScriptExpect("exit\n"), "exit 0"});
    t.Exchange("exit\n");
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, t.rc);
    EXPECT_LT(t.took, kAtOnce);
}

// Output that was still being gathered when the client ended is not a reply.
TEST(SshSessionPacing, OutputOfAClientThatEndsBeforeItsSecondOfSilenceIsDropped) {
    Timed t({ScriptExpect("x\n"), ScriptPrint("FATAL ERROR: Network error\r\n"), "sleep 0.3", "exit 1"});
    t.Exchange("x\n");
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, t.rc);
    EXPECT_EQ("", t.Response());
}

TEST(SshSessionPacing, ClosingWaitsOnlyAsLongAsTheClientTakesToEnd) {
    FakePlinkDir dir;
    SessionProbe session;
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, session, {"sleep 1.3", "exit 0"}));
    double start = Now();
    session.CloseSession();
    EXPECT_LT(Now() - start, 0.9);  // the client ends about 0.3 s after the start returned; a poll is 1 s
    EXPECT_EQ("", dir.Signals());
}

}  // namespace
