// VM power operations over a real session with the stand-in client playing
// the host's shell.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ESXiCliParser.h"
#include "SshServer.h"
#include "kel-tools-trace.h"
#include "remote_session.h"
#include "ssh_defines.h"

namespace {

using SshSrv::VirtualMachineServer;

const char kSuspend7[] = "vim-cmd vmsvc/power.suspend 7\n";
const char kState7[] = "vim-cmd vmsvc/power.getstate 7\n";
const char kPowerOn7[] = "vim-cmd vmsvc/power.on 7\n";
const char kPowerOff7[] = "vim-cmd vmsvc/power.off 7\n";

// One VM with id 7 named web on a session to the scripted host; the debug
// trace of everything it did is collected.
class VmOperation : public testing::Test {
protected:
    void Start(const EsxiScript& script, const std::string& status) {
        kel_set_trace(TRACE_MODE_DEBUG);
        remote_.reset(new RemoteSession(script));
        vm_.reset(new VirtualMachineServer(&remote_->session(), &parser_, "7", "web"));
        vm_->SetStatus(status.c_str());
        testing::internal::CaptureStdout();
    }
    // Ends the client and returns what the VM wrote to it.
    std::string Finish() {
        timeout_after_ = remote_->session().GetTimeout();
        fflush(stdout);
        trace_ = testing::internal::GetCapturedStdout();
        remote_->Close();
        return remote_->dir().Received();
    }

    SshSrv::ESXiCliParser parser_;
    std::unique_ptr<RemoteSession> remote_;
    std::unique_ptr<VirtualMachineServer> vm_;
    std::string trace_;
    int timeout_after_ = 0;
};

TEST_F(VmOperation, SuspendSkipsAVmThatIsNotPoweredOn) {
    for (const char* status : {"Powered off", "Suspended", "", "Powered on "}) {
        Start(EsxiScript().Wait(), status);
        EXPECT_EQ(SSH_SUCCESS, vm_->Suspend()) << status;
        EXPECT_EQ("", Finish()) << status;
        EXPECT_EQ("", vm_->GetRebootStatus());
    }
}

TEST_F(VmOperation, SuspendReadsOnceMoreWhileInProgress) {
    Start(EsxiScript()
              .AnswerWithoutPrompt(kSuspend7, "Suspending VM:\n")
              .Sleep(3)
              .Print("~ # ")
              .Answer(kState7, EsxiScript::PowerState("Suspended"))
              .Wait(),
          "Powered on");
    vm_->SetTimeout(20);
    EXPECT_EQ(SSH_SUCCESS, vm_->Suspend());
    EXPECT_EQ(std::string(kSuspend7) + kState7, Finish());
    EXPECT_EQ("to reboot", vm_->GetRebootStatus());
    EXPECT_EQ("Suspended", vm_->GetStatus());
    EXPECT_EQ(3, CountReplies(trace_));
    EXPECT_EQ(1000, timeout_after_);
    EXPECT_NE(std::string::npos,
              trace_.find("trace> Suspend: suspend VM, id: 7, name: web, status: Powered on\n"));
    EXPECT_NE(std::string::npos,
              trace_.find("trace> Suspend: virtual machine 7 web suspended successfully\n"));
}

TEST_F(VmOperation, SuspendStillInProgressAfterTheSecondReadFails) {
    Start(EsxiScript()
              .AnswerWithoutPrompt(kSuspend7, "Suspending VM:\n")
              .Sleep(3)
              .Print("Suspending VM:\r\n")
              .Wait(),
          "Powered on");
    vm_->SetTimeout(20);
    EXPECT_EQ(SSH_PARSER_IN_PROGRESS, vm_->Suspend());
    EXPECT_EQ(kSuspend7, Finish());
    EXPECT_EQ(2, CountReplies(trace_));
    EXPECT_EQ("", vm_->GetRebootStatus());
    EXPECT_NE(std::string::npos,
              trace_.find("trace> Suspend: m_pParser->Parse(pResponse, "
                          "ESXiCommand::ESX_CMD_SUSPEND_VM, this) failed, error code - 15\n"));
    EXPECT_EQ(1000, timeout_after_);  // the VM's own limit held for its operation only
}

TEST_F(VmOperation, SuspendNotConfirmedIsAFailure) {
    Start(EsxiScript()
              .Answer(kSuspend7, "Suspending VM:\n")
              .Answer(kState7, EsxiScript::PowerState("Powered on"))
              .Wait(),
          "Powered on");
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, vm_->Suspend());
    EXPECT_EQ(std::string(kSuspend7) + kState7, Finish());
    EXPECT_EQ("", vm_->GetRebootStatus());
    EXPECT_NE(std::string::npos,
              trace_.find("trace> Suspend: failed to suspend virtual machine 7 web\n"));
}

TEST_F(VmOperation, RefusedSuspendIsACommandFailure) {
    Start(EsxiScript()
              .Answer(kSuspend7,
                      "Suspending VM:\n(vim.fault.NotFound) {\n   msg = \"Unable to find a VM "
                      "corresponding to \"7\"\",\n}\n-sh: y: not found\n")
              .Wait(),
          "Powered on");
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, vm_->Suspend());
    EXPECT_EQ(kSuspend7, Finish());
    EXPECT_EQ(1, CountReplies(trace_));
}

TEST_F(VmOperation, PowerOnActsEvenWhenAlreadyOn) {
    Start(EsxiScript()
              .Answer(kPowerOn7, "Powering on VM:\n")
              .Answer(kState7, EsxiScript::PowerState("Powered on"))
              .Wait(),
          "Powered on");
    vm_->SetTimeout(42);
    EXPECT_EQ(SSH_SUCCESS, vm_->PowerOn());
    EXPECT_EQ(std::string(kPowerOn7) + kState7, Finish());
    EXPECT_EQ(1000, timeout_after_);
    EXPECT_EQ("", vm_->GetRebootStatus());
    EXPECT_NE(std::string::npos,
              trace_.find("trace> PowerOn: virtual machine 7 web powered on successfully\n"));
}

