#include "power_operations.h"

#include "fault_dump.h"
#include "power_refusals.h"

namespace esxisim {

namespace {

const char kPoweringOn[] = "Powering on VM:\n";
const char kPoweringOff[] = "Powering off VM:\n";
const char kSuspending[] = "Suspending VM:\n";

// power.on and power.off: refused with InvalidPowerState when the VM is already there; power.on also when
// the VM is one the host will not start.
PowerOutcome SwitchPower(VmState* vm, PowerState target, const VersionProfile& profile) {
    const char* progress = target == PowerState::kOn ? kPoweringOn : kPoweringOff;
    if (vm->power == target) return {progress + InvalidPowerStateFault(target, target)};
    if (target == PowerState::kOn && vm->refuse_power_on) return {progress + PowerOnRefused(profile)};
    vm->SetPower(target);
    return {progress};
}

PowerOutcome Suspend(VmState* vm, const VersionProfile& profile) {
    if (vm->power != PowerState::kOn) {
        return {kSuspending + InvalidPowerStateFault(PowerState::kSuspended, vm->power)};
    }
    if (vm->passthrough) return {kSuspending + SuspendRefused(profile)};
    if (vm->refuse_suspend) return {kSuspending + InvalidStateFault()};
    if (vm->suspend_seconds > 0) return {kSuspending, vm->suspend_seconds};
    vm->SetPower(PowerState::kSuspended);
    return {kSuspending};
}

// The guest is asked to shut down and the command returns at once, printing nothing; the VM is off
// shutdown_seconds later (host_clock.h). Asking again while it shuts down changes nothing.
PowerOutcome ShutDownGuest(VmState* vm, double now) {
    if (vm->power != PowerState::kOn) return {InvalidPowerStateFault(PowerState::kOff, vm->power)};
    if (!vm->tools) return {ToolsUnavailableFault()};
    if (vm->guest_shutdown_at > 0) return {};
    if (vm->shutdown_seconds == 0) vm->SetPower(PowerState::kOff);
    else vm->guest_shutdown_at = now + vm->shutdown_seconds;
    return {};
}

}  // namespace

bool IsPowerOperation(const std::string& name) {
    return name == "power.on" || name == "power.off" || name == "power.suspend" || name == "power.shutdown";
}

PowerOutcome Operate(const std::string& name, const std::string& id, HostState* host, double now) {
    VmState* vm = host->FindVm(id);
    if (!vm) return {NotFoundFault(id), 0, 1};
    if (name == "power.on") return SwitchPower(vm, PowerState::kOn, *host->profile);
    if (name == "power.off") return SwitchPower(vm, PowerState::kOff, *host->profile);
    if (name == "power.shutdown") return ShutDownGuest(vm, now);
    return Suspend(vm, *host->profile);
}

}  // namespace esxisim
