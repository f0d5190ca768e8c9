// The login dialogue: host-key question, password prompts, client chatter,
// logout and the connecting time-out, against the scripted stand-in client.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "run_program.h"
#include "session_probe.h"

namespace {

const std::string kPrompt = "Using username \"root\".\r\nroot@10.0.0.5's password: ";
const std::string kHostKey =
    "The host key is not cached for this server:\r\n  10.0.0.5 (port 22)\r\n"
    "The server's ssh-ed25519 key fingerprint is:\r\n  ssh-ed25519 255 SHA256:abc\r\n"
    "Store key in cache? (y/n, Return cancels connection, i for more info) ";

struct Login {
    FakePlinkDir dir;
    SessionProbe session;
    char* response = nullptr;
    SshCodes rc = SSH_INTERNAL_ERR;

    // Starts the client on `script` and runs the owner's first GetResponse.
    void Run(const std::vector<std::string>& script, int timeout = 20) {
        session.SetTimeout(timeout);
        ASSERT_EQ(SSH_SUCCESS, StartClient(dir, session, script));
        rc = session.GetResponse(&response);
    }
    // Everything the client got, once it has been closed.
    std::string Received() {
        session.CloseSession();
        return dir.Received();
    }
};

TEST(SshSessionLogin, PasswordPromptIsAnsweredOnce) {
    Login login;
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), ScriptPrint("\r\nWelcome\r\n~ # "),
               "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    // The stored answer is not found in the text, so its leading line end stays.
    EXPECT_STREQ("\r\nWelcome\r\n~ # ", login.response);
    EXPECT_EQ(login.session.Response(), std::string(login.response));
    EXPECT_EQ(EXEC_LOGIN, login.session.GetState());
    EXPECT_EQ("secret\n", login.Received());
}

TEST(SshSessionLogin, KeyboardInteractivePasswordPromptIsAnswered) {
    Login login;
    login.Run({ScriptPrint("Using username \"root\".\r\n| Password: "), ScriptExpect("secret\n"),
               ScriptPrint("~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_STREQ("~ # ", login.response);
    EXPECT_EQ("secret\n", login.Received());
}

TEST(SshSessionLogin, PasswordAnswerIsTracedAsWritten) {
    Login login;
    StartDebugCapture();
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), ScriptPrint("~ # "), "wait"});
    std::string out = StopCapture();
    EXPECT_NE(std::string::npos,
              out.find("trace> DefaultParser: enter password for system password request\n"));
    EXPECT_NE(std::string::npos, out.find("==    7 bytes to write ==\nsecret\n\n"));
}

TEST(SshSessionLogin, AnswerThatCannotBeWrittenGivesTheStateCode) {
    signal(SIGPIPE, SIG_IGN);  // the client closed its input
    Login login;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    login.Run({ScriptPrint(kPrompt), "close-input", "wait"});
    std::string out = StopCapture() + testing::internal::GetCapturedStderr();
    EXPECT_EQ(SSH_AUTH_ERR, login.rc);
    EXPECT_EQ(EXEC_LOGIN, login.session.GetState());
    EXPECT_NE(std::string::npos, NormalizeStamps(out).find("hh:mm:ss: GetResponse: cannot write data.\n"));
}

