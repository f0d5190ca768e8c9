// The one-shot exec engine: its parsers on their own, and whole
// conversations with the scripted stand-in client.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "descriptors.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "ssh_exec.h"

namespace {

// The lines a test's line parser saw.
std::vector<std::string> g_lines;
int g_stop_after = 0;  // 0: never stop

int collect_line(char* line, exec_context*) {
    g_lines.push_back(line);
    return g_stop_after == 0 || static_cast<int>(g_lines.size()) < g_stop_after;
}

TEST(ExecContext, StartsClearedAndKeepsAtMost511CommandCharacters) {
    exec_context* cntx = new exec_context();
    EXPECT_EQ(SSH_SUCCESS, cntx->cli_result);
    EXPECT_EQ(EXEC_INIT, cntx->state);
    EXPECT_STREQ("", cntx->ssh_path);
    EXPECT_STREQ("", cntx->password);
    cntx->SetCommand(std::string(600, 'c'));
    EXPECT_EQ(511u, strlen(cntx->cmd));
    cntx->SetCommand("ls");
    EXPECT_STREQ("ls", cntx->cmd);
    cntx->ClearCmd();
    EXPECT_STREQ("", cntx->cmd);
    release_cntx(&cntx);
    EXPECT_EQ(nullptr, cntx);
    release_cntx(&cntx);
    release_cntx(nullptr);
}

TEST(GetSshCmd, VerboseArgumentsAndClientInTheWorkingDirectory) {
    FakePlinkDir dir;
    dir.Enter();
    exec_context cntx;
    EXPECT_EQ(SSH_SUCCESS, get_ssh_cmd(&cntx, "root", "10.0.0.5"));
    EXPECT_STREQ(" -ssh -v root@10.0.0.5", cntx.ssh_args);
    EXPECT_EQ(dir.path() + "/plink", cntx.ssh_path);
}

TEST(GetSshCmd, MissingClient) {
    FakePlinkDir dir;
    unlink((dir.path() + "/plink").c_str());
    dir.Enter();
    exec_context cntx;
    EXPECT_EQ(SSH_CLIENT_NOT_FOUND_ERR, get_ssh_cmd(&cntx, "root", "10.0.0.5"));
    EXPECT_STREQ("", cntx.ssh_args);
}

TEST(ExecStateToExitCode, SameMappingAsTheSession) {
    EXPECT_EQ(SSH_CLIENT_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_INIT));
    EXPECT_EQ(SSH_CLIENT_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_STARTING));
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_CONNECTING));
    EXPECT_EQ(SSH_AUTH_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_KEY_EXCHANGE));
    EXPECT_EQ(SSH_AUTH_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_LOGIN));
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_REMOTE));
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_TERMINATED));
    EXPECT_EQ(SSH_REMOTE_TIMEOUT_ERR, execstate_to_exit_code(SSH_SUCCESS, EXEC_CANCELED_BY_TIMEOUT));
    for (ExecState s : {EXEC_REQUEST, EXEC_RESPONSE, EXEC_REMOTE_FINISH, EXEC_QUIT, EXEC_TERMINATE})
        EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, execstate_to_exit_code(SSH_CANNOT_CONNECT_ERR, s)) << s;
}

TEST(ExecDefParser, NullArgumentsOrNoRoom) {
    exec_context cntx;
    char sent[16] = {0};
    EXPECT_EQ(0, def_parser(nullptr, sent, 16, &cntx));
    EXPECT_EQ(0, def_parser("x password:", nullptr, 16, &cntx));
    EXPECT_EQ(0, def_parser("x password:", sent, 16, nullptr));
    EXPECT_EQ(0, def_parser("x password:", sent, 0, &cntx));
    EXPECT_EQ(EXEC_INIT, cntx.state);
}

TEST(ExecDefParser, HostKeyIsAcceptedWithY) {
    exec_context cntx;
    char sent[16] = {0};
    EXPECT_EQ(1, def_parser("The host key is not cached. fingerprint ... (y/n, Return ...) ", sent,
                            16, &cntx));
    EXPECT_STREQ("y\n", sent);
    EXPECT_EQ(EXEC_KEY_EXCHANGE, cntx.state);
}

