#include "safe_state_host.h"

#include <cstdio>
#include <map>

#include "datastore_model.h"

namespace {

const int kPauseSeconds = 2;

// Two datastores of unequal load: twelve VMs (8 GB in all) on an SSD array, eight (2.5 GB) on a single
// SATA disk, which is the busier of the two at its speed. One after the other a suspend of all takes about
// 65 s on the model. The speeds are the README's figures (Speed, "The host").
struct BenchDatastore {
    const char* name;
    long write_mbps;
    long read_mbps;
};
const BenchDatastore kSsdArray = {"ssd-array", 1000, 2000};
const BenchDatastore kSataDisk = {"sata-disk", 150, 150};

struct BenchVm {
    const BenchDatastore* datastore;
    long memory_mb;
};
// Ids 1 to 20 in this order: sizes and datastores mixed, as a host's list would be.
const BenchVm kVms[] = {
    {&kSsdArray, 4096}, {&kSataDisk, 512}, {&kSsdArray, 256}, {&kSataDisk, 256}, {&kSsdArray, 1024},
    {&kSsdArray, 256},  {&kSataDisk, 256}, {&kSsdArray, 512}, {&kSataDisk, 512}, {&kSsdArray, 256},
    {&kSsdArray, 256},  {&kSataDisk, 256}, {&kSsdArray, 512}, {&kSataDisk, 256}, {&kSsdArray, 256},
    {&kSsdArray, 256},  {&kSataDisk, 256}, {&kSsdArray, 256}, {&kSataDisk, 256}, {&kSsdArray, 256},
};

esxisim::VmState Vm(int id, const BenchVm& planned, esxisim::PowerState power) {
    char name[16];
    std::snprintf(name, sizeof(name), "vm%02d", id);
    esxisim::VmState vm;
    vm.id = std::to_string(id);
    vm.name = name;
    vm.file = std::string("[") + planned.datastore->name + "] " + name + "/" + name + ".vmx";
    vm.guest_os = "otherGuest";
    vm.version = "vmx-08";
    vm.power = power;
    vm.memory_mb = planned.memory_mb;
    return vm;
}

}  // namespace

esxisim::HostState SafeStateHost(esxisim::PowerState power) {
    esxisim::HostState host;
    host.hostname = "esx-bench";
    host.in_maintenance = power == esxisim::PowerState::kSuspended;
    host.op_pause_seconds = kPauseSeconds;
    host.max_in_flight = 0;
    for (const BenchDatastore* ds : {&kSsdArray, &kSataDisk})
        host.datastores.push_back({ds->name, ds->write_mbps, ds->read_mbps});
    int id = 0;
    for (const BenchVm& planned : kVms) host.vms.push_back(Vm(++id, planned, power));
    return host;
}

ModelTimes ComputeModelTimes(const esxisim::HostState& host, esxisim::OperationKind kind) {
    std::map<std::string, double> memory_mb;
    ModelTimes times;
    for (const esxisim::VmState& vm : host.vms) {
        std::string name = esxisim::VmDatastore(vm);
        memory_mb[name] += static_cast<double>(vm.memory_mb);
        times.one_at_a_time_s += host.op_pause_seconds +
                                 static_cast<double>(vm.memory_mb) / esxisim::DatastoreSpeed(host, name, kind);
    }
    double busiest_s = -1;
    for (const auto& datastore : memory_mb) {
        double speed = esxisim::DatastoreSpeed(host, datastore.first, kind);
        if (datastore.second / speed <= busiest_s) continue;
        busiest_s = datastore.second / speed;
        times.busiest = datastore.first;
        times.busiest_mb = datastore.second;
        times.busiest_mbps = speed;
    }
    times.floor_s = busiest_s < 0 ? 0 : busiest_s + host.op_pause_seconds;
    return times;
}

std::string CheckHost(const esxisim::HostState& host, esxisim::PowerState power, bool in_maintenance) {
    if (host.in_maintenance != in_maintenance) return "maintenance mode is not as expected";
    if (host.vms.size() != sizeof(kVms) / sizeof(kVms[0])) return "the host has another number of VMs";
    for (const esxisim::VmState& vm : host.vms)
        if (vm.power != power) return "VM " + vm.id + " is " + esxisim::PowerStateText(vm.power);
    return "";
}

std::string DescribeHost(const esxisim::HostState& host) {
    std::map<std::string, std::pair<int, long>> load;  // VMs, MB
    for (const esxisim::VmState& vm : host.vms) {
        auto& entry = load[esxisim::VmDatastore(vm)];
        ++entry.first;
        entry.second += vm.memory_mb;
    }
    std::string text;
    for (const auto& datastore : load) {
        char line[256];
        std::snprintf(line, sizeof(line), "  %-10s %2d VMs, %6ld MB; write %4.0f MB/s, read %4.0f MB/s\n",
                      datastore.first.c_str(), datastore.second.first, datastore.second.second,
                      esxisim::DatastoreSpeed(host, datastore.first, esxisim::OperationKind::kSuspend),
                      esxisim::DatastoreSpeed(host, datastore.first, esxisim::OperationKind::kResume));
        text += line;
    }
    return text;
}