TEST(SshSessionLogin, HostKeyQuestionIsAnsweredWithY) {
    Login login;
    login.Run({ScriptEprint(kHostKey), ScriptExpect("\n"), ScriptPrint(kPrompt),
               ScriptExpect("secret\n"), ScriptPrint("~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_STREQ("~ # ", login.response);
    EXPECT_EQ("y\nsecret\n", login.Received());
}

TEST(SshSessionLogin, HostKeyQuestionSetsKeyExchange) {
    Login login;
    login.Run({ScriptEprint(kHostKey), ScriptExpect("\n"), ScriptPrint("Banner\r\n"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_STREQ("Banner", login.response);
    EXPECT_EQ(EXEC_KEY_EXCHANGE, login.session.GetState());
    EXPECT_EQ("y\n", login.Received());
}

TEST(SshSessionLogin, YesNoHostKeyQuestionIsAlsoAnsweredWithY) {
    Login login;
    login.Run({ScriptPrint("host key fingerprint is x\r\nContinue (yes/no)? "), ScriptExpect("\n"),
               ScriptPrint("Banner\r\n"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_EQ("y\n", login.Received());
}

TEST(SshSessionLogin, SecondPasswordPromptIsAnAuthenticationError) {
    Login login;
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"),
               ScriptPrint("Access denied\r\nroot@10.0.0.5's password: "), "wait"});
    EXPECT_EQ(SSH_AUTH_ERR, login.rc);
    EXPECT_STREQ("Access denied\r\nroot@10.0.0.5's password: ", login.response);
    EXPECT_EQ(EXEC_LOGIN, login.session.GetState());
    EXPECT_EQ("secret\n", login.Received());
}

// plink prints the denial alone and asks again seconds later: the same read
// goes on to the second prompt, so nothing reaches the caller before it.
TEST(SshSessionLogin, DenialArrivingAloneWaitsForTheSecondPrompt) {
    Login login;
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), ScriptPrint("Access denied\r\n"),
               "sleep 4", ScriptPrint("root@10.0.0.5's password: "), "wait"});
    EXPECT_EQ(SSH_AUTH_ERR, login.rc);
    EXPECT_STREQ("root@10.0.0.5's password: ", login.response);
    EXPECT_EQ(EXEC_LOGIN, login.session.GetState());
    EXPECT_EQ("secret\n", login.Received());
}

TEST(SshSessionLogin, DenialOutsideTheLoginIsTheCallersText) {
    Login login;
    login.Run({ScriptPrint("Access denied\r\n"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_STREQ("Access denied", login.response);
}

// A host that lets the client in and closes the connection at once (it is
// booting, or powering off) has not refused the password: the login could not
// connect (3), it is no wrong password (6).
TEST(SshSessionLogin, ClientEndingAfterThePasswordWithoutARefusalCannotConnect) {
    Login login;
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), "sleep 0.5", "exit 1"});
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, login.rc);
    EXPECT_EQ(EXEC_CONNECTING, login.session.GetState());
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, login.session.StateToSshcode(SSH_SUCCESS));
    EXPECT_EQ("secret\n", login.Received());
}

TEST(SshSessionLogin, ClientEndingAfterARefusedPasswordIsAWrongPassword) {
    Login login;
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), ScriptPrint("Access denied\r\n"), "sleep 0.5",
               "exit 1"});
    EXPECT_EQ(SSH_AUTH_ERR, login.rc);
    EXPECT_EQ(EXEC_LOGIN, login.session.GetState());
}

