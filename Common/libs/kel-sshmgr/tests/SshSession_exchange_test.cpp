// Commands and responses on a logged-in session: echo removal, line ends,
// long responses, the inactivity time-out and the questions of a logout.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "run_program.h"
#include "session_probe.h"

namespace {

std::string Pattern(size_t size) {
    std::string text;
    for (size_t i = 0; i < size; ++i) text += static_cast<char>('a' + (i * 7) % 26);
    return text;
}

TEST(SshSessionExchange, EchoOfTheCommandIsCutOff) {
    RemoteSession r({ScriptExpect("vim-cmd vmsvc/getallvms\n"),
              ScriptPrint("vim-cmd vmsvc/getallvms\r\nVmid Name\r\n~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("vim-cmd vmsvc/getallvms\n"));
    EXPECT_STREQ("Vmid Name\r\n~ # ", r.response);
    EXPECT_EQ(EXEC_REMOTE, r.session.GetState());
    EXPECT_EQ("vim-cmd vmsvc/getallvms\n", r.Received());
}

TEST(SshSessionExchange, TextBeforeTheEchoIsDiscarded) {
    RemoteSession r({ScriptExpect("ls\n"), ScriptPrint("old\r\nls\r\n\r\nfile1\r\n~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("ls\n"));
    EXPECT_STREQ("file1\r\n~ # ", r.response);
}

TEST(SshSessionExchange, WithoutEchoTheWholeTextIsReturned) {
    RemoteSession r({ScriptExpect("ls\n"), ScriptPrint("\r\nfile1\r\n\r\n"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("ls\n"));
    EXPECT_STREQ("\r\nfile1", r.response);
}

TEST(SshSessionExchange, SingleCrIsDropped) {
    RemoteSession r({ScriptExpect("x\n"), ScriptPrint("abc\rdef"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("x\n"));
    EXPECT_STREQ("abcdef", r.response);
}

TEST(SshSessionExchange, CrCrLfKeepsOneLineEnd) {
    RemoteSession r({ScriptExpect("x\n"), ScriptPrint("a\r\r\nb\r\n"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("x\n"));
    EXPECT_STREQ("a\r\nb", r.response);
}

TEST(SshSessionExchange, EchoAloneIsSkippedAndReadingGoesOn) {
    RemoteSession r({ScriptExpect("uptime\n"), ScriptPrint("uptime\r\n"), "sleep 4",
              ScriptPrint("up 3 days\r\n~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("uptime\n"));
    EXPECT_STREQ("up 3 days\r\n~ # ", r.response);
}

TEST(SshSessionExchange, LongResponseArrivesInPiecesOf4095Bytes) {
    const std::string text = Pattern(6000);
    RemoteSession r({ScriptExpect("cat big\n"), ScriptPrint(text), "wait"});
    ASSERT_EQ(SSH_SUCCESS, r.Exchange("cat big\n"));
    EXPECT_EQ(text.substr(0, 4095), std::string(r.response));
    ASSERT_EQ(SSH_SUCCESS, r.session.GetResponse(&r.response));
    EXPECT_EQ(text.substr(4095), std::string(r.response));
}

TEST(SshSessionExchange, SilentRemoteTimesOut) {
    RemoteSession r({"wait"}, 5);
    double start = Now();
    EXPECT_EQ(SSH_REMOTE_TIMEOUT_ERR, r.Exchange("vim-cmd hostsvc/hostsummary\n"));
    double took = Now() - start;
    EXPECT_EQ(EXEC_CANCELED_BY_TIMEOUT, r.session.GetState());
    EXPECT_GE(took, 4.9);
    EXPECT_LT(took, 9);
}

TEST(SshSessionExchange, TimeoutCountsFromTheLastOutput) {
    std::vector<std::string> script = {ScriptExpect("slow\n")};
    for (int i = 0; i < 12; ++i) {
        script.push_back("print .");
        script.push_back("sleep 0.5");
    }
    script.push_back(ScriptPrint("done"));
    script.push_back("wait");
    RemoteSession r(script, 3);
    EXPECT_EQ(SSH_SUCCESS, r.Exchange("slow\n"));
    EXPECT_EQ(std::string(12, '.') + "done", std::string(r.response));
    EXPECT_EQ(EXEC_REMOTE, r.session.GetState());
}

TEST(SshSessionExchange, ClientGoneGivesTheStateCode) {
    RemoteSession r({ScriptExpect("exit\n"), "exit 0"});
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, r.Exchange("exit\n"));
}

TEST(SshSessionSend, EmptyCommandWritesNothingAndClearsTheStoredCommand) {
    RemoteSession r({"wait"});
    r.session.SetCommand("previous");
    EXPECT_EQ(SSH_SUCCESS, r.session.SendCommand(""));
    EXPECT_EQ("", r.session.Command());
    EXPECT_EQ("", r.Received());
}

TEST(SshSessionSend, WritesAsGivenAndStoresWithoutLineEnd) {
    RemoteSession r({"wait"});
    StartDebugCapture();
    EXPECT_EQ(SSH_SUCCESS, r.session.SendCommand("vim-cmd\r\n"));
    std::string out = StopCapture();
    EXPECT_EQ("vim-cmd", r.session.Command());
    EXPECT_NE(std::string::npos, out.find("trace> SendCommand: send data to ssh client's stdin\n"));
    EXPECT_NE(std::string::npos, out.find("==    9 bytes to write ==\nvim-cmd\r\n\n"));
    EXPECT_EQ(EXEC_REMOTE, r.session.GetState());
    EXPECT_EQ("vim-cmd\r\n", r.Received());
}

TEST(SshSessionSend, FailedWriteGivesTheStateCode) {
    signal(SIGPIPE, SIG_IGN);  // the client's input pipe has no reader any more
    RemoteSession r({"exit 0"});
    usleep(500000);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, r.session.SendCommand("ls\n"));
    std::string out = StopCapture() + testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, NormalizeStamps(out).find("hh:mm:ss: cannot write data.\n"));
}

TEST(SshSessionSend, FailedWriteWhileQuittingIsSilentSuccess) {
    signal(SIGPIPE, SIG_IGN);
    RemoteSession r({"exit 0"});
    usleep(500000);
    r.session.SetState(EXEC_QUIT);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(SSH_SUCCESS, r.session.SendCommand("ls\n"));
    EXPECT_EQ("", StopCapture() + testing::internal::GetCapturedStderr());
}

TEST(SshSessionQuit, SaveQuestionIsAnsweredWhileQuitting) {
    RemoteSession r({ScriptPrint("The system has unsaved changes.\r\nWould you like to save them now? (y/n) "),
              ScriptExpect("\n"), ScriptPrint("Configuration Saved\r\n"), "sleep 4",
              ScriptPrint("bye\r\n"), "wait"});
    r.session.SetState(EXEC_QUIT);
    EXPECT_EQ(SSH_SUCCESS, r.session.GetResponse(&r.response));
    EXPECT_STREQ("bye", r.response);
    EXPECT_EQ("y\n", r.Received());
}

TEST(SshSessionQuit, SaveQuestionBelongsToTheCallerOtherwise) {
    const std::string question = "The system has unsaved changes.\r\nWould you like to save them now? (y/n) ";
    RemoteSession r({ScriptPrint(question), "wait"});
    EXPECT_EQ(SSH_SUCCESS, r.session.GetResponse(&r.response));
    EXPECT_EQ(question, std::string(r.response));
    EXPECT_EQ("", r.Received());
}

TEST(SshSessionQuit, FollowUpLinesAreSwallowedWhileQuitting) {
    // Each piece comes four seconds after the previous one, so each is read on its own.
    RemoteSession r({ScriptPrint("The system has unsaved changes.\r\n"), "sleep 4",
              ScriptPrint("Configuration Not Saved\r\n"), "sleep 4", ScriptPrint("N\r\n"),
              "sleep 4", ScriptPrint("bye\r\n"), "wait"});
    r.session.SetState(EXEC_QUIT);
    EXPECT_EQ(SSH_SUCCESS, r.session.GetResponse(&r.response));
    EXPECT_STREQ("bye", r.response);
    EXPECT_EQ("", r.Received());
}

// DefaultParser on one text in one state: its result, the state after it and the prepared answer.
struct Parsed {
    int handled;
    ExecState state;
    std::string answer;
    SshCodes code;
};

Parsed Parse(const std::string& text, ExecState state) {
    SessionProbe s;
    s.SetState(state);
    s.SetResponse(text);
    s.SetCommand("stale");
    SshCodes code = SSH_SUCCESS;
    int handled = s.DefaultParser(code);
    return {handled, s.GetState(), s.Command(), code};
}

TEST(SshSessionParser, ConfigurationLinesAndSingleLettersOnlyWhileQuitting) {
    for (const char* text : {"Configuration Saved", "Configuration Not Saved", "y", "N",
                             "system has unsaved changes"}) {
        EXPECT_EQ(1, Parse(text, EXEC_QUIT).handled) << text;
        EXPECT_EQ(0, Parse(text, EXEC_REMOTE).handled) << text;
        EXPECT_EQ("", Parse(text, EXEC_QUIT).answer) << text;
    }
}

TEST(SshSessionParser, OtherTextIsForTheCallerAndClearsTheAnswer) {
    Parsed p = Parse("Vmid Name\r\n~ # ", EXEC_REMOTE);
    EXPECT_EQ(0, p.handled);
    EXPECT_EQ(EXEC_REMOTE, p.state);
    EXPECT_EQ("", p.answer);
    EXPECT_EQ(SSH_SUCCESS, p.code);
}

TEST(SshSessionParser, HostKeyQuestionComesBeforeThePasswordRule) {
    Parsed p = Parse("host key fingerprint (y/n) password: ", EXEC_CONNECTING);
    EXPECT_EQ(1, p.handled);
    EXPECT_EQ(EXEC_KEY_EXCHANGE, p.state);
    EXPECT_EQ("y\n", p.answer);
}

TEST(SshSessionParser, LogoutInAnyStateMovesToQuit) {
    Parsed p = Parse("logout", EXEC_LOGIN);
    EXPECT_EQ(1, p.handled);
    EXPECT_EQ(EXEC_QUIT, p.state);
}

TEST(SshSessionNormalize, EmptyCommandSkipsOnlyLeadingLineEnds) {
    SessionProbe s;
    s.SetCommand("");
    s.SetResponse("\r\n\r\nhello\r\nworld\r\n");
    s.NormalizeResponse();
    EXPECT_EQ("hello\r\nworld", s.Response());
}

}  // namespace
