#include "datastore_model.h"

#include <algorithm>
#include <vector>

namespace esxisim {

std::string VmDatastore(const VmState& vm) {
    if (!vm.datastore.empty()) return vm.datastore;
    if (vm.file.empty() || vm.file[0] != '[') return "";
    size_t close = vm.file.find(']');
    return close == std::string::npos ? "" : vm.file.substr(1, close - 1);
}

double DatastoreSpeed(const HostState& host, const std::string& name, OperationKind kind) {
    long write = host.profile->datastore_write_mbps;
    long read = host.profile->datastore_read_mbps;
    for (const Datastore& datastore : host.datastores) {
        if (datastore.name != name) continue;
        write = datastore.write_mbps;
        read = datastore.read_mbps;
    }
    return static_cast<double>(kind == OperationKind::kResume ? read : write);
}

double TransferShare(const HostState& host, const VmState& vm, OperationKind kind) {
    std::string name = VmDatastore(vm);
    int sharing = 1;
    for (const VmState& other : host.vms) {
        bool same = other.operation.kind == kind && other.operation.transferring && VmDatastore(other) == name;
        if (same && other.id != vm.id) ++sharing;
    }
    return DatastoreSpeed(host, name, kind) / sharing;
}

void AdvanceTransfers(HostState* host, double now) {
    std::vector<double> shares;
    for (const VmState& vm : host->vms) shares.push_back(TransferShare(*host, vm, vm.operation.kind));
    for (size_t i = 0; i < host->vms.size(); ++i) {
        VmOperation& operation = host->vms[i].operation;
        if (!operation.transferring || now <= operation.as_of) continue;
        operation.remaining_mb = std::max(0.0, operation.remaining_mb - shares[i] * (now - operation.as_of));
        operation.as_of = now;
    }
}

int OperationsInFlight(const HostState& host) {
    int in_flight = 0;
    for (const VmState& vm : host.vms) {
        if (vm.operation.kind != OperationKind::kNone) ++in_flight;
    }
    return in_flight;
}

void RecordInFlight(HostState* host, int in_flight) {
    if (host->max_in_flight >= 0 && in_flight > host->max_in_flight) host->max_in_flight = in_flight;
}

}  // namespace esxisim
