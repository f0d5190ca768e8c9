// The suspend workflow under -onrefusal, -last, -skip and -dryrun, against the scripted stand-in client.
#include <gtest/gtest.h>

#include <string>

#include "host_fixture.h"

namespace {

using namespace esxi_cmd;

const char kEnterTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-20'\n";
const char kTwoVms[] =
    "Vmid   Name    File                    Guest OS        Version   Annotation\n"
    "1      web     [ds1] web/web.vmx       centos64Guest   vmx-08              \n"
    "2      store   [ds1] store/store.vmx   centos64Guest   vmx-08              \n";
const char kToolsMissing[] =
    "Cannot complete operation because VMware Tools is not running in this virtual machine.\n";

std::string Shutdown(const std::string& id) { return "vim-cmd vmsvc/power.shutdown " + id + "\n"; }
std::string PowerOff(const std::string& id) { return "vim-cmd vmsvc/power.off " + id + "\n"; }

// Logged in, both VMs listed and running.
EsxiScript BothRunning() {
    return EsxiScript::LoggedIn("root", "secret", false)
        .Answer(kAllVms, kTwoVms)
        .Answer(State("1"), EsxiScript::PowerState("Powered on"))
        .Answer(State("2"), EsxiScript::PowerState("Powered on"));
}

const std::string kLoginAndListing =
    std::string("secret\n") + kShow + kMaintenance + kAllVms + State("1") + State("2");

class PolicyTest : public HostTest {
protected:
    void Policy(SshSrv::OnRefusal onRefusal) {
        policy_.onRefusal = onRefusal;
        host_->SetSuspendPolicy(policy_);
    }
    SshSrv::SuspendPolicy policy_;
};

// web suspends, store refuses: skip leaves store running, tries everything, and does not enter maintenance.
TEST_F(PolicyTest, SkipLeavesTheRefusingVmRunningAndTheHostOutOfMaintenance) {
    Start(BothRunning()
              .Answer(Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(Suspend("2"), "Suspending VM:\nSuspend failed\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Wait());
    Policy(SshSrv::OnRefusal::kSkip);
    EXPECT_EQ(SshSrv::kStatusVmsLeftRunning, host_->Suspend());
    EXPECT_EQ(kLoginAndListing + Suspend("1") + State("1") + Suspend("2") + State("2"), Finish());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_EQ("suspended", Vm(0)->GetStopped());
    EXPECT_EQ("", Vm(1)->GetRebootStatus());
    EXPECT_EQ("left running: the suspend was refused", Vm(1)->GetStopped());
    EXPECT_FALSE(host_->GetReboot());
}

// store cannot be suspended and has no Tools: powered off at once, without waiting; then maintenance.
TEST_F(PolicyTest, PowerOffWithoutToolsPowersOffAtOnce) {
    Start(BothRunning()
              .Answer(Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(Suspend("2"), "Suspending VM:\nSuspend failed\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Answer(Shutdown("2"), kToolsMissing)
              .Answer(PowerOff("2"), "Powering off VM:\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered off"))
              .Answer(kEnter, kEnterTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(true))
              .Wait());
    Policy(SshSrv::OnRefusal::kPowerOff);
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(kLoginAndListing + Suspend("1") + State("1") + Suspend("2") + State("2") + Shutdown("2") +
                  PowerOff("2") + State("2") + kEnter + kMaintenance,
              Finish());
    EXPECT_EQ("to reboot", Vm(1)->GetRebootStatus());
    EXPECT_EQ("powered off", Vm(1)->GetStopped());
    EXPECT_TRUE(host_->GetReboot());
}

// The guest shuts down within the wait: the state is read again until it is off.
TEST_F(PolicyTest, ShutdownWaitsForTheGuestToBeOff) {
    Start(BothRunning()
              .Answer(Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(Suspend("2"), "Suspending VM:\nSuspend failed\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Answer(Shutdown("2"), "")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Answer(State("2"), EsxiScript::PowerState("Powered off"))
              .Answer(kEnter, kEnterTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(true))
              .Wait());
    Policy(SshSrv::OnRefusal::kShutdown);
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(kLoginAndListing + Suspend("1") + State("1") + Suspend("2") + State("2") + Shutdown("2") +
                  State("2") + State("2") + kEnter + kMaintenance,
              Finish());
    EXPECT_EQ("shut down", Vm(1)->GetStopped());
    EXPECT_EQ("to reboot", Vm(1)->GetRebootStatus());
}

// -last and -skip: store first is handled last, web is never touched (and still runs: no maintenance).
TEST_F(PolicyTest, SkipAndLastAreObeyed) {
    Start(BothRunning()
              .Answer(Suspend("2"), "Suspending VM:\n")
              .Answer(State("2"), EsxiScript::PowerState("Suspended"))
              .Wait());
    policy_.skip = {"web"};
    policy_.last = {"2"};
    host_->SetSuspendPolicy(policy_);
    EXPECT_EQ(SshSrv::kStatusVmsLeftRunning, host_->Suspend());
    EXPECT_EQ(kLoginAndListing + Suspend("2") + State("2"), Finish());
    EXPECT_EQ("left running: -skip", Vm(0)->GetStopped());
}

TEST_F(PolicyTest, ANameThatMatchesNoVmIsStatus1BeforeAnythingChanges) {
    Start(BothRunning().Wait());
    policy_.last = {"storage"};
    host_->SetSuspendPolicy(policy_);
    EXPECT_EQ(SSH_INVALID_PARAM_ERR, host_->Suspend());
    EXPECT_EQ(kLoginAndListing, Finish());
    EXPECT_TRUE(Traced("Suspend: no VM of the host has the id or name 'storage' (-last, -skip)\n"));
}

// The dry run reads and tells, and sends no power or maintenance command.
TEST_F(PolicyTest, DryRunTellsAndChangesNothing) {
    Start(BothRunning().Wait());
    policy_.onRefusal = SshSrv::OnRefusal::kPowerOff;
    policy_.dryRun = true;
    policy_.skip = {"store"};
    host_->SetSuspendPolicy(policy_);
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(kLoginAndListing, Finish());
    EXPECT_TRUE(Traced("dry run: VM 1 web (Powered on): suspend; if refused: shut its guest down, wait up "
                       "to 5 min, then power it off\n"));
    EXPECT_TRUE(Traced("dry run: VM 2 store (Powered on): left running (-skip)\n"));
    EXPECT_TRUE(Traced("dry run: host: not put into maintenance mode: a VM would be left running\n"));
    EXPECT_EQ("", Vm(0)->GetRebootStatus());
}

}  // namespace
