#include "bench_host.h"

#include <cstdio>

#include "host_state.h"
#include "state_store.h"

namespace {

// Short names keep the 50-VM table inside one 4095-byte reply.
std::string Name(int id) {
    char name[16];
    std::snprintf(name, sizeof(name), "vm%02d", id);
    return name;
}

esxisim::VmState RunningVm(int id) {
    esxisim::VmState vm;
    vm.id = std::to_string(id);
    vm.name = Name(id);
    vm.file = "[ds1] " + vm.name + "/" + vm.name + ".vmx";
    vm.guest_os = "otherGuest";
    vm.version = "vmx-08";
    vm.power = esxisim::PowerState::kOn;
    return vm;
}

std::string Check(const std::string& state_path, int vms, bool in_maintenance, esxisim::PowerState power) {
    esxisim::HostState host;
    std::string error;
    if (!esxisim::StateStore(state_path).Read(&host, &error)) return error;
    if (host.in_maintenance != in_maintenance) return "maintenance mode is not as expected";
    if (static_cast<int>(host.vms.size()) != vms) return "the host has another number of VMs";
    for (const esxisim::VmState& vm : host.vms)
        if (vm.power != power) return "VM " + vm.id + " is " + esxisim::PowerStateText(vm.power);
    return "";
}

}  // namespace

bool WriteRunningHost(const std::string& state_path, int vms, std::string* error) {
    esxisim::HostState host;
    host.hostname = "esx-bench";
    for (int id = 1; id <= vms; ++id) host.vms.push_back(RunningVm(id));
    return esxisim::StateStore(state_path).Write(host, error);
}

std::string CheckSuspended(const std::string& state_path, int vms) {
    return Check(state_path, vms, true, esxisim::PowerState::kSuspended);
}

std::string CheckRunning(const std::string& state_path, int vms) {
    return Check(state_path, vms, false, esxisim::PowerState::kOn);
}

std::string ListCommand() { return "vim-cmd vmsvc/getallvms"; }
std::string StateCommand(int id) { return "vim-cmd vmsvc/power.getstate " + std::to_string(id); }
std::string SuspendCommand(int id) { return "vim-cmd vmsvc/power.suspend " + std::to_string(id); }
std::string EnterMaintenanceCommand() { return "vim-cmd hostsvc/maintenance_mode_enter"; }
std::string ExitMaintenanceCommand() { return "vim-cmd hostsvc/maintenance_mode_exit"; }
std::string PowerOnCommand(int id) { return "vim-cmd vmsvc/power.on " + std::to_string(id); }
