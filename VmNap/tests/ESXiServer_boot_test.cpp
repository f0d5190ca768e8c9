// The login of a host that may still be booting, against the stand-in client:
// what a try reports to the wait (hostd not up yet, a changed key), and that a
// wait changes nothing for a host that takes the login or refuses it for good.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "SshServer.h"
#include "SshSession.h"
#include "esxi_script.h"
#include "host_fixture.h"
#include "ssh_defines.h"

namespace {

using namespace esxi_cmd;  // the command lines the host receives

const char kHostdDown[] = "Connect to localhost failed: Connection failure\n";

class BootTest : public HostTest {};

TEST_F(BootTest, AVimCmdThatCannotReachHostdIsNotedByTheTry) {
    Start(EsxiScript().Login("root", "secret").Answer(kShow, kHostdDown).Wait());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Login());
    EXPECT_TRUE(host_->HostdStarting());
    EXPECT_FALSE(host_->GetSession()->HostKeyChanged());
    EXPECT_EQ(std::string("secret\n") + kShow, Finish());
}

// The listing may work while the host summary cannot reach hostd yet.
TEST_F(BootTest, AMaintenanceReadThatCannotReachHostdIsNotedToo) {
    Start(EsxiScript()
              .Login("root", "secret")
              .Answer(kShow, EsxiScript::kShowCommands)
              .Answer(kMaintenance, kHostdDown)
              .Wait());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Login());
    EXPECT_TRUE(host_->HostdStarting());
    Finish();
}

TEST_F(BootTest, AnotherFailureOfTheFirstVimCmdIsNoSignOfABoot) {
    Start(EsxiScript().Login("root", "secret").Answer(kShow, "-sh: vim-cmd: not found\n").Wait());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Login());
    EXPECT_FALSE(host_->HostdStarting());
    Finish();
}

TEST_F(BootTest, WithAWaitAHostThatTakesTheLoginIsLoggedInOnce) {
    Start(EsxiScript::LoggedIn("root", "secret", true).Wait());
    host_->SetBootWait(60);
    EXPECT_EQ(SSH_SUCCESS, host_->Login());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance, Finish());
    EXPECT_TRUE(host_->GetMaintenanceMode());
}

// A wrong password is never sent again: 6 at once, one client, one password.
TEST_F(BootTest, WithAWaitAWrongPasswordIsOneTry) {
    Start(EsxiScript()
              .Print("root@host's password: ")
              .Raw("expect secret\\n")
              .Print("Access denied\r\nroot@host's password: ")
              .Wait());
    host_->SetBootWait(60);
    pid_t first = 0;
    for (int i = 0; i < 50 && first == 0; ++i, usleep(20000)) first = dir_.Pid();
    ASSERT_NE(0, first);
    EXPECT_EQ(SSH_AUTH_ERR, host_->Login());
    EXPECT_EQ(first, dir_.Pid()) << "no second client was started";
    EXPECT_EQ("secret\n", Finish());
}

}  // namespace
