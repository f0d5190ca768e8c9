// The exec engine with the real plink (-v) against a real sshd whose login
// shell is the simulated ESXi host.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "descriptors.h"
#include "kel-tools-trace.h"
#include "ssh_exec.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kCommand[] = "vim-cmd vmsvc/power.getstate 7";

std::string g_seen;   // everything after the command was sent
std::string g_state;  // the power-state line

int state_line(char* line, exec_context*) {
    if (strncmp(line, "Powered", 7) == 0 || strcmp(line, "Suspended") == 0) g_state = line;
    return 1;
}

// Sends the command at the first prompt and reads its output at the next.
int get_state(const char* recv, char* sent, int max_sent, exec_context* cntx) {
    bool prompt = strstr(recv, "~ #") != nullptr;
    if (cntx->state == EXEC_LOGIN && prompt) {
        snprintf(sent, max_sent, "%s\n", cntx->cmd);
        cntx->state = EXEC_REMOTE;
        return 1;
    }
    if (cntx->state != EXEC_REMOTE) return 0;
    g_seen += recv;
    if (!prompt) return 1;
    char response[4096];
    extract_response(&g_seen[0], cntx->cmd, response, sizeof(response));
    response_parser(response, cntx, state_line);
    cntx->state = EXEC_REMOTE_FINISH;
    return 0;
}

void WriteTextFile(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

TEST(ExecRealClient, RunsOneVimCmdCommandThroughPlinkAndSshd) {
    SshdFixture sshd;
    ASSERT_TRUE(sshd.Start(ESXI_SIM_PATH)) << sshd.error();
    WriteTextFile(sshd.shell_dir() + "/esxi-sim.state",
                  "vm 7\nname web\nfile [datastore1] web/web.vmx\nguest centos64Guest\n"
                  "version vmx-08\npower suspended\n");
    TempDir work;
    ASSERT_EQ(0, symlink(kPlink, work.file("plink").c_str()));
    ASSERT_TRUE(sshd.EnterNamespace()) << sshd.error();
    sshd.UseClientEnv();
    ASSERT_EQ(0, chdir(work.path().c_str()));

    exec_context* cntx = new exec_context();
    ASSERT_EQ(SSH_SUCCESS, get_ssh_cmd(cntx, sshd.user().c_str(), "127.0.0.1"));
    snprintf(cntx->password, sizeof(cntx->password), "%s", sshd.password().c_str());
    cntx->SetCommand(kCommand);
    StartDebugCapture();
    EXPECT_EQ(SSH_SUCCESS, ssh_exec(cntx, get_state, 30));
    std::string trace = StopCapture();

    EXPECT_EQ("Suspended", g_state) << trace;
    EXPECT_EQ(EXEC_QUIT, cntx->state) << trace;
    EXPECT_EQ(SSH_SUCCESS, cntx->cli_result);
    // -v took effect: the client's progress lines came with its questions.
    EXPECT_NE(std::string::npos, trace.find("Using SSH protocol version 2"));
    EXPECT_NE(std::string::npos, trace.find("enter password for system password request, 1 time\n"));
    EXPECT_NE(std::string::npos, trace.find("\nquit\n"));  // the sent "quit" line
    EXPECT_EQ(0, access(sshd.host_key_cache().c_str(), F_OK));
    release_cntx(&cntx);
}

}  // namespace
