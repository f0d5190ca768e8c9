// The host operations behind the modes: listing, maintenance mode, and the
// suspend and reboot workflows.
#include <string>
#include <vector>

#include "BootWait.h"
#include "CliParser.h"
#include "DryRun.h"
#include "OperationTrace.h"
#include "ReplyJoiner.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "StopRequest.h"
#include "VmStopping.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kGetAllVmsStart = "get all virtual machines\n";
const char* const kReplyContinues = "the reply goes on without the prompt, reading on\n";

// How long the client must stay silent after a table that ends with the
// prompt: a note line that reads like the prompt at a piece's end is followed
// by the rest of the table at once, the real prompt by silence.
const int kPromptSilenceMs = 100;
const char* const kSuspendDone = "suspend finished successfully\n";
const char* const kRebootDone = "reboot finished successfully\n";
const char* const kNoSuchVm = "no VM of the host has the id or name '%s' (-last, -skip)\n";
const char* const kNoSelfVm = "no VM of the host has the id or name '%s' (-self)\n";
const char* const kSeveralSelfVms = "more than one VM of the host has the id or name '%s' (-self)\n";
const char* const kLeftRunningNoMaintenance =
    "some VM still runs: the host was not put into maintenance mode\n";
const char* const kStopBeforeStep = "stop requested, %s ends before its next step\n";

const char* const kGetAllVmsCatched = "ESXiServer::GetAllVms error catched\n";
const char* const kGetMaintenanceCatched = "ESXiServer::IsInMaintenanceMode error catched\n";
const char* const kEnterMaintenanceCatched = "ESXiServer::EnterMaintenance error catched\n";
const char* const kExitMaintenanceCatched = "ESXiServer::ExitMaintenance error catched\n";
const char* const kSuspendCatched = "ESXiServer::Suspend error catched\n";
const char* const kRebootCatched = "ESXiServer::Reboot error catched\n";

const char* const kGetAllVmsSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_GET_ALLVMS))";
const char* const kGetAllVmsParseCall =
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_GET_ALLVMS, this)";
const char* const kGetMaintenanceSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_GET_MAINTENANCE))";
const char* const kGetMaintenanceParseCall =
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_GET_MAINTENANCE, this)";
const char* const kEnterMaintenanceSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_ENTER_MAINTENANCE))";
const char* const kExitMaintenanceSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_EXIT_MAINTENANCE))";
const char* const kVmUpdateStatusCall = "pVm->UpdateStatus()";
const char* const kEnterMaintenanceCall = "EnterMaintenance()";
const char* const kExitMaintenanceCall = "ExitMaintenance()";
const char* const kBootCheckCall = "CheckBootSincePowerOff()";

// A stop asked for from outside ends a workflow before its next step (the
// step in flight has finished); what was done so far stays recorded.
bool stop_before_next_step(const char* op) {
    if (!StopRequest::Requested()) return false;
    KelTrace(TRACE_DEBUG, op, kStopBeforeStep, op);
    return true;
}

// Calls `step` on every VM in list order; the first failure is traced and ends the walk.
int for_each_vm(Env::XmlObjectList& vms, const char* op, const char* call,
                int (SshServer::*step)()) {
    for (Env::XmlObject* item : vms) {
        if (stop_before_next_step(op)) return StopRequest::kStatusStopped;
        SshServer* pVm = static_cast<SshServer*>(item);
        int rc = (pVm->*step)();
        if (rc != SSH_SUCCESS) return StepFailed(op, call, rc);
    }
    return SSH_SUCCESS;
}

// Calls `step` on every VM in list order whatever the ones before did; each
// failure is traced, the first one's code is the result.
int for_every_vm(Env::XmlObjectList& vms, const char* op, const char* call,
                 int (SshServer::*step)()) {
    int first = SSH_SUCCESS;
    for (Env::XmlObject* item : vms) {
        if (stop_before_next_step(op)) return StopRequest::kStatusStopped;
        SshServer* pVm = static_cast<SshServer*>(item);
        int rc = (pVm->*step)();
        if (rc != SSH_SUCCESS) StepFailed(op, call, rc);
        if (first == SSH_SUCCESS) first = rc;
    }
    return first;
}

// Stops the VMs in order under the refusal policy, each after the one before;
// a failure that ends the run is traced and returned.
int stop_one_after_another(const std::vector<VirtualMachineServer*>& vms, const SuspendPolicy& policy,
                           bool* leftRunning) {
    for (VirtualMachineServer* vm : vms) {
        if (stop_before_next_step("Suspend")) return StopRequest::kStatusStopped;
        VmStopResult result = StopVm(*vm, policy);
        if (result.fate == VmFate::kFailed) return StepFailed("Suspend", kVmSuspendCall, result.code);
        if (result.fate == VmFate::kLeftRunning) *leftRunning = true;
    }
    return SSH_SUCCESS;
}

}  // namespace

