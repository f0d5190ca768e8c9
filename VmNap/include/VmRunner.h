// Up to K VM operations at once: workers take the next VM from one queue (in
// the order given, or by datastore: VmPick.h), each with its own session,
// until the queue is empty, an outcome ends the run, or a stop is asked for.
// The operations in flight always finish; what each gave is kept for the caller.
#ifndef VMNAP_VM_RUNNER_H
#define VMNAP_VM_RUNNER_H

#include <stddef.h>

#include <vector>

namespace SshSrv {

struct VmOutcome {
    int code;       // what the operation gave (0: done)
    bool endsRun;   // no further VM may start after this one
};

// What the workers do; worker 0 is the caller's own (its session is open).
// Called from several threads at once, each VM by one worker only.
class VmWorkers {
public:
    virtual ~VmWorkers() {}
    // Makes a worker above 0 ready (its session); false: it takes no VM.
    virtual bool Open(size_t worker) = 0;
    virtual VmOutcome Run(size_t vm, size_t worker) = 0;
    // Ends what Open made ready.
    virtual void Close(size_t worker) = 0;
    // A stop was asked for: no VM starts any more.
    virtual bool StopAsked() const;
};

struct VmRunSummary {
    std::vector<bool> started;        // by VM, in the order given
    std::vector<VmOutcome> outcomes;  // valid where started
    std::vector<size_t> startOrder;   // the VMs started, in the order they were taken
    bool stopped = false;             // a stop kept some VM from starting
    size_t workers = 0;               // workers that took part (worker 0 included)

    // The first VM in the order started whose outcome ended the run; `count`
    // when none (in the order given, for RunVms).
    size_t FirstEnding() const;
};

// Runs `count` VMs on at most `workers` workers (at least 1) in the order
// given, and waits for all of them.
VmRunSummary RunVms(size_t count, size_t workers, VmWorkers& work);

// As RunVms for `groups.size()` VMs, the next VM taken by PickNextVm with the
// VMs' datastore groups (DatastoreGroups): first in the order given on the
// datastore with the fewest of them in flight.
VmRunSummary RunVmsByGroup(const std::vector<size_t>& groups, size_t workers, VmWorkers& work);

}  // namespace SshSrv

#endif
