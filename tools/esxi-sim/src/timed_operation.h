// A suspend or a resume that takes time (datastore_model.h), carried out by the vim-cmd process that started
// it. While it runs, the VM carries a record of it in the state (VmState::operation: which, whether it is
// transferring, the process), so that every process sees what shares a datastore; the VM changes state only
// at the end. Should the record go before the end (the host lost its power; the process was found gone by
// host_clock.h), the operation is over and the VM stays as it was.
#ifndef ESXI_SIM_TIMED_OPERATION_H
#define ESXI_SIM_TIMED_OPERATION_H

#include <string>

#include "host_state.h"
#include "state_store.h"

namespace esxisim {

struct TimedPlan {
    OperationKind kind = OperationKind::kNone;
    double pause_seconds = 0;  // the host's op_pause_seconds, and a suspend's suspend_seconds
    long memory_mb = 0;        // to write or read back

    bool TakesTime() const { return pause_seconds > 0 || memory_mb > 0; }
};

// What the operation `kind` of `vm` on `host` takes.
TimedPlan PlanOperation(const HostState& host, const VmState& vm, OperationKind kind);

// Records the operation `kind` of process `pid` on `vm`, and counts it into the host's max_in_flight.
void StartOperation(HostState* host, VmState* vm, OperationKind kind, long pid);

// The state the VM reaches at the end of `kind`, given the one it is in (a VM someone else changed meanwhile
// keeps that change).
void EndOperation(VmState* vm, OperationKind kind);

// Waits out the pause, transfers the memory (its share of the datastore recomputed every 100 ms from the
// transfers under way), then ends the operation on VM `id`, all in this process. Returns 0 once done, 1 when
// the record went before the end, or the state file's error status.
int CompleteOperation(const std::string& id, const TimedPlan& plan, const StateStore& store);

}  // namespace esxisim

#endif