int ESXiServer::GetAllVms() {
    const char* op = "GetAllVms";
    try {
        KelTrace(TRACE_DEBUG, op, kGetAllVmsStart);
        char* pResponse = NULL;
        int rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_GET_ALLVMS), kGetAllVmsSendCall,
                                &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        std::string table;
        rc = ReadToPrompt(op, pResponse, table);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(table.c_str(), ESXiCommand::ESX_CMD_GET_ALLVMS, this);
        if (rc != SSH_SUCCESS) return StepFailed(op, kGetAllVmsParseCall, rc);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kGetAllVmsCatched);
        return SSH_INTERNAL_ERR;
    }
}

// A long table comes in several pieces: reads on until the text ends with the
// prompt and the client has nothing more to say, and joins them.
int ESXiServer::ReadToPrompt(const char* op, const char* first, std::string& text) {
    ReplyJoiner joiner;
    joiner.Add(first, m_pSshSession->LineEndCutBefore(), m_pSshSession->LineEndCutAfter());
    while (!joiner.Complete() || m_pSshSession->OutputFollows(kPromptSilenceMs)) {
        KelTrace(TRACE_DEBUG, op, kReplyContinues);
        char* pResponse = NULL;
        int rc = m_pSshSession->GetResponse(&pResponse);
        if (rc != SSH_SUCCESS) return StepFailed(op, kGetResponseCall, rc);
        joiner.Add(pResponse, m_pSshSession->LineEndCutBefore(),
                   m_pSshSession->LineEndCutAfter());
    }
    text = joiner.Text();
    return SSH_SUCCESS;
}

int ESXiServer::GetMaintenance() {
    const char* op = "GetMaintenance";
    try {
        char* pResponse = NULL;
        int rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_GET_MAINTENANCE),
                                kGetMaintenanceSendCall, &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_GET_MAINTENANCE, this);
        if (rc != SSH_SUCCESS && rc != SSH_VERIFY_ERR) {
            NoteHostdReply(pResponse);
            return rc;
        }
        SetMaintenanceMode(rc == SSH_SUCCESS);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kGetMaintenanceCatched);
        return SSH_INTERNAL_ERR;
    }
}

// Sends an enter/exit command, ignores its reply and confirms the new state.
int ESXiServer::ChangeMaintenance(const char* op, const Env::String& command,
                                  const char* sendText, bool wanted) {
    char* pResponse = NULL;
    int rc = SendAndReceive(op, command, sendText, &pResponse);
    if (rc != SSH_SUCCESS) return rc;
    rc = GetMaintenance();
    if (rc != SSH_SUCCESS) return StepFailed(op, kGetMaintenanceCall, rc);
    return GetMaintenanceMode() == wanted ? SSH_SUCCESS : SSH_VERIFY_ERR;
}

int ESXiServer::EnterMaintenance() {
    try {
        return ChangeMaintenance("EnterMaintenance", GET_ESXI_COMMAND(ESX_CMD_ENTER_MAINTENANCE),
                                 kEnterMaintenanceSendCall, true);
    } catch (...) {
        KelTrace(TRACE_ERROR, "EnterMaintenance", kEnterMaintenanceCatched);
        return SSH_INTERNAL_ERR;
    }
}

int ESXiServer::ExitMaintenance() {
    try {
        return ChangeMaintenance("ExitMaintenance", GET_ESXI_COMMAND(ESX_CMD_EXIT_MAINTENANCE),
                                 kExitMaintenanceSendCall, false);
    } catch (...) {
        KelTrace(TRACE_ERROR, "ExitMaintenance", kExitMaintenanceCatched);
        return SSH_INTERNAL_ERR;
    }
}

// The VMs in the order the policy gives; a -last or -skip entry that names no
// VM, or a -self entry that names none or several, is a command-line error,
// found before anything changes on the host.
int ESXiServer::OrderTheVms(VmOrder* order) {
    std::vector<VirtualMachineServer*> listed;
    for (Env::XmlObject* item : m_VMs) listed.push_back(static_cast<VirtualMachineServer*>(item));
    std::string unmatched;
    if (!OrderVms(listed, m_policy, order, &unmatched)) {
        KelTrace(TRACE_ERROR, "Suspend", kNoSuchVm, unmatched.c_str());
        return SSH_INVALID_PARAM_ERR;
    }
    if (m_policy.self.empty()) return SSH_SUCCESS;
    VirtualMachineServer* self = nullptr;
    SelfMatch match = FindSelfVm(listed, m_policy.self, &self);
    if (match == SelfMatch::kOne) return SSH_SUCCESS;
    KelTrace(TRACE_ERROR, "Suspend", match == SelfMatch::kNone ? kNoSelfVm : kSeveralSelfVms,
             m_policy.self.c_str());
    return SSH_INVALID_PARAM_ERR;
}

