// Power operations on one virtual machine of the host.
#include <time.h>
#include <unistd.h>

#include "CliParser.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"

namespace SshSrv {

// What differs between suspending, powering on and powering off.
struct PowerChange {
    const char* op;
    const char* startFmt;
    Env::String (*command)(Env::String const&);
    int commandId;
    const char* sendCall;
    const char* parseCall;
    const char* targetStatus;
    const char* doneFmt;
    const char* failedFmt;
    const char* catched;
};

namespace {

typedef Env::XmlAttrInvoker<VirtualMachineServer> Attr;

const char* const kPoweredOn = "Powered on";
const char* const kToReboot = "to reboot";
const char* const kRebooted = "rebooted";

const char* const kStatusSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_GET_VMSTATUS, GetId()))";
const char* const kStatusParseCall =
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_GET_VMSTATUS, this)";
const char* const kPowerOnCall = "PowerOn()";
const char* const kPoweredOff = "Powered off";
const char* const kShutdownSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_SHUTDOWN_VM, GetId()))";
const char* const kShutdownParseCall =
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SHUTDOWN_VM, this)";
const char* const kShutdownStart = "shut down the guest of VM, id: %s, name: %s\n";
const char* const kShutdownCatched = "VirtualMachineServer::Shutdown error catched\n";
const char* const kWaitCatched = "VirtualMachineServer::WaitUntilPoweredOff error catched\n";

// How often the state is read while a guest shuts down (peers poll every 3 to 60 s).
const unsigned kShutdownPollSeconds = 3;

const char* const kUpdateStatusCatched = "VirtualMachineServer::UpdateStatus error catched\n";
const char* const kIsPoweredOnCatched = "VirtualMachineServer::IsPoweredOn error catched\n";

const PowerChange kSuspend = {
    "Suspend",
    "suspend VM, id: %s, name: %s, status: %s\n",
    &ESXiCommand::GetESX_CMD_SUSPEND_VM,
    ESXiCommand::ESX_CMD_SUSPEND_VM,
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_SUSPEND_VM, GetId()))",
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SUSPEND_VM, this)",
    "Suspended",
    "virtual machine %s %s suspended successfully\n",
    "failed to suspend virtual machine %s %s\n",
    "VirtualMachineServer::Suspend error catched\n",
};

const PowerChange kPowerOn = {
    "PowerOn",
    "power on VM, id: %s, name: %s, status: %s\n",
    &ESXiCommand::GetESX_CMD_POWERON_VM,
    ESXiCommand::ESX_CMD_POWERON_VM,
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_POWERON_VM, GetId()))",
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_POWERON_VM, this)",
    "Powered on",
    "virtual machine %s %s powered on successfully\n",
    "failed to power on virtual machine %s %s\n",
    "VirtualMachineServer::PowerOn error catched\n",
};

const PowerChange kPowerOff = {
    "PowerOff",
    "power off VM, id: %s, name: %s, status: %s\n",
    &ESXiCommand::GetESX_CMD_POWEROFF_VM,
    ESXiCommand::ESX_CMD_POWEROFF_VM,
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_POWEROFF_VM, GetId()))",
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_POWEROFF_VM, this)",
    "Powered off",
    "virtual machine %s %s powered off successfully\n",
    "failed to power off virtual machine %s %s\n",
    "VirtualMachineServer::PowerOff error catched\n",
};

}  // namespace

VirtualMachineServer::VirtualMachineServerStructure
    VirtualMachineServer::m_gVirtualMachineServerStructure;

VirtualMachineServer::VirtualMachineServerStructure::VirtualMachineServerStructure() {
    RegisterCreator("VirtualMachineServer", &VirtualMachineServer::Create);
    AddChild("Id", new Attr(&VirtualMachineServer::GetIdStr, &VirtualMachineServer::SetIdStr));
    AddChild("RebootStatus", new Attr(&VirtualMachineServer::GetRebootStatusStr,
                                      &VirtualMachineServer::SetRebootStatusStr));
    AddChild("Timeout",
             new Attr(&VirtualMachineServer::GetTimeoutStr, &VirtualMachineServer::SetTimeoutStr));
    AddChild("Stopped",
             new Attr(&VirtualMachineServer::GetStoppedStr, &VirtualMachineServer::SetStoppedStr));
}

VirtualMachineServer::VirtualMachineServer(Ssh::SshSession* pSession, CliParser* pParser)
    : SshServer(pSession, pParser, "") {}

VirtualMachineServer::VirtualMachineServer(Ssh::SshSession* pSession, CliParser* pParser,
                                           const Env::String& id, const Env::String& name)
    : SshServer(pSession, pParser, name) {
    SetId(id);
}

const Env::XmlObject::XmlObjectStructure& VirtualMachineServer::GetXmlStructure() const {
    return m_gVirtualMachineServerStructure;
}

bool VirtualMachineServer::WasPoweredOn() const { return GetStatus() == kPoweredOn; }

bool VirtualMachineServer::IsMarkedToReboot() const { return GetRebootStatus() == kToReboot; }

void VirtualMachineServer::MarkToReboot() { SetRebootStatus(kToReboot); }

