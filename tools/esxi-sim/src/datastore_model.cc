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

namespace {

bool Moving(const VmOperation& operation) {
    return operation.transferring && operation.remaining_mb > kTransferDoneMb;
}

// When a transfer under way before `now` would be done at `share`.
bool DoneAt(const VmOperation& operation, double share, double now, double* at) {
    if (!Moving(operation) || operation.as_of >= now) return false;
    *at = operation.as_of + operation.remaining_mb / share;
    return true;
}

// The first moment before `now` at which a transfer would be done at the shares of the moment; `now` when
// none would.
double FirstDone(const HostState& host, const std::vector<double>& shares, double now) {
    double first = now;
    for (size_t i = 0; i < host.vms.size(); ++i) {
        double at = 0;
        if (DoneAt(host.vms[i].operation, shares[i], now, &at)) first = std::min(first, at);
    }
    return first;
}

// Moves `operation` on to `until` at `share`; done when it would be done by then (at least the transfer that
// `until` was found for, whatever the rounding of a moment so close to its last one).
void MoveOn(VmOperation* operation, double share, double until, double now) {
    double at = 0;
    if (DoneAt(*operation, share, now, &at) && at <= until) {
        operation->remaining_mb = 0;
        operation->as_of = std::max(operation->as_of, until);
        return;
    }
    if (!operation->transferring || until <= operation->as_of) return;
    double left = operation->remaining_mb - share * (until - operation->as_of);
    operation->remaining_mb = left > kTransferDoneMb ? left : 0;
    operation->as_of = until;
}

}  // namespace

double TransferShare(const HostState& host, const VmState& vm, OperationKind kind) {
    std::string name = VmDatastore(vm);
    int sharing = 1;
    for (const VmState& other : host.vms) {
        bool same = other.operation.kind == kind && Moving(other.operation) && VmDatastore(other) == name;
        if (same && other.id != vm.id) ++sharing;
    }
    return DatastoreSpeed(host, name, kind) / sharing;
}

// Steps from one transfer's end to the next, the shares recomputed at each, up to `now`.
void AdvanceTransfers(HostState* host, double now) {
    for (;;) {
        std::vector<double> shares;
        for (const VmState& vm : host->vms) shares.push_back(TransferShare(*host, vm, vm.operation.kind));
        double until = FirstDone(*host, shares, now);
        for (size_t i = 0; i < host->vms.size(); ++i) MoveOn(&host->vms[i].operation, shares[i], until, now);
        if (until >= now) return;
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