// Stops every running VM in order under the refusal policy; a failure that
// ends the run is traced and returned. `leftRunning` tells whether one still runs.
int ESXiServer::StopTheVms(const VmOrder& order, bool* leftRunning) {
    *leftRunning = false;
    std::vector<VirtualMachineServer*> others, last;
    for (size_t i = 0; i < order.handled.size(); ++i)
        if (order.handled[i]->WasPoweredOn())
            (i < order.lastFrom ? others : last).push_back(order.handled[i]);
    int rc = SeveralAtOnce(others.size() + last.size())
                 ? StopTheVmsAtOnce(others, last, leftRunning)
                 : stop_one_after_another(order.handled, m_policy, leftRunning);
    if (rc != SSH_SUCCESS) return rc;
    for (VirtualMachineServer* vm : order.skipped)
        if (LeaveVmAlone(*vm) == VmFate::kLeftRunning) *leftRunning = true;
    return SSH_SUCCESS;
}

// Powers on every VM still marked, in list order, going on past failures.
int ESXiServer::RebootTheVms() {
    std::vector<VirtualMachineServer*> marked;
    for (Env::XmlObject* item : m_VMs) {
        VirtualMachineServer* vm = static_cast<VirtualMachineServer*>(item);
        if (vm->IsMarkedToReboot()) marked.push_back(vm);
    }
    if (SeveralAtOnce(marked.size())) return RebootTheVmsAtOnce(marked);
    return for_every_vm(m_VMs, "Reboot", kVmRebootCall, &SshServer::Reboot);
}

// suspend_vms: stop the running VMs, mark them and enter maintenance mode. A
// host already in maintenance mode is left alone. With -self, the VM the tool
// runs in is never stopped here: while it runs, the host enters maintenance
// mode only after the session, through the command ProgramFlow leaves there.
int ESXiServer::Suspend() {
    const char* op = "Suspend";
    int rc = SSH_SUCCESS;
    try {
        rc = Login();
        if (rc != SSH_SUCCESS) return StepFailed(op, kLoginCall, rc);
        rc = GetAllVms();
        if (rc != SSH_SUCCESS) return StepFailed(op, kGetAllVmsCall, rc);
        rc = for_each_vm(m_VMs, op, kVmUpdateStatusCall, &SshServer::UpdateStatus);
        if (rc != SSH_SUCCESS) return rc;
        CarryOverMarks();
        VmOrder order;
        rc = OrderTheVms(&order);
        if (rc != SSH_SUCCESS) return rc;
        if (m_policy.dryRun) {
            TellSuspendPlan(*this, order, m_policy);
            return SSH_SUCCESS;
        }
        if (!GetMaintenanceMode()) {
            bool leftRunning = false;
            rc = StopTheVms(order, &leftRunning);
            if (rc != SSH_SUCCESS) return rc;
            if (leftRunning) {
                KelTrace(TRACE_ERROR, op, kLeftRunningNoMaintenance);
                return kStatusVmsLeftRunning;
            }
            if (stop_before_next_step(op)) return StopRequest::kStatusStopped;
            if (HandOverSelfVm(order.self)) return SSH_SUCCESS;
            rc = EnterMaintenance();
            if (rc != SSH_SUCCESS) return StepFailed(op, kEnterMaintenanceCall, rc);
            SetReboot(true);
        }
        KelTrace(TRACE_DEBUG, op, kSuspendDone);
        return rc;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kSuspendCatched);
        return m_pSshSession->StateToSshcode(static_cast<SshCodes>(rc));
    }
}

// reboot_vms: leave maintenance mode and power on every VM still marked by an
// earlier suspend run, going on past one that does not start. The flag that
// the tool put the host into maintenance mode is cleared once every VM is back.
// After a power-off the tool asked for, nothing is touched before the host
// has been down and booted again; the record of the power-off goes then.
int ESXiServer::Reboot() {
    const char* op = "Reboot";
    int rc = SSH_SUCCESS;
    try {
        BootWait::Clock clock;
        double deadline = clock.Now() + m_nBootWaitSeconds;
        rc = Login();
        if (rc != SSH_SUCCESS) return StepFailed(op, kLoginCall, rc);
        if (m_policy.dryRun) {
            TellRebootPlan(*this);
            return SSH_SUCCESS;
        }
        if (PowerOffRecorded()) {
            rc = CheckBootSincePowerOff(deadline);
            if (rc != SSH_SUCCESS) return StepFailed(op, kBootCheckCall, rc);
            ForgetPowerOff();
        }
        if (GetReboot() || AnyVmMarked()) {
            if (stop_before_next_step(op)) return StopRequest::kStatusStopped;
            rc = ExitMaintenance();
            if (rc != SSH_SUCCESS) return StepFailed(op, kExitMaintenanceCall, rc);
            rc = RebootTheVms();
            if (!AnyVmMarked()) SetReboot(false);
            if (rc != SSH_SUCCESS) return rc;
        }
        KelTrace(TRACE_DEBUG, op, kRebootDone);
        return rc;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kRebootCatched);
        return m_pSshSession->StateToSshcode(static_cast<SshCodes>(rc));
    }
}

}  // namespace SshSrv
