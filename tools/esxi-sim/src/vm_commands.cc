#include "vm_commands.h"

#include <unistd.h>

#include "fault_dump.h"
#include "power_refusals.h"
#include "vm_table.h"

namespace esxisim {

namespace {

const char kRetrievedRuntimeInfo[] = "Retrieved runtime info\n";
const char kPoweringOn[] = "Powering on VM:\n";
const char kPoweringOff[] = "Powering off VM:\n";
const char kSuspending[] = "Suspending VM:\n";
const char kInsufficientArguments[] = "Insufficient arguments.\n";

// What a power operation printed, whether it still has to finish a slow suspend, and its exit status.
struct PowerOutcome {
    std::string text;
    int delay_seconds = 0;
    int status = 0;
};

int GetAllVms(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << FormatSkippedVms(host.invalid_vms) << FormatVmTable(host.vms, host.profile->annotation_width);
    return 0;
}

int GetState(const std::string& id, const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    const VmState* vm = host.FindVm(id);
    if (!vm) {
        out << NotFoundFault(id);
        return 1;
    }
    out << kRetrievedRuntimeInfo << PowerStateText(vm->power) << "\n";
    return 0;
}

// power.on and power.off: refused with InvalidPowerState when the VM is already there; power.on also when
// the VM is one the host will not start.
PowerOutcome SwitchPower(VmState* vm, PowerState target, const VersionProfile& profile) {
    const char* progress = target == PowerState::kOn ? kPoweringOn : kPoweringOff;
    if (vm->power == target) return {progress + InvalidPowerStateFault(target, target)};
    if (target == PowerState::kOn && vm->refuse_power_on) return {progress + PowerOnRefused(profile)};
    vm->power = target;
    return {progress};
}

PowerOutcome Suspend(VmState* vm) {
    if (vm->power != PowerState::kOn) {
        return {kSuspending + InvalidPowerStateFault(PowerState::kSuspended, vm->power)};
    }
    if (vm->refuse_suspend) return {kSuspending + InvalidStateFault()};
    if (vm->suspend_seconds > 0) return {kSuspending, vm->suspend_seconds};
    vm->power = PowerState::kSuspended;
    return {kSuspending};
}

PowerOutcome Operate(const std::string& name, const std::string& id, HostState* host) {
    VmState* vm = host->FindVm(id);
    if (!vm) return {NotFoundFault(id), 0, 1};
    if (name == "power.on") return SwitchPower(vm, PowerState::kOn, *host->profile);
    if (name == "power.off") return SwitchPower(vm, PowerState::kOff, *host->profile);
    return Suspend(vm);
}

// The second half of a slow suspend: the VM is suspended only once the delay is over.
bool FinishSuspend(const std::string& id, int seconds, const StateStore& store, std::string* error) {
    sleep(static_cast<unsigned>(seconds));
    return store.Update([&id](HostState* host) {
        VmState* vm = host->FindVm(id);
        if (vm && vm->power == PowerState::kOn) vm->power = PowerState::kSuspended;
    }, error);
}

int PowerOperation(const std::string& name, const std::string& id, const StateStore& store, std::ostream& out) {
    PowerOutcome outcome;
    std::string error;
    if (!store.Update([&](HostState* host) { outcome = Operate(name, id, host); }, &error)) {
        return ReportStateError(error);
    }
    out << outcome.text << std::flush;
    if (outcome.delay_seconds == 0) return outcome.status;
    return FinishSuspend(id, outcome.delay_seconds, store, &error) ? 0 : ReportStateError(error);
}

bool IsPowerOperation(const std::string& name) {
    return name == "power.on" || name == "power.off" || name == "power.suspend";
}

int MissingId(const std::string& name, std::ostream& out) {
    out << kInsufficientArguments << "Usage: " << name << " vmid\n";
    return 1;
}

}  // namespace

bool RunVmCommand(const std::string& name, const std::vector<std::string>& args, const StateStore& store,
                  std::ostream& out, int* status) {
    if (name == "getallvms") *status = GetAllVms(store, out);
    else if (name != "power.getstate" && !IsPowerOperation(name)) return false;
    else if (args.empty()) *status = MissingId(name, out);
    else if (name == "power.getstate") *status = GetState(args[0], store, out);
    else *status = PowerOperation(name, args[0], store, out);
    return true;
}

}  // namespace esxisim
