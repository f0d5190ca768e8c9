// The host's power-off (suspend_vms -poweroff) against the stand-in client: the command, the host's
// silence that accepts it, a refusal, and what the dry run says of it.
#include <gtest/gtest.h>

#include <string>

#include "host_fixture.h"

namespace {

using namespace esxi_cmd;

const char kPowerOff[] = "esxcli system shutdown poweroff -d 10 -r \"VmNap: VMs suspended\"\n";
const char kOneVm[] =
    "Vmid   Name   File              Guest OS        Version   Annotation\n"
    "1      web    [ds1] web/web.vmx   centos64Guest   vmx-08              \n";

class PowerOffTest : public HostTest {};

TEST_F(PowerOffTest, TheHostsSilenceAcceptsThePowerOff) {
    Start(EsxiScript::LoggedIn("root", "secret", true).Answer(kPowerOff, "").Wait());
    ASSERT_EQ(SSH_SUCCESS, host_->Login());
    EXPECT_EQ(SSH_SUCCESS, host_->PowerOffHost());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kPowerOff, Finish());
    EXPECT_TRUE(Traced("PowerOffHost: the host accepted the power-off: its power goes off in 10 s\n"));
}

TEST_F(PowerOffTest, AnythingTheHostSaysIsARefusal) {
    Start(EsxiScript::LoggedIn("root", "secret", false)
              .Answer(kPowerOff, "The operation is not allowed in the current state.\n")
              .Wait());
    ASSERT_EQ(SSH_SUCCESS, host_->Login());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->PowerOffHost());
    Finish();
    EXPECT_TRUE(Traced("PowerOffHost: the host did not accept the power-off: The operation is not allowed in "
                       "the current state."));
}

TEST_F(PowerOffTest, TheDryRunSaysWhetherTheHostWouldBePoweredOff) {
    Start(EsxiScript::LoggedIn("root", "secret", false)
              .Answer(kAllVms, kOneVm)
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Wait());
    SshSrv::SuspendPolicy policy;
    policy.dryRun = true;
    policy.powerOffHost = true;
    host_->SetSuspendPolicy(policy);
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    Finish();
    EXPECT_TRUE(Traced("dry run: host: enter maintenance mode\n"));
    EXPECT_TRUE(Traced("dry run: host: power off 10 s after the list file is saved\n"));
}

TEST_F(PowerOffTest, TheDryRunSaysNoPowerOffWhenAVmWouldBeLeftRunning) {
    Start(EsxiScript::LoggedIn("root", "secret", false)
              .Answer(kAllVms, kOneVm)
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Wait());
    SshSrv::SuspendPolicy policy;
    policy.dryRun = true;
    policy.powerOffHost = true;
    policy.skip = {"web"};
    host_->SetSuspendPolicy(policy);
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kAllVms + State("1"), Finish());
    EXPECT_TRUE(Traced("dry run: host: not powered off: a VM would be left running\n"));
    EXPECT_FALSE(Traced("power off 10 s"));
}

}  // namespace
