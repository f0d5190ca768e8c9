// suspend_vms -self: the VM the tool runs in is stopped last, by the host.
// The run stops every other VM; this one is marked to reboot and left to one
// detached command that the host runs after the tool's session has ended
// (SshCommand.h): it suspends the VM (or, as -onrefusal allows, shuts its guest
// down and powers it off), enters maintenance mode and, with -poweroff, powers
// the host off. The tool has exited by then: what the command did is found on
// the host by the next run, not by this one.
#include "CliParser.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

// What the list file says of the VM until the host has stopped it.
const char* const kLeftToHost = "left to the host after the tool's session";

const char* const kSelfNotRunning =
    "VM %s %s (-self) does not run: nothing is left to the host, a normal run\n";
const char* const kSelfHandedOver =
    "VM %s %s (-self) runs: marked to reboot; the host stops it after this session, then enters maintenance "
    "mode\n";
const char* const kSelfAccepted =
    "the host started the command that stops VM %s %s after this session, enters maintenance mode%s\n";
const char* const kAndPowersOff = " and powers the host off";
const char* const kSelfRefused = "the host did not start the command for VM %s %s: %.300s\n";
const char* const kSelfCatched = "ESXiServer::LeaveSelfVmToHost error catched\n";
const char* const kSelfSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_STOP_SELF_VM, GetId(), ...))";
const char* const kSelfParseCall = "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_STOP_SELF_VM, this)";

int FallbackOf(OnRefusal onRefusal) {
    switch (onRefusal) {
        case OnRefusal::kShutdown: return ESXiCommand::kSelfShutdown;
        case OnRefusal::kPowerOff: return ESXiCommand::kSelfPowerOff;
        default: return ESXiCommand::kSelfSuspendOnly;
    }
}

}  // namespace

// Called once every other VM is stopped: true when the VM the tool runs in
// still runs and is now left to the host; the host then stays out of
// maintenance mode in this session (it cannot enter it while a VM runs), and
// is recorded as put into it by the tool, so that reboot_vms leaves it.
bool ESXiServer::HandOverSelfVm(VirtualMachineServer* self) {
    m_pSelfVm = nullptr;
    if (self == nullptr) return false;
    if (!self->WasPoweredOn()) {
        KelTrace(TRACE_DEBUG, "Suspend", kSelfNotRunning, self->GetId().c_str(), self->GetName().c_str());
        return false;
    }
    self->MarkToReboot();
    self->SetStopped(kLeftToHost);
    SetReboot(true);
    m_pSelfVm = self;
    KelTrace(TRACE_INFO, "Suspend", kSelfHandedOver, self->GetId().c_str(), self->GetName().c_str());
    return true;
}

int ESXiServer::LeaveSelfVmToHost() {
    const char* op = "LeaveSelfVmToHost";
    if (m_pSelfVm == nullptr) return SSH_INTERNAL_ERR;
    try {
        const VirtualMachineServer& vm = *m_pSelfVm;
        Env::String command = GET_ESXI_COMMAND(ESX_CMD_STOP_SELF_VM, vm.GetId(),
                                               FallbackOf(m_policy.onRefusal), m_policy.shutdownSeconds,
                                               m_policy.powerOffHost);
        char* pResponse = NULL;
        int rc = SendAndReceive(op, command, kSelfSendCall, &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_STOP_SELF_VM, this);
        if (rc != SSH_SUCCESS) {
            KelTrace(TRACE_ERROR, op, kSelfRefused, vm.GetId().c_str(), vm.GetName().c_str(), pResponse);
            return StepFailed(op, kSelfParseCall, rc);
        }
        KelTrace(TRACE_INFO, op, kSelfAccepted, vm.GetId().c_str(), vm.GetName().c_str(),
                 m_policy.powerOffHost ? kAndPowersOff : "");
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kSelfCatched);
        return SSH_INTERNAL_ERR;
    }
}

}  // namespace SshSrv