// Each client gets the password once. A new client, also one the same
// session starts after ending the first (a login tried again while a host
// boots), answers its own first prompt; a second prompt of the same client is
// a wrong password and is never answered.
TEST(SshSessionLogin, PasswordIsSentOncePerClient) {
    Login login;
    login.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), "exit 1"});
    ASSERT_NE(SSH_SUCCESS, login.rc);
    login.session.CloseSession();
    EXPECT_EQ("secret\n", login.dir.Received());
    login.dir.WriteScript({ScriptPrint(kPrompt), ScriptExpect("secret\n"),
                           ScriptPrint("Access denied\r\nroot@10.0.0.5's password: "), "wait"});
    ASSERT_EQ(SSH_SUCCESS, login.session.RunSshClient(kHost, kUser, kPassword));
    login.rc = login.session.GetResponse(&login.response);
    EXPECT_EQ(SSH_AUTH_ERR, login.rc);
    EXPECT_EQ("secret\n", login.Received());

    Login other;
    other.Run({ScriptPrint(kPrompt), ScriptExpect("secret\n"), ScriptPrint("~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, other.rc);
    EXPECT_EQ("secret\n", other.Received());
}

TEST(SshSessionLogin, WeakAdminPasswordPromptIsNotAnswered) {
    Login login;
    login.Run({ScriptPrint("Enter weak admin's password: "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_STREQ("Enter weak admin's password: ", login.response);
    EXPECT_EQ(EXEC_CONNECTING, login.session.GetState());
    EXPECT_EQ("", login.Received());
}

TEST(SshSessionLogin, ClientProgressLinesAreSkipped) {
    Login login;
    login.Run({ScriptPrint("Looking up host \"10.0.0.5\"\r\n"), "sleep 5",
               ScriptPrint("Welcome\r\n"), "wait"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_STREQ("Welcome", login.response);
    EXPECT_EQ(EXEC_CONNECTING, login.session.GetState());
    EXPECT_EQ("", login.Received());
}

TEST(SshSessionLogin, LogoutMovesToQuitAndEndsWithSuccess) {
    Login login;
    login.Run({ScriptPrint("logout\r\n"), "sleep 5", "exit 0"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_EQ(EXEC_QUIT, login.session.GetState());
    EXPECT_STREQ("", login.response);
}

TEST(SshSessionLogin, ConnectionAbortMovesToQuit) {
    Login login;
    login.session.SetState(EXEC_REMOTE);
    login.Run({ScriptEprint("FATAL ERROR: Network error: Software caused connection abort\r\n"),
               "sleep 5", "exit 1"});
    EXPECT_EQ(SSH_SUCCESS, login.rc);
    EXPECT_EQ(EXEC_QUIT, login.session.GetState());
}

TEST(SshSessionLogin, SilentClientTimesOutAsCannotConnect) {
    Login login;
    double start = Now();
    login.Run({"wait"}, 5);
    double took = Now() - start;
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, login.rc);
    EXPECT_EQ(EXEC_CONNECTING, login.session.GetState());
    EXPECT_GE(took, 5.9);  // one second of start-up, then five of silence and more
    EXPECT_LT(took, 10);
}

TEST(SshSessionLogin, ClientThatExitsAtOnceCannotConnect) {
    Login login;
    kel_set_trace(TRACE_MODE_DEBUG);
    testing::internal::CaptureStdout();
    double start = Now();
    login.Run({"exit 0"});
    double took = Now() - start;
    std::string out = StopCapture();
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, login.rc);
    EXPECT_LT(took, 3);
    EXPECT_NE(std::string::npos, out.find("trace> GetResponse: can't read data from ssh session\n"));
}

// Runs a login in a child that has a controlling terminal (forkpty); the
// stand-in reads its input from that terminal when it can, as plink does for
// passwords. Returns the child's exit status.
int LoginUnderTerminal(FakePlinkDir& dir) {
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    if (pid == 0) {
        int tty = open("/dev/tty", O_RDONLY);
        if (tty == -1) _exit(10);
        close(tty);
        Ssh::SshSession s;
        s.SetTimeout(15);
        if (StartClient(dir, s, {ScriptPrint(kPrompt), "tty-input", "timeout 8",
                                 ScriptExpect("secret\n"), ScriptPrint("~ # "), "wait"}) != SSH_SUCCESS)
            _exit(11);
        char* response = nullptr;
        _exit(s.GetResponse(&response) == SSH_SUCCESS && std::string(response) == "~ # " ? 0 : 12);
    }
    char buf[256];
    while (read(master, buf, sizeof(buf)) > 0) {
    }
    int status = -1;
    waitpid(pid, &status, 0);
    close(master);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SshSessionLogin, PasswordGoesThroughThePipeEvenWhenTheToolHasATerminal) {
    FakePlinkDir dir;
    EXPECT_EQ(0, LoginUnderTerminal(dir));
    EXPECT_EQ("secret\n", dir.Received());
    EXPECT_FALSE(dir.StartedWithTerminal());
}

}  // namespace
