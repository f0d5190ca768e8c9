// A host key that differs from the cached one: recognised in plink's own
// warning, cancelled with Return by the session and by the exec engine, and
// reported once; a first-contact question is still answered with y.
#include <gtest/gtest.h>

#include <string>

#include "SshSession.h"
#include "client_conversation.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "plink_texts.h"
#include "run_program.h"
#include "session_probe.h"
#include "ssh_exec.h"

namespace {

const char kFirstContact[] =
    "The host key is not cached for this server:\n  10.0.0.5 (port 22)\n"
    "The server's ssh-ed25519 key fingerprint is:\n  ssh-ed25519 255 SHA256:abc\n"
    "Store key in cache? (y/n, Return cancels connection, i for more info) ";

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// The warning, then what plink does after Return: it says so and exits.
std::vector<std::string> ChangedKeyScript(const std::string& warning) {
    return {ScriptEprint(warning), ScriptExpect("\n"), ScriptEprint(kPlinkConnectionAbandoned),
            "exit 1"};
}

TEST(HostKeyMismatch, EveryPartOfPlinksWarningIsRecognised) {
    std::string warning = kPlinkChangedKeyWarning;
    EXPECT_TRUE(is_host_key_mismatch(warning.c_str()));
    EXPECT_TRUE(is_host_key_mismatch(warning.substr(0, warning.find("This means")).c_str()));
    EXPECT_TRUE(is_host_key_mismatch(warning.substr(warning.find("If you were")).c_str()));
    EXPECT_FALSE(is_host_key_mismatch(kFirstContact));
    EXPECT_TRUE(is_host_key_question(kFirstContact));
}

struct SessionRun {
    FakePlinkDir dir;
    SessionProbe session;
    char* response = nullptr;
    SshCodes rc = SSH_SUCCESS;
    std::string trace;

    // Quiet trace mode: only ERROR lines are printed.
    void Run(const std::vector<std::string>& script) {
        session.SetTimeout(20);
        ASSERT_EQ(SSH_SUCCESS, StartClient(dir, session, script));
        kel_set_trace(TRACE_MODE_QUIET);
        testing::internal::CaptureStdout();
        rc = session.GetResponse(&response);
        trace = NormalizeStamps(StopCapture());
        session.CloseSession();
    }
};

const char kSessionError[] =
    "hh:mm:ss: DefaultParser: the host key of 10.0.0.5 has changed: connection cancelled, no "
    "password sent\n";

TEST(SessionHostKey, ChangedKeyIsCancelledWithReturnAndCannotConnect) {
    SessionRun run;
    run.Run(ChangedKeyScript(kPlinkChangedKeyWarning));
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, run.rc);
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, run.session.StateToSshcode(SSH_SUCCESS));
    EXPECT_EQ("\n", run.dir.Received());
    EXPECT_EQ(kSessionError, run.trace);
    EXPECT_TRUE(run.session.HostKeyChanged());
}

// A 3 for a connection that did not come about is no changed key; the next
// client starts without the mark of the one before.
TEST(SessionHostKey, OnlyAChangedKeyIsMarkedAndEachClientStartsUnmarked) {
    SessionRun refused;
    refused.Run({ScriptEprint("FATAL ERROR: Network error: Connection refused\r\n"), "exit 1"});
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, refused.rc);
    EXPECT_FALSE(refused.session.HostKeyChanged());

    SessionRun changed;
    changed.Run(ChangedKeyScript(kPlinkChangedKeyWarning));
    ASSERT_TRUE(changed.session.HostKeyChanged());
    changed.dir.WriteScript({ScriptPrint("root@10.0.0.5's password: "), ScriptExpect("secret\n"),
                             ScriptPrint("~ # "), "wait"});
    ASSERT_EQ(SSH_SUCCESS, changed.session.RunSshClient(kHost, kUser, kPassword));
    EXPECT_FALSE(changed.session.HostKeyChanged());
    changed.session.CloseSession();
}