TEST(ExecDefParser, ClientChatterIsSkipped) {
    exec_context cntx;
    char sent[16] = {0};
    EXPECT_EQ(1, def_parser("Looking up host \"esx\" for SSH connection", sent, 16, &cntx));
    EXPECT_STREQ("", sent);
    EXPECT_EQ(EXEC_INIT, cntx.state);
}

TEST(ExecDefParser, ThreePasswordAnswersThenTerminate) {
    exec_context cntx;
    snprintf(cntx.password, sizeof(cntx.password), "%s", "pw");
    for (int i = 0; i < 3; ++i) {
        char sent[16] = {0};
        EXPECT_EQ(1, def_parser("root@esx's password: ", sent, 16, &cntx)) << i;
        EXPECT_STREQ("pw\n", sent);
        EXPECT_EQ(EXEC_LOGIN, cntx.state);
    }
    char sent[16] = {0};
    EXPECT_EQ(0, def_parser("root@esx's password: ", sent, 16, &cntx));
    EXPECT_STREQ("", sent);
    EXPECT_EQ(EXEC_TERMINATE, cntx.state);
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, cntx.cli_result);
}

TEST(ExecDefParser, OnlyTheLowerCasePasswordPromptIsAnswered) {
    exec_context cntx;
    char sent[16] = {0};
    EXPECT_EQ(0, def_parser("| Password: ", sent, 16, &cntx));
    EXPECT_EQ(0, def_parser("weak admin's password: ", sent, 16, &cntx));
    EXPECT_STREQ("", sent);
    EXPECT_EQ(EXEC_INIT, cntx.state);
}

TEST(ExecDefParser, PromptOutsideLoginAndRemoteIsAnsweredWithQuit) {
    exec_context cntx;
    cntx.state = EXEC_CONNECTING;
    char sent[16] = {0};
    EXPECT_EQ(1, def_parser("~ # ", sent, 16, &cntx));
    EXPECT_STREQ("quit\n", sent);
    EXPECT_EQ(EXEC_QUIT, cntx.state);
    char again[16] = {0};
    EXPECT_EQ(1, def_parser("$ ", again, 16, &cntx));
    EXPECT_STREQ("", again);
}

TEST(ExecDefParser, PromptWhileLoggedInBelongsToTheCaller) {
    for (ExecState s : {EXEC_LOGIN, EXEC_REMOTE}) {
        exec_context cntx;
        cntx.state = s;
        char sent[16] = {0};
        EXPECT_EQ(0, def_parser("~ # ", sent, 16, &cntx));
        EXPECT_EQ(s, cntx.state);
    }
}

TEST(ExecDefParser, LogoutAndSaveQuestions) {
    exec_context cntx;
    cntx.state = EXEC_REMOTE;
    char sent[16] = {0};
    EXPECT_EQ(0, def_parser("system has unsaved changes, would you like to save (y/n)", sent, 16,
                            &cntx));
    EXPECT_EQ(1, def_parser("Connection closed: logout", sent, 16, &cntx));
    EXPECT_EQ(EXEC_QUIT, cntx.state);
    EXPECT_EQ(1, def_parser("system has unsaved changes, would you like to save (y/n)", sent, 16,
                            &cntx));
    EXPECT_STREQ("y\n", sent);
    EXPECT_EQ(1, def_parser("Configuration Saved", sent, 16, &cntx));
    EXPECT_EQ(1, def_parser("N", sent, 16, &cntx));
    EXPECT_EQ(0, def_parser("something else", sent, 16, &cntx));
}

TEST(ExtractResponse, CutsEchoAndPromptLine) {
    char recv[] = "ls\r\nfile1\r\nfile2\r\n~ # ";
    char cmd[] = "ls";
    char response[64];
    extract_response(recv, cmd, response, sizeof(response));
    EXPECT_STREQ("file1\r\nfile2", response);
}

