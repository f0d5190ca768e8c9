#include "vm_commands.h"

#include <unistd.h>

#include "fault_dump.h"
#include "host_clock.h"
#include "power_operations.h"
#include "vm_table.h"

namespace esxisim {

namespace {

const char kRetrievedRuntimeInfo[] = "Retrieved runtime info\n";
const char kInsufficientArguments[] = "Insufficient arguments.\n";

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

int PowerOperation(const std::string& name, const std::string& id, const StateStore& store, std::ostream& out) {
    PowerOutcome outcome;
    std::string error;
    double now = EpochNow();
    long pid = static_cast<long>(getpid());
    if (!store.Update([&](HostState* host) { outcome = Operate(name, id, host, now, pid); }, &error)) {
        return ReportStateError(error);
    }
    out << outcome.text << std::flush;
    if (!outcome.plan.TakesTime()) return outcome.status;
    return CompleteOperation(id, outcome.plan, store);
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