int VirtualMachineServer::UpdateStatus() {
    const char* op = "UpdateStatus";
    try {
        char* pResponse = NULL;
        int rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_GET_VMSTATUS, GetId()),
                                kStatusSendCall, &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_GET_VMSTATUS, this);
        if (rc != SSH_SUCCESS) return StepFailed(op, kStatusParseCall, rc);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kUpdateStatusCatched);
        return SSH_INTERNAL_ERR;
    }
}

int VirtualMachineServer::IsPoweredOn() {
    try {
        int rc = UpdateStatus();
        if (rc != SSH_SUCCESS) return StepFailed("IsPoweredOn", kUpdateStatusCall, rc);
        return WasPoweredOn() ? SSH_SUCCESS : SSH_VERIFY_ERR;
    } catch (...) {
        KelTrace(TRACE_ERROR, "IsPoweredOn", kIsPoweredOnCatched);
        return SSH_INTERNAL_ERR;
    }
}

int VirtualMachineServer::Suspend() {
    if (!WasPoweredOn()) return SSH_SUCCESS;
    int rc = ChangePower(kSuspend);
    if (rc == SSH_SUCCESS) MarkToReboot();
    return rc;
}

int VirtualMachineServer::PowerOn() { return ChangePower(kPowerOn); }

int VirtualMachineServer::Shutdown() {
    const char* op = "Shutdown";
    try {
        KelTrace(TRACE_DEBUG, op, kShutdownStart, GetId().c_str(), GetName().c_str());
        char* pResponse = NULL;
        int rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_SHUTDOWN_VM, GetId()), kShutdownSendCall,
                                &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SHUTDOWN_VM, this);
        if (rc != SSH_SUCCESS) return StepFailed(op, kShutdownParseCall, rc);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kShutdownCatched);
        return SSH_INTERNAL_ERR;
    }
}

int VirtualMachineServer::WaitUntilPoweredOff(int seconds) {
    try {
        time_t start = time(NULL);
        for (;;) {
            int rc = UpdateStatus();
            if (rc != SSH_SUCCESS) return StepFailed("WaitUntilPoweredOff", kUpdateStatusCall, rc);
            if (GetStatus() == kPoweredOff) return SSH_SUCCESS;
            if (difftime(time(NULL), start) >= seconds) return SSH_VERIFY_ERR;
            sleep(kShutdownPollSeconds);
        }
    } catch (...) {
        KelTrace(TRACE_ERROR, "WaitUntilPoweredOff", kWaitCatched);
        return SSH_INTERNAL_ERR;
    }
}

int VirtualMachineServer::PowerOff() { return ChangePower(kPowerOff); }

int VirtualMachineServer::Reboot() {
    if (!IsMarkedToReboot()) return SSH_SUCCESS;
    int rc = PowerOn();
    if (rc != SSH_SUCCESS) return StepFailed("Reboot", kPowerOnCall, rc);
    SetRebootStatus(kRebooted);
    return SSH_SUCCESS;
}

// Sends the command with the VM's own timeout, takes in the reply (once more
// while the host reports the command in progress) and confirms the new state
// with one status read.
int VirtualMachineServer::ChangePower(const PowerChange& c) {
    try {
        KelTrace(TRACE_DEBUG, c.op, c.startFmt, GetId().c_str(), GetName().c_str(),
                 GetStatus().c_str());
        int replyTimeout = m_pSshSession->GetTimeout();
        m_pSshSession->SetTimeout(GetTimeout());
        char* pResponse = NULL;
        int rc = SendAndReceive(c.op, c.command(GetId()), c.sendCall, &pResponse);
        if (rc == SSH_SUCCESS) rc = ParseReply(c, pResponse);
        m_pSshSession->SetTimeout(replyTimeout);  // the confirming read is an ordinary reply
        if (rc != SSH_SUCCESS) return rc;
        rc = UpdateStatus();
        if (rc != SSH_SUCCESS) return StepFailed(c.op, kUpdateStatusCall, rc);
        bool reached = GetStatus() == c.targetStatus;
        KelTrace(TRACE_DEBUG, c.op, reached ? c.doneFmt : c.failedFmt, GetId().c_str(),
                 GetName().c_str());
        return reached ? SSH_SUCCESS : SSH_CLI_CMD_FAILED_ERR;
    } catch (...) {
        KelTrace(TRACE_ERROR, c.op, "%s", c.catched);
        return SSH_INTERNAL_ERR;
    }
}

// A reply that says the command still runs is read once more.
int VirtualMachineServer::ParseReply(const PowerChange& c, char* pResponse) {
    int rc = m_pParser->Parse(pResponse, c.commandId, this);
    if (rc == SSH_PARSER_IN_PROGRESS) {
        rc = m_pSshSession->GetResponse(&pResponse);
        if (rc != SSH_SUCCESS) return StepFailed(c.op, kGetResponseCall, rc);
        rc = m_pParser->Parse(pResponse, c.commandId, this);
    }
    if (rc != SSH_SUCCESS) return StepFailed(c.op, c.parseCall, rc);
    return SSH_SUCCESS;
}

}  // namespace SshSrv