TEST(ExtractResponse, WithoutEchoTheWholeTextIsKept) {
    char recv[] = "a\r\nb";
    char cmd[] = "zz";
    char response[64];
    extract_response(recv, cmd, response, sizeof(response));
    EXPECT_STREQ("a\r\nb", response);
}

TEST(ExtractResponse, IsBoundedByTheGivenSize) {
    char recv[] = "abcdefgh";
    char cmd[] = "zz";
    char response[5];
    extract_response(recv, cmd, response, sizeof(response));
    EXPECT_STREQ("abcd", response);
}

TEST(ExtractResponse, NothingHappensForNullArgumentsOrNoRoom) {
    char recv[] = "ls\r\nx";
    char cmd[] = "ls";
    char response[8] = "keep";
    extract_response(nullptr, cmd, response, 8);
    extract_response(recv, nullptr, response, 8);
    extract_response(recv, cmd, response, 0);
    EXPECT_STREQ("keep", response);
}

TEST(ResponseParser, OneCallPerLine) {
    g_lines.clear();
    char response[] = "\r\na\r\nb";
    response_parser(response, nullptr, collect_line);
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), g_lines);
    EXPECT_STREQ("\r\na\r\nb", response);
}

TEST(ResponseParser, StopsWhenTheLineParserSaysSo) {
    g_lines.clear();
    g_stop_after = 1;
    char response[] = "a\r\nb\r\nc";
    response_parser(response, nullptr, collect_line);
    EXPECT_EQ((std::vector<std::string>{"a"}), g_lines);
    g_stop_after = 0;
}

TEST(ResponseParser, LongLinesAreCutTo99Characters) {
    g_lines.clear();
    std::string text = std::string(150, 'x') + "\r\ny";
    response_parser(&text[0], nullptr, collect_line);
    ASSERT_EQ(2u, g_lines.size());
    EXPECT_EQ(std::string(99, 'x'), g_lines[0]);
    EXPECT_EQ("y", g_lines[1]);
}

TEST(SshExec, NullContextOrParserIsInternalError) {
    exec_context cntx;
    EXPECT_EQ(SSH_INTERNAL_ERR, ssh_exec(nullptr, def_parser, 5));
    EXPECT_EQ(SSH_INTERNAL_ERR, ssh_exec(&cntx, nullptr, 5));
    EXPECT_EQ(EXEC_INIT, cntx.state);
}

// A caller's parser that runs one command: sends cntx->cmd at the first
// prompt, gathers the output until the next prompt, then lets the engine quit.
std::string g_output;

int one_command(const char* recv, char* sent, int max_sent, exec_context* cntx) {
    bool prompt = strstr(recv, "#") != nullptr;
    if (cntx->state == EXEC_LOGIN && prompt) {
        snprintf(sent, max_sent, "%s\n", cntx->cmd);
        cntx->state = EXEC_REMOTE;
        return 1;
    }
    if (cntx->state != EXEC_REMOTE) return 0;
    g_output += recv;
    if (!prompt) return 1;
    char response[4096];
    extract_response(&g_output[0], cntx->cmd, response, sizeof(response));
    g_lines.clear();
    response_parser(response, cntx, collect_line);
    cntx->state = EXEC_REMOTE_FINISH;
    return 0;
}

class ExecConversation : public testing::Test {
protected:
    void SetUp() override {
        g_output.clear();
        g_lines.clear();
        before_ = OpenDescriptors();
        StartDebugCapture();
    }
    // Runs the engine against the stand-in; returns what it received.
    std::string Run(const std::vector<std::string>& script, int timeout) {
        dir_.WriteScript(script);
        dir_.Enter();
        EXPECT_EQ(SSH_SUCCESS, get_ssh_cmd(&cntx_, "root", "esx"));
        snprintf(cntx_.password, sizeof(cntx_.password), "%s", "secret");
        cntx_.SetCommand("vim-cmd vmsvc/getallvms");
        started_ = Now();
        EXPECT_EQ(SSH_SUCCESS, ssh_exec(&cntx_, one_command, timeout));
        elapsed_ = Now() - started_;
        trace_ = StopCapture();
        dir_.Leave();
        EXPECT_EQ(before_, OpenDescriptors());
        return dir_.Received();
    }

