#include "power_operations.h"

#include "datastore_model.h"
#include "fault_dump.h"
#include "power_refusals.h"

namespace esxisim {

namespace {

const char kPoweringOn[] = "Powering on VM:\n";
const char kPoweringOff[] = "Powering off VM:\n";
const char kSuspending[] = "Suspending VM:\n";
// The API's fault for a VM busy with another operation, with that fault's usual message.
const char kTaskInProgress[] = "vim.fault.TaskInProgress";
const char kTaskInProgressMessage[] = "Another task is already in progress.";

// An operation that ends with what it printed.
PowerOutcome Reply(const std::string& text, int status = 0) {
    PowerOutcome outcome;
    outcome.text = text;
    outcome.status = status;
    return outcome;
}

// A suspend or resume the host has accepted: done at once when it takes no time (and counted with the
// operations under way into max_in_flight), else recorded for this process to complete.
PowerOutcome Begin(HostState* host, VmState* vm, OperationKind kind, long pid, const char* progress) {
    PowerOutcome outcome = Reply(progress);
    outcome.plan = PlanOperation(*host, *vm, kind);
    if (outcome.plan.TakesTime()) {
        StartOperation(host, vm, kind, pid);
        return outcome;
    }
    RecordInFlight(host, OperationsInFlight(*host) + 1);
    EndOperation(vm, kind);
    return outcome;
}

// power.on and power.off: refused with InvalidPowerState when the VM is already there; power.on also when
// the VM is one the host will not start. power.on of a suspended VM resumes it.
PowerOutcome SwitchPower(HostState* host, VmState* vm, PowerState target, long pid) {
    const char* progress = target == PowerState::kOn ? kPoweringOn : kPoweringOff;
    if (vm->power == target) return Reply(progress + InvalidPowerStateFault(target, target));
    if (target == PowerState::kOn && vm->refuse_power_on) return Reply(progress + PowerOnRefused(*host->profile));
    if (target == PowerState::kOn && vm->power == PowerState::kSuspended) {
        return Begin(host, vm, OperationKind::kResume, pid, progress);
    }
    vm->SetPower(target);
    return Reply(progress);
}

PowerOutcome Suspend(HostState* host, VmState* vm, long pid) {
    if (vm->power != PowerState::kOn) {
        return Reply(kSuspending + InvalidPowerStateFault(PowerState::kSuspended, vm->power));
    }
    if (vm->passthrough) return Reply(kSuspending + SuspendRefused(*host->profile));
    if (vm->refuse_suspend) return Reply(kSuspending + InvalidStateFault());
    return Begin(host, vm, OperationKind::kSuspend, pid, kSuspending);
}

// The guest is asked to shut down and the command returns at once, printing nothing; the VM is off
// shutdown_seconds later (host_clock.h). Asking again while it shuts down changes nothing.
PowerOutcome ShutDownGuest(VmState* vm, double now) {
    if (vm->power != PowerState::kOn) return Reply(InvalidPowerStateFault(PowerState::kOff, vm->power));
    if (!vm->tools) return Reply(ToolsUnavailableFault());
    if (vm->guest_shutdown_at > 0) return Reply("");
    if (vm->shutdown_seconds == 0) vm->SetPower(PowerState::kOff);
    else vm->guest_shutdown_at = now + vm->shutdown_seconds;
    return Reply("");
}

std::string ProgressOf(const std::string& name) {
    if (name == "power.on") return kPoweringOn;
    if (name == "power.off") return kPoweringOff;
    if (name == "power.suspend") return kSuspending;
    return "";
}

}  // namespace

bool IsPowerOperation(const std::string& name) {
    return name == "power.on" || name == "power.off" || name == "power.suspend" || name == "power.shutdown";
}

PowerOutcome Operate(const std::string& name, const std::string& id, HostState* host, double now, long pid) {
    VmState* vm = host->FindVm(id);
    if (!vm) return Reply(NotFoundFault(id), 1);
    if (vm->operation.kind != OperationKind::kNone) {
        return Reply(ProgressOf(name) + FaultDump(kTaskInProgress, kTaskInProgressMessage));
    }
    if (name == "power.on") return SwitchPower(host, vm, PowerState::kOn, pid);
    if (name == "power.off") return SwitchPower(host, vm, PowerState::kOff, pid);
    if (name == "power.shutdown") return ShutDownGuest(vm, now);
    return Suspend(host, vm, pid);
}

}  // namespace esxisim
