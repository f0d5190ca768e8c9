// The one-shot engine's prompt handling and the client-chatter test on hosts
// whose shell prompts "[root@HOST:~] ".
#include <gtest/gtest.h>

#include "ssh_exec.h"

namespace {

TEST(BracketPromptChatter, PromptIsNeverVerboseInformation) {
    EXPECT_FALSE(isVerboseInformation("Server version x\r\n[root@esx01:~] "));
    EXPECT_FALSE(isVerboseInformation("Using username \"root\".\r\n[root@esx01.corp:/vmfs/volumes] "));
    EXPECT_TRUE(isVerboseInformation("Server version x\r\n[root@esx01:~] x"));
}

TEST(BracketPromptDefParser, PromptOutsideLoginAndRemoteIsAnsweredWithQuit) {
    exec_context cntx;
    cntx.state = EXEC_CONNECTING;
    char sent[16] = {0};
    EXPECT_EQ(1, def_parser("[root@esx01:~] ", sent, 16, &cntx));
    EXPECT_STREQ("quit\n", sent);
    EXPECT_EQ(EXEC_QUIT, cntx.state);
}

TEST(BracketPromptDefParser, PromptWhileLoggedInBelongsToTheCaller) {
    for (ExecState s : {EXEC_LOGIN, EXEC_REMOTE}) {
        exec_context cntx;
        cntx.state = s;
        char sent[16] = {0};
        EXPECT_EQ(0, def_parser("Powering on VM:\r\n[root@esx01:~] ", sent, 16, &cntx));
        EXPECT_EQ(s, cntx.state);
        EXPECT_STREQ("", sent);
    }
}

TEST(BracketPromptDefParser, TextThatOnlyResemblesAPromptIsNotOne) {
    exec_context cntx;
    cntx.state = EXEC_CONNECTING;
    char sent[16] = {0};
    EXPECT_EQ(0, def_parser("[datastore1] web/web.vmx", sent, 16, &cntx));
    EXPECT_EQ(EXEC_CONNECTING, cntx.state);
}

TEST(BracketPromptExtractResponse, CutsEchoAndPromptLine) {
    char recv[] = "[root@esx01:~] ls\r\nfile1\r\n[ds1] file2\r\n[root@esx01:~] ";
    char cmd[] = "ls";
    char response[64];
    extract_response(recv, cmd, response, sizeof(response));
    EXPECT_STREQ("file1\r\n[ds1] file2", response);
}

TEST(BracketPromptExtractResponse, OutputWithoutAPromptIsKept) {
    char recv[] = "ls\r\nfile1\r\n[root@esx01:~] x";
    char cmd[] = "ls";
    char response[64];
    extract_response(recv, cmd, response, sizeof(response));
    EXPECT_STREQ("file1\r\n[root@esx01:~] x", response);
}

}  // namespace
