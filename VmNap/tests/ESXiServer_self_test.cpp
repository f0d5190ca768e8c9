// suspend_vms -self against the scripted stand-in client: the VM the tool runs in is never stopped by
// the run, is marked and left to the host's detached command; a -self that names no VM or several is
// status 1 before anything changes; a -self VM that does not run makes a normal run.
#include <gtest/gtest.h>

#include <string>

#include "SshCommand.h"
#include "host_fixture.h"

namespace {

using namespace esxi_cmd;
using SshSrv::ESXiCommand;

const char kEnterTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-20'\n";
const char kTwoVms[] =
    "Vmid   Name    File                    Guest OS        Version   Annotation\n"
    "1      web     [ds1] web/web.vmx       centos64Guest   vmx-08              \n"
    "2      nut     [ds1] nut/nut.vmx       centos64Guest   vmx-08              \n";

EsxiScript Listed(const char* selfState) {
    return EsxiScript::LoggedIn("root", "secret", false)
        .Answer(kAllVms, kTwoVms)
        .Answer(State("1"), EsxiScript::PowerState("Powered on"))
        .Answer(State("2"), EsxiScript::PowerState(selfState));
}

const std::string kLoginAndListing =
    std::string("secret\n") + kShow + kMaintenance + kAllVms + State("1") + State("2");

// The line the host gets for VM 2 under the default policy, with -poweroff.
std::string SelfLine() {
    return ESXiCommand::GetESX_CMD_STOP_SELF_VM("2", ESXiCommand::kSelfSuspendOnly, 300, true);
}

class SelfTest : public HostTest {
protected:
    void Self(const std::string& entry) {
        policy_.self = entry;
        policy_.powerOffHost = true;
        host_->SetSuspendPolicy(policy_);
    }
    SshSrv::SuspendPolicy policy_;
};

TEST_F(SelfTest, TheSelfVmIsMarkedAndLeftToTheHostWhichStaysOutOfMaintenance) {
    Start(Listed("Powered on")
              .Answer(Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(SelfLine(), "vmnap-self 4242\n")
              .Wait());
    Self("nut");
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_TRUE(host_->SelfVmLeftToHost());
    EXPECT_EQ("to reboot", Vm(1)->GetRebootStatus());
    EXPECT_EQ("left to the host after the tool's session", Vm(1)->GetStopped());
    EXPECT_EQ("Powered on", Vm(1)->GetStatus());
    EXPECT_TRUE(host_->GetReboot());
    EXPECT_FALSE(host_->GetMaintenanceMode());
    EXPECT_EQ(SSH_SUCCESS, host_->LeaveSelfVmToHost());
    EXPECT_EQ(kLoginAndListing + Suspend("1") + State("1") + SelfLine(), Finish());
    EXPECT_TRUE(Traced("LeaveSelfVmToHost: the host started the command that stops VM 2 nut after this session, "
                       "enters maintenance mode and powers the host off\n"));
}

// No marker in the reply (a host without setsid prints nothing): nothing was left there, status 11.
TEST_F(SelfTest, AReplyWithoutTheMarkerIs11) {
    Start(Listed("Powered on")
              .Answer(Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(SelfLine(), "")
              .Wait());
    Self("2");
    ASSERT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->LeaveSelfVmToHost());
    Finish();
    EXPECT_TRUE(Traced("LeaveSelfVmToHost: the host did not start the command for VM 2 nut"));
}

// The tool's VM does not run: nothing to leave to the host; the host enters maintenance mode as always.
TEST_F(SelfTest, ASelfVmThatDoesNotRunMakesANormalRun) {
    Start(Listed("Powered off")
              .Answer(Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(kEnter, kEnterTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(true))
              .Wait());
    Self("nut");
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_FALSE(host_->SelfVmLeftToHost());
    EXPECT_EQ(kLoginAndListing + Suspend("1") + State("1") + kEnter + kMaintenance, Finish());
    EXPECT_EQ("", Vm(1)->GetRebootStatus());
    EXPECT_TRUE(Traced("Suspend: VM 2 nut (-self) does not run: nothing is left to the host, a normal run\n"));
}

TEST_F(SelfTest, ASelfThatNamesNoVmIs1BeforeAnythingChanges) {
    Start(Listed("Powered on").Wait());
    Self("nut vm");
    EXPECT_EQ(SSH_INVALID_PARAM_ERR, host_->Suspend());
    EXPECT_EQ(kLoginAndListing, Finish());
    EXPECT_TRUE(Traced("Suspend: no VM of the host has the id or name 'nut vm' (-self)\n"));
}

// "2" is the id of nut and the name of web: not one VM.
TEST_F(SelfTest, ASelfThatNamesTwoVmsIs1BeforeAnythingChanges) {
    Start(EsxiScript::LoggedIn("root", "secret", false)
              .Answer(kAllVms,
                      "Vmid   Name   File                Guest OS        Version   Annotation\n"
                      "1      2      [ds1] 2/2.vmx       centos64Guest   vmx-08              \n"
                      "2      nut    [ds1] nut/nut.vmx   centos64Guest   vmx-08              \n")
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Wait());
    Self("2");
    EXPECT_EQ(SSH_INVALID_PARAM_ERR, host_->Suspend());
    EXPECT_EQ(kLoginAndListing, Finish());
    EXPECT_TRUE(Traced("Suspend: more than one VM of the host has the id or name '2' (-self)\n"));
}

TEST_F(SelfTest, TheDryRunSaysTheHostStopsTheSelfVmAfterTheSession) {
    Start(Listed("Powered on").Wait());
    policy_.dryRun = true;
    Self("nut");
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(kLoginAndListing, Finish());
    EXPECT_TRUE(Traced("dry run: VM 2 nut (Powered on): the VM the tool runs in (-self): left to the host after "
                       "the tool's session, suspend; if refused: it keeps running, the host stays out of "
                       "maintenance mode\n"));
    EXPECT_TRUE(Traced("dry run: host: enter maintenance mode after the tool's session, once the VM the tool "
                       "runs in stopped\n"));
    EXPECT_TRUE(Traced("dry run: host: then power off 10 s after the maintenance mode\n"));
    EXPECT_FALSE(host_->SelfVmLeftToHost());
}

}  // namespace
