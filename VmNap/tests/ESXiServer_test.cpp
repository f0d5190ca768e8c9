// The host object against the stand-in client: login, listing, maintenance
// mode and the suspend and reboot workflows.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "SshServer.h"
#include "SshSession.h"
#include "esxi_script.h"
#include "fake_plink_dir.h"
#include "host_fixture.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

namespace {

using namespace esxi_cmd;  // the command lines the host receives

using SshSrv::ESXiServer;
using SshSrv::VirtualMachineServer;

const char kEnterTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-20'\n";
const char kExitTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-18'\n";


const char kThreeVms[] =
    "Vmid   Name    File                  Guest OS        Version   Annotation\n"
    "1      web     [ds1] web/web.vmx     centos64Guest   vmx-08              \n"
    "2      db      [ds1] db/db.vmx       centos64Guest   vmx-08              \n"
    "3      mail    [ds1] mail/mail.vmx   centos64Guest   vmx-08              \n";

const char kNoVms[] = "Vmid   Name   File   Guest OS   Version   Annotation\n";

const char kVmsAB[] =
    "Vmid   Name   File            Guest OS        Version   Annotation\n"
    "1      a      [ds1] a/a.vmx   centos64Guest   vmx-08              \n"
    "2      b      [ds1] b/b.vmx   centos64Guest   vmx-08              \n";

const char kVmA[] =
    "Vmid   Name   File            Guest OS        Version   Annotation\n"
    "1      a      [ds1] a/a.vmx   centos64Guest   vmx-08              \n";

// Login as the session does it: password, vim-cmd, maintenance query.
EsxiScript LoggedIn(bool maintenance) {
    return EsxiScript::LoggedIn("root", "secret", maintenance);
}

TEST_F(HostTest, LoginReadsTheMaintenanceState) {
    Start(LoggedIn(true).Wait());
    EXPECT_EQ(SSH_SUCCESS, host_->Login());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance, Finish());
    EXPECT_TRUE(host_->GetMaintenanceMode());
    EXPECT_EQ(EXEC_REMOTE, host_->GetSession()->GetState());
}

TEST_F(HostTest, WrongPasswordFailsBeforeAnyCommand) {
    Start(EsxiScript()
              .Print("root@host's password: ")
              .Raw("expect secret\\n")
              .Sleep(1)
              .Print("Access denied\r\nroot@host's password: ")
              .Wait());
    EXPECT_EQ(SSH_AUTH_ERR, host_->Login());
    EXPECT_EQ("secret\n", Finish());
    EXPECT_TRUE(Traced("trace> Login: m_pSshSession->GetResponse(&pResponse) failed, error code - 6\n"));
}

TEST_F(HostTest, UnrecognisedShellFailsTheLogin) {
    Start(EsxiScript().Login("root", "secret").Answer(kShow, "-sh: vim-cmd: not found\n").Wait());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Login());
    EXPECT_EQ(std::string("secret\n") + kShow, Finish());
    EXPECT_TRUE(Traced("trace> Login: m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SHOW_COMMANDS, "
                       "this) failed, error code - 11\n"));
}

TEST_F(HostTest, UnreadableMaintenanceStateKeepsTheFlag) {
    Start(EsxiScript()
              .Login("root", "secret")
              .Answer(kShow, EsxiScript::kShowCommands)
              .Answer(kMaintenance, "")
              .Wait());
    host_->SetMaintenanceMode(true);
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Login());
    Finish();
    EXPECT_TRUE(host_->GetMaintenanceMode());
    EXPECT_TRUE(Traced("trace> Login: GetMaintenance() failed, error code - 11\n"));
}

TEST_F(HostTest, EmptyHostCountsAsPoweredOn) {
    Start(LoggedIn(false).Answer(kAllVms, kNoVms).Wait());
    EXPECT_EQ(SSH_SUCCESS, host_->IsPoweredOn());
    Finish();
}

