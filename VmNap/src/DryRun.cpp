#include "DryRun.h"

#include <string>

#include "SshCommand.h"
#include "SshServer.h"
#include "kel-tools-trace.h"

namespace SshSrv {

namespace {

const char* const kVmLine = "dry run: VM %s %s (%s): %s\n";
const char* const kHostLine = "dry run: host: %s\n";
const char* const kNothing = "nothing to do";
const char* const kStaysMarked = "nothing to do, stays marked to reboot";
const char* const kSuspend = "suspend";
const char* const kSkipped = "left running (-skip)";
const char* const kPowerOn = "power on";
const char* const kEnter = "enter maintenance mode";
const char* const kAlreadyIn = "already in maintenance mode, nothing to do";
const char* const kNotEntered = "not put into maintenance mode: a VM would be left running";
const char* const kExit = "leave maintenance mode";
const char* const kPowerOff = "dry run: host: power off %d s after the list file is saved\n";
const char* const kNoPowerOff = "not powered off: a VM would be left running";
const char* const kSelfLeft =
    "the VM the tool runs in (-self): left to the host after the tool's session, suspend";
const char* const kSelfKept = "the VM the tool runs in (-self): keeps running, nothing is left to the host";
const char* const kSelfNotRunning = "the VM the tool runs in (-self): does not run, nothing to do";
const char* const kEnterAfterSelf =
    "enter maintenance mode after the tool's session, once the VM the tool runs in stopped";
const char* const kPowerOffAfterSelf = "dry run: host: then power off %d s after the maintenance mode\n";

void TellVm(const VirtualMachineServer* vm, const std::string& what) {
    kel_trace(TRACE_ALWAYS, kVmLine, vm->GetId().c_str(), vm->GetName().c_str(), vm->GetStatus().c_str(),
              what.c_str());
}

std::string Fallback(const SuspendPolicy& policy) {
    std::string wait = std::to_string(policy.shutdownSeconds / 60) + " min";
    switch (policy.onRefusal) {
        case OnRefusal::kSkip: return "; if refused: leave it running";
        case OnRefusal::kShutdown: return "; if refused: shut its guest down, wait up to " + wait;
        case OnRefusal::kPowerOff:
            return "; if refused: shut its guest down, wait up to " + wait + ", then power it off";
        default: return "; if refused: stop the run";
    }
}

// What the host's detached command does with the VM the tool runs in when its suspend is refused.
std::string SelfFallback(const SuspendPolicy& policy) {
    if (policy.onRefusal == OnRefusal::kShutdown || policy.onRefusal == OnRefusal::kPowerOff)
        return Fallback(policy);
    return "; if refused: it keeps running, the host stays out of maintenance mode";
}

// The VM the tool runs in (-self): true when it would be left to the host.
bool TellSelf(const VirtualMachineServer* self, const SuspendPolicy& policy, bool inMaintenance,
              bool leftRunning) {
    if (self == nullptr) return false;
    bool left = self->WasPoweredOn() && !inMaintenance && !leftRunning;
    if (left) TellVm(self, kSelfLeft + SelfFallback(policy));
    else TellVm(self, self->WasPoweredOn() ? kSelfKept : kSelfNotRunning);
    return left;
}

}  // namespace

void TellSuspendPlan(const ESXiServer& host, const VmOrder& order, const SuspendPolicy& policy) {
    bool inMaintenance = host.GetMaintenanceMode();
    for (const VirtualMachineServer* vm : order.handled) {
        bool runs = vm->WasPoweredOn();
        if (runs && !inMaintenance) TellVm(vm, kSuspend + Fallback(policy));
        else TellVm(vm, vm->IsMarkedToReboot() ? kStaysMarked : kNothing);
    }
    bool leftRunning = false;
    for (const VirtualMachineServer* vm : order.skipped) {
        bool runs = vm->WasPoweredOn();
        leftRunning = leftRunning || runs;
        TellVm(vm, runs ? kSkipped : (vm->IsMarkedToReboot() ? kStaysMarked : kNothing));
    }
    bool selfLeft = TellSelf(order.self, policy, inMaintenance, leftRunning);
    const char* enter = selfLeft ? kEnterAfterSelf : kEnter;
    kel_trace(TRACE_ALWAYS, kHostLine, inMaintenance ? kAlreadyIn : (leftRunning ? kNotEntered : enter));
    if (!policy.powerOffHost) return;
    if (leftRunning && !inMaintenance)
        kel_trace(TRACE_ALWAYS, kHostLine, kNoPowerOff);
    else
        kel_trace(TRACE_ALWAYS, selfLeft ? kPowerOffAfterSelf : kPowerOff, ESXiCommand::kPowerOffDelaySeconds);
}

void TellRebootPlan(const ESXiServer& host) {
    bool acts = host.GetReboot() || host.AnyVmMarked();
    kel_trace(TRACE_ALWAYS, kHostLine, acts ? kExit : kNothing);
    for (const Env::XmlObject* item : host.GetVMs()) {
        const VirtualMachineServer* vm = static_cast<const VirtualMachineServer*>(item);
        TellVm(vm, vm->IsMarkedToReboot() ? kPowerOn : kNothing);
    }
}

}  // namespace SshSrv