// The title may come alone: Return is sent at once, and plink reads it when it asks.
TEST(SessionHostKey, WarningInTwoPiecesIsCancelledOnceAtTheFirst) {
    std::string warning = kPlinkChangedKeyWarning;
    size_t cut = warning.find("If you were");
    SessionRun run;
    run.Run({ScriptEprint(warning.substr(0, cut)), "sleep 2.5", ScriptEprint(warning.substr(cut)),
             ScriptExpect("\n"), ScriptEprint(kPlinkConnectionAbandoned), "exit 1"});
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, run.rc);
    EXPECT_EQ("\n", run.dir.Received());
    EXPECT_EQ(1u, Count(run.trace, "has changed"));
}

TEST(SessionHostKey, PasswordPromptAfterTheWarningIsNeverAnswered) {
    SessionRun run;
    run.Run({ScriptEprint(kPlinkChangedKeyWarning), "sleep 2.5",
             ScriptPrint("root@10.0.0.5's password: "), "wait"});
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, run.rc);
    EXPECT_EQ("\n", run.dir.Received());
}

TEST(SessionHostKey, FirstContactIsStillAnsweredWithY) {
    SessionRun run;
    run.Run({ScriptEprint(kFirstContact), ScriptExpect("\n"),
             ScriptPrint("root@10.0.0.5's password: "), ScriptExpect("secret\n"),
             ScriptPrint("~ # "), "wait"});
    EXPECT_EQ(SSH_SUCCESS, run.rc);
    EXPECT_EQ("y\nsecret\n", run.dir.Received());
    EXPECT_EQ("", run.trace);
}

TEST(ExecHostKey, DefParserCancelsAChangedKeyAndTracesItOnce) {
    exec_context cntx;
    snprintf(cntx.ssh_args, sizeof(cntx.ssh_args), "%s", " -ssh -v root@esx");
    char sent[16] = {0};
    kel_set_trace(TRACE_MODE_QUIET);
    testing::internal::CaptureStdout();
    EXPECT_EQ(1, def_parser(kPlinkChangedKeyWarning, sent, 16, &cntx));
    EXPECT_STREQ("\n", sent);
    EXPECT_EQ(1, def_parser("Update cached key? (y/n, Return cancels connection) ", sent, 16, &cntx));
    EXPECT_STREQ("\n", sent);
    EXPECT_EQ(
        "hh:mm:ss: the host key of esx has changed: connection cancelled, no password sent\n",
        NormalizeStamps(StopCapture()));
    EXPECT_EQ(EXEC_CONNECTING, cntx.state);
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, cntx.cli_result);
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, execstate_to_exit_code(cntx.cli_result, cntx.state));
}

int no_caller_parser(const char*, char*, int, exec_context*) { return 0; }

TEST(ExecHostKey, ConversationWithAChangedKeySendsOnlyReturn) {
    FakePlinkDir dir;
    dir.WriteScript(ChangedKeyScript(std::string("Looking up host \"esx\"\n") +
                                     kPlinkChangedKeyWarning));
    dir.Enter();
    exec_context cntx;
    ASSERT_EQ(SSH_SUCCESS, get_ssh_cmd(&cntx, "root", "esx"));
    snprintf(cntx.password, sizeof(cntx.password), "%s", "secret");
    kel_set_trace(TRACE_MODE_QUIET);
    testing::internal::CaptureStdout();
    EXPECT_EQ(SSH_SUCCESS, ssh_exec(&cntx, no_caller_parser, 20));
    std::string trace = NormalizeStamps(StopCapture());
    dir.Leave();
    EXPECT_EQ("\n", dir.Received());
    EXPECT_EQ(1u, Count(trace, "the host key of esx has changed")) << trace;
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, execstate_to_exit_code(cntx.cli_result, cntx.state));
    EXPECT_EQ("", dir.Signals());  // plink ended by itself after Return
}

}  // namespace