TEST_F(HostTest, HostWithAllVmsOffIsNotPoweredOn) {
    Start(LoggedIn(false)
              .Answer(kAllVms, kVmsAB)
              .Answer(State("1"), EsxiScript::PowerState("Powered off"))
              .Answer(State("2"), EsxiScript::PowerState("Suspended"))
              .Wait());
    EXPECT_EQ(SSH_VERIFY_ERR, host_->IsPoweredOn());
    Finish();
}

TEST_F(HostTest, OneRunningVmMakesTheHostPoweredOn) {
    Start(LoggedIn(false)
              .Answer(kAllVms, kVmsAB)
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Wait());
    EXPECT_EQ(SSH_SUCCESS, host_->IsPoweredOn());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kAllVms + State("1"), Finish());
}

TEST_F(HostTest, SuspendOnEmptyHostEntersMaintenance) {
    Start(LoggedIn(false)
              .Answer(kAllVms, kNoVms)
              .Answer(kEnter, kEnterTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(true))
              .Wait());
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kAllVms + kEnter + kMaintenance, Finish());
    EXPECT_TRUE(host_->GetReboot());
    EXPECT_TRUE(host_->GetMaintenanceMode());
    EXPECT_TRUE(Traced("trace> Suspend: suspend finished successfully\n"));
}

TEST_F(HostTest, SuspendStopsAtTheFirstVmThatFails) {
    Start(LoggedIn(false)
              .Answer(kAllVms, kThreeVms)
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Answer(State("3"), EsxiScript::PowerState("Powered on"))
              .Answer(esxi_cmd::Suspend("1"), "Suspending VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(esxi_cmd::Suspend("2"), "Suspending VM:\n(vim.fault.InvalidState) {\n   msg = "
                                       "\"The operation is not allowed in the current state.\",\n}\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Wait());
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Suspend());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kAllVms + State("1") + State("2") +
                  State("3") + esxi_cmd::Suspend("1") + State("1") + esxi_cmd::Suspend("2") + State("2"),
              Finish());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_EQ("", Vm(1)->GetRebootStatus());
    EXPECT_EQ("Powered on", Vm(2)->GetStatus());
    EXPECT_FALSE(host_->GetReboot());
    EXPECT_FALSE(host_->GetMaintenanceMode());
    EXPECT_TRUE(Traced("trace> Suspend: pVm->Suspend() failed, error code - 11\n"));
}

TEST_F(HostTest, SuspendLeavesAHostInMaintenanceAlone) {
    Start(LoggedIn(true)
              .Answer(kAllVms, kVmA)
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Wait());
    EXPECT_EQ(SSH_SUCCESS, host_->Suspend());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kAllVms + State("1"), Finish());
    EXPECT_FALSE(host_->GetReboot());
    EXPECT_EQ("", Vm(0)->GetRebootStatus());
}

TEST_F(HostTest, HostThatStaysOutOfMaintenanceFailsTheSuspend) {
    Start(LoggedIn(false)
              .Answer(kAllVms, kNoVms)
              .Answer(kEnter, "(vim.fault.InvalidState) {\n   msg = \"refused\",\n}\n")
              .Answer(kMaintenance, EsxiScript::Maintenance(false))
              .Wait());
    EXPECT_EQ(SSH_VERIFY_ERR, host_->Suspend());
    Finish();
    EXPECT_FALSE(host_->GetReboot());
    EXPECT_TRUE(Traced("trace> Suspend: EnterMaintenance() failed, error code - 13\n"));
}

TEST_F(HostTest, RebootWithoutTheFlagAndWithoutMarksOnlyLogsIn) {
    Start(LoggedIn(true).Wait());
    host_->AddChild("1", "web");
    Vm(0)->SetRebootStatus("rebooted");
    EXPECT_EQ(SSH_SUCCESS, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance, Finish());
    EXPECT_TRUE(Traced("trace> Reboot: reboot finished successfully\n"));
}