TEST_F(VmOperation, PowerOffConfirmsPoweredOff) {
    Start(EsxiScript()
              .Answer(kPowerOff7, "Powering off VM:\n")
              .Answer(kState7, EsxiScript::PowerState("Powered off"))
              .Wait(),
          "Powered on");
    EXPECT_EQ(SSH_SUCCESS, vm_->PowerOff());
    EXPECT_EQ(std::string(kPowerOff7) + kState7, Finish());
    EXPECT_EQ("Powered off", vm_->GetStatus());
    EXPECT_EQ(1000, timeout_after_);
}

TEST_F(VmOperation, PowerOffNotConfirmed) {
    Start(EsxiScript()
              .Answer(kPowerOff7, "Powering off VM:\n")
              .Answer(kState7, EsxiScript::PowerState("Suspended"))
              .Wait(),
          "Suspended");
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, vm_->PowerOff());
    Finish();
    EXPECT_NE(std::string::npos,
              trace_.find("trace> PowerOff: failed to power off virtual machine 7 web\n"));
}

TEST_F(VmOperation, RebootSkipsUnmarkedVms) {
    for (const char* mark : {"rebooted", "", "to reboot "}) {
        Start(EsxiScript().Wait(), "Suspended");
        vm_->SetRebootStatus(mark);
        EXPECT_EQ(SSH_SUCCESS, vm_->Reboot()) << mark;
        EXPECT_EQ("", Finish()) << mark;
        EXPECT_EQ(mark, vm_->GetRebootStatus());
    }
}

TEST_F(VmOperation, RebootPowersOnAMarkedVm) {
    Start(EsxiScript()
              .Answer(kPowerOn7, "Powering on VM:\n")
              .Answer(kState7, EsxiScript::PowerState("Powered on"))
              .Wait(),
          "Suspended");
    vm_->SetRebootStatus("to reboot");
    EXPECT_EQ(SSH_SUCCESS, vm_->Reboot());
    EXPECT_EQ(std::string(kPowerOn7) + kState7, Finish());
    EXPECT_EQ("rebooted", vm_->GetRebootStatus());
}

TEST_F(VmOperation, FailedRebootKeepsTheMark) {
    Start(EsxiScript()
              .Answer(kPowerOn7, "Powering on VM:\n")
              .Answer(kState7, EsxiScript::PowerState("Suspended"))
              .Wait(),
          "Suspended");
    vm_->SetRebootStatus("to reboot");
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, vm_->Reboot());
    Finish();
    EXPECT_EQ("to reboot", vm_->GetRebootStatus());
    EXPECT_NE(std::string::npos, trace_.find("trace> Reboot: PowerOn() failed, error code - 11\n"));
}

TEST_F(VmOperation, StatusWithTrailingBlankIsNotPoweredOn) {
    Start(EsxiScript().Answer(kState7, EsxiScript::PowerState("Powered on ")).Wait(), "");
    EXPECT_EQ(SSH_VERIFY_ERR, vm_->IsPoweredOn());
    EXPECT_EQ(kState7, Finish());
    EXPECT_EQ("Powered on ", vm_->GetStatus());
}

TEST_F(VmOperation, IsPoweredOnReadsTheStateWithoutTouchingTheTimeout) {
    Start(EsxiScript().Answer(kState7, EsxiScript::PowerState("Powered on")).Wait(), "");
    remote_->session().SetTimeout(33);
    EXPECT_EQ(SSH_SUCCESS, vm_->IsPoweredOn());
    EXPECT_EQ(kState7, Finish());
    EXPECT_EQ(33, timeout_after_);
}

TEST_F(VmOperation, UpdateStatusOfAnUnknownVmFails) {
    Start(EsxiScript()
              .Answer(kState7,
                      "(vim.fault.NotFound) {\n   dynamicType = <unset>,\n   faultCause = "
                      "(vmodl.MethodFault) null,\n   msg = \"Unable to find a VM corresponding "
                      "to \"7\"\",\n}\n-sh: Suspended: not found\n")
              .Wait(),
          "Powered on");
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, vm_->UpdateStatus());
    Finish();
    EXPECT_EQ("Powered on", vm_->GetStatus());
    EXPECT_NE(std::string::npos,
              trace_.find("trace> UpdateStatus: m_pParser->Parse(pResponse, "
                          "ESXiCommand::ESX_CMD_GET_VMSTATUS, this) failed, error code - 11\n"));
}

TEST_F(VmOperation, SilentHostTimesOutWithTheVmTimeout) {
    Start(EsxiScript().Wait(), "Powered on");
    vm_->SetTimeout(2);
    EXPECT_EQ(SSH_REMOTE_TIMEOUT_ERR, vm_->Suspend());
    EXPECT_EQ(kSuspend7, Finish());
    EXPECT_EQ(1000, timeout_after_);  // the session's own limit for replies is back
    EXPECT_NE(std::string::npos,
              trace_.find("trace> Suspend: m_pSshSession->GetResponse(&pResponse) failed, "
                          "error code - 8\n"));
}

TEST_F(VmOperation, ClientGoneBeforeTheReplyIsARemoteError) {
    Start(EsxiScript().ExitAfter(kState7), "Powered on");
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, vm_->UpdateStatus());
    EXPECT_EQ(kState7, Finish());
    EXPECT_EQ("Powered on", vm_->GetStatus());
}

}  // namespace
