// The session with the real plink against a real sshd whose login shell is
// the simulated ESXi host, inside a private network namespace.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kCommand[] = "vim-cmd vmsvc/power.getstate 7\n";

class SessionRealClient : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        std::ofstream(sshd_.shell_dir() + "/esxi-sim.state")
            << "vm 7\nname web\nfile [datastore1] web/web.vmx\nguest centos64Guest\n"
               "version vmx-08\npower on\n";
        ASSERT_EQ(0, symlink(kPlink, work_.file("plink").c_str()));
        ASSERT_TRUE(sshd_.EnterNamespace()) << sshd_.error();
        sshd_.UseClientEnv();
        ASSERT_EQ(0, chdir(work_.path().c_str()));
    }
    void TearDown() override {
        if (chdir("/") != 0) ADD_FAILURE() << "chdir";
    }
    std::string HostKeyCache() const { return sshd_.host_key_cache(); }

    // A whole login and one command on a session of its own; the trace of it.
    std::string LoginAndAsk(const std::string& password, SshCodes* login_rc, std::string* reply) {
        Ssh::SshSession session;
        session.SetTimeout(30);
        StartDebugCapture();
        EXPECT_EQ(SSH_SUCCESS, session.Init());
        EXPECT_EQ(SSH_SUCCESS, session.RunSshClient("127.0.0.1", sshd_.user().c_str(),
                                                    password.c_str()));
        char* response = nullptr;
        *login_rc = session.GetResponse(&response);
        if (*login_rc == SSH_SUCCESS) {
            first_prompt_ = response;
            session.SetState(EXEC_REMOTE);
            EXPECT_EQ(SSH_SUCCESS, session.SendCommand(kCommand));
            EXPECT_EQ(SSH_SUCCESS, session.GetResponse(&response));
            *reply = response;
        }
        session.CloseSession();
        return StopCapture();
    }

    SshdFixture sshd_;
    TempDir work_;
    std::string first_prompt_;
};

TEST_F(SessionRealClient, LoginAnswersHostKeyAndPasswordThenExchangesACommand) {
    std::map<int, std::string> before = OpenDescriptors();
    SshCodes rc = SSH_INTERNAL_ERR;
    std::string reply;
    std::string trace = LoginAndAsk(sshd_.password(), &rc, &reply);
    ASSERT_EQ(SSH_SUCCESS, rc) << trace;
    EXPECT_NE(std::string::npos, trace.find("Store key in cache?"));
    EXPECT_NE(std::string::npos, trace.find("\ny\n\n======= sent data ended"));
    EXPECT_EQ(0, access(HostKeyCache().c_str(), F_OK));
    EXPECT_NE(std::string::npos, first_prompt_.find("The ESXi Shell can be disabled"));
    EXPECT_EQ("~ # ", first_prompt_.substr(first_prompt_.size() - 4));
    EXPECT_EQ("Retrieved runtime info\r\nPowered on\r\n~ # ", reply);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(SessionRealClient, CachedHostKeyIsNotAskedAgain) {
    // A first login in a child process (the password may be answered once per
    // process) stores the host key; this process's login then goes straight on.
    pid_t child = fork();
    if (child == 0) {
        SshCodes rc = SSH_INTERNAL_ERR;
        std::string reply;
        LoginAndAsk(sshd_.password(), &rc, &reply);
        _exit(rc == SSH_SUCCESS ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(0, status);
    ASSERT_EQ(0, access(HostKeyCache().c_str(), F_OK));
    SshCodes rc = SSH_INTERNAL_ERR;
    std::string reply;
    std::string trace = LoginAndAsk(sshd_.password(), &rc, &reply);
    ASSERT_EQ(SSH_SUCCESS, rc) << trace;
    EXPECT_EQ(std::string::npos, trace.find("Store key in cache?"));
    EXPECT_EQ("Retrieved runtime info\r\nPowered on\r\n~ # ", reply);
}

TEST_F(SessionRealClient, WrongPasswordIsAnAuthenticationErrorFromTheFirstRead) {
    SshCodes rc = SSH_INTERNAL_ERR;
    std::string reply;
    std::string trace = LoginAndAsk("not-" + sshd_.password(), &rc, &reply);
    EXPECT_EQ(SSH_AUTH_ERR, rc) << trace;
    EXPECT_NE(std::string::npos, trace.find("Access denied"));
    EXPECT_NE(std::string::npos, trace.find("wrong password, terminate connection\n"));
}

TEST_F(SessionRealClient, StandardStreamsWorkAfterTheClientStartedAndAfterDestruction) {
    {
        Ssh::SshSession session;
        ASSERT_EQ(SSH_SUCCESS, session.RunSshClient("127.0.0.1", sshd_.user().c_str(),
                                                    sshd_.password().c_str()));
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        printf("out while running\n");
        fprintf(stderr, "err while running\n");
        fflush(stdout);
        EXPECT_EQ("out while running\n", testing::internal::GetCapturedStdout());
        EXPECT_EQ("err while running\n", testing::internal::GetCapturedStderr());
    }
    testing::internal::CaptureStdout();
    printf("out after\n");
    fflush(stdout);
    EXPECT_EQ("out after\n", testing::internal::GetCapturedStdout());
}

}  // namespace