// The file of a suspend that stopped part-way: no flag, but a VM it suspended.
TEST_F(HostTest, RebootWithoutTheFlagStartsTheMarkedVms) {
    Start(LoggedIn(false)
              .Answer(kExit, kExitTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(false))
              .Answer(esxi_cmd::PowerOn("1"), "Powering on VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Wait());
    host_->AddChild("1", "web");
    Vm(0)->SetRebootStatus("to reboot");
    EXPECT_EQ(SSH_SUCCESS, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kExit + kMaintenance +
                  esxi_cmd::PowerOn("1") + State("1"),
              Finish());
    EXPECT_EQ("rebooted", Vm(0)->GetRebootStatus());
    EXPECT_FALSE(host_->GetReboot());
}

TEST_F(HostTest, RebootStartsOnlyMarkedVms) {
    Start(LoggedIn(true)
              .Answer(kExit, kExitTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(false))
              .Answer(esxi_cmd::PowerOn("2"), "Powering on VM:\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Wait());
    host_->SetReboot(true);
    host_->AddChild("1", "a");
    host_->AddChild("2", "b");
    host_->AddChild("3", "c");
    Vm(0)->SetRebootStatus("rebooted");
    Vm(1)->SetRebootStatus("to reboot");
    EXPECT_EQ(SSH_SUCCESS, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kExit + kMaintenance + esxi_cmd::PowerOn("2") +
                  State("2"),
              Finish());
    EXPECT_FALSE(host_->GetReboot());
    EXPECT_FALSE(host_->GetMaintenanceMode());
    EXPECT_EQ("rebooted", Vm(1)->GetRebootStatus());
    EXPECT_EQ("", Vm(2)->GetRebootStatus());
}

TEST_F(HostTest, HostThatStaysInMaintenanceKeepsTheRebootFlag) {
    Start(LoggedIn(true)
              .Answer(kExit, kExitTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(true))
              .Wait());
    host_->SetReboot(true);
    host_->AddChild("1", "a");
    Vm(0)->SetRebootStatus("to reboot");
    EXPECT_EQ(SSH_VERIFY_ERR, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kExit + kMaintenance, Finish());
    EXPECT_TRUE(host_->GetReboot());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_TRUE(Traced("trace> Reboot: ExitMaintenance() failed, error code - 13\n"));
}

// A VM that does not start keeps its mark and the flag; the VMs after it are still started.
TEST_F(HostTest, FailedPowerOnGoesOnAndKeepsTheMarkAndTheFlag) {
    Start(LoggedIn(true)
              .Answer(kExit, kExitTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(false))
              .Answer(esxi_cmd::PowerOn("1"), "Powering on VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Suspended"))
              .Answer(esxi_cmd::PowerOn("2"), "Powering on VM:\n")
              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
              .Wait());
    host_->SetReboot(true);
    host_->AddChild("1", "a");
    host_->AddChild("2", "b");
    Vm(0)->SetRebootStatus("to reboot");
    Vm(1)->SetRebootStatus("to reboot");
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kExit + kMaintenance + esxi_cmd::PowerOn("1") +
                  State("1") + esxi_cmd::PowerOn("2") + State("2"),
              Finish());
    EXPECT_TRUE(host_->GetReboot());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_EQ("rebooted", Vm(1)->GetRebootStatus());
}

TEST_F(HostTest, ListingTwiceListsEveryVmTwice) {
    Start(EsxiScript()
              .Answer(kAllVms, kVmA)
              .Answer(kAllVms, kVmA)
              .Wait());
    host_->GetSession()->SetState(EXEC_REMOTE);
    EXPECT_EQ(SSH_SUCCESS, host_->GetAllVms());
    EXPECT_EQ(SSH_SUCCESS, host_->GetAllVms());
    Finish();
    EXPECT_EQ(2u, host_->GetVMs().size());
    EXPECT_TRUE(Traced("trace> GetAllVms: get all virtual machines\n"));
}

}  // namespace