    FakePlinkDir dir_;
    exec_context cntx_;
    std::map<int, std::string> before_;
    std::string trace_;
    double started_ = 0, elapsed_ = 0;
};

TEST_F(ExecConversation, WholeConversation) {
    std::string received = Run(
        {ScriptEprint("Looking up host \"esx\" for SSH connection\r\n"), "sleep 4",
         ScriptEprint("The host key is not cached for this server:\nThe server's ssh-ed25519 key "
                      "fingerprint is:\nStore key in cache? (y/n, Return cancels connection, i "
                      "for more info) "),
         ScriptExpect("y\n"), ScriptPrint("Using username \"root\".\r\nroot@esx's password: "),
         ScriptExpect("secret\n"), ScriptPrint("\r\nThe time and date of this login have been "
                                               "sent to the system logs.\r\n~ # "),
         ScriptExpect("vim-cmd vmsvc/getallvms\n"),
         ScriptPrint("vim-cmd vmsvc/getallvms\r\nVmid   Name\r\n1      web\r\n~ # "),
         ScriptExpect("quit\n"), "exit 0"},
        30);
    EXPECT_EQ("y\nsecret\nvim-cmd vmsvc/getallvms\nquit\n", received);
    EXPECT_EQ((std::vector<std::string>{"Vmid   Name", "1      web"}), g_lines);
    EXPECT_EQ(EXEC_QUIT, cntx_.state);
    EXPECT_EQ(SSH_SUCCESS, cntx_.cli_result);
    EXPECT_NE(std::string::npos, trace_.find("plink verbose information\n")) << trace_;
    EXPECT_NE(std::string::npos,
              trace_.find("enter password for system password request, 1 time\n"));
    EXPECT_EQ("", dir_.Signals());  // the client ended by itself after "quit"
}

TEST_F(ExecConversation, FourthPasswordPromptTerminates) {
    std::vector<std::string> script;
    for (int i = 0; i < 3; ++i) {
        script.push_back(ScriptPrint("root@esx's password: "));
        script.push_back(ScriptExpect("secret\n"));
    }
    script.push_back(ScriptPrint("root@esx's password: "));
    script.push_back("wait");
    EXPECT_EQ("secret\nsecret\nsecret\n", Run(script, 30));
    EXPECT_EQ(EXEC_TERMINATE, cntx_.state);
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, cntx_.cli_result);
    EXPECT_EQ("TERM\n", dir_.Signals());
    EXPECT_NE(std::string::npos, trace_.find("wrong password, terminate connection\n"));
}

TEST_F(ExecConversation, SilenceEndsInTimeout) {
    EXPECT_EQ("", Run({"wait"}, 2));
    EXPECT_EQ(EXEC_CANCELED_BY_TIMEOUT, cntx_.state);
    EXPECT_NE(std::string::npos, trace_.find("client canceled by timeout\n"));
    EXPECT_EQ("TERM\n", dir_.Signals());
    EXPECT_LT(elapsed_, 12);
}

TEST_F(ExecConversation, PromptBeforeLoginIsAnsweredWithQuit) {
    EXPECT_EQ("quit\n", Run({ScriptPrint("~ # "), ScriptExpect("quit\n"), "exit 0"}, 30));
    EXPECT_EQ(EXEC_QUIT, cntx_.state);
}

TEST_F(ExecConversation, LoggingOutClientGetsTenSecondsOfSilence) {
    Run({ScriptPrint("~ # "), ScriptExpect("quit\n"), ScriptPrint("logout\r\n"), "wait"}, 300);
    EXPECT_EQ(EXEC_QUIT, cntx_.state);
    EXPECT_GT(elapsed_, 10);
    EXPECT_LT(elapsed_, 25);
    EXPECT_EQ(std::string::npos, trace_.find("client canceled by timeout"));
}

}  // namespace
