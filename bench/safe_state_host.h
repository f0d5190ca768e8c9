// The host of the "time to a safe state" benchmark: 20 running VMs of 256 MB to 4 GB on two datastores of
// unequal load, every suspend and resume pausing 2 s before its memory moves (the simulated host's datastore
// model, tools/esxi-sim/src/datastore_model.h), and what the model allows for it.
#ifndef VMNAP_BENCH_SAFE_STATE_HOST_H
#define VMNAP_BENCH_SAFE_STATE_HOST_H

#include <string>

#include "host_state.h"

// The host with every VM in `power`, out of maintenance (suspended VMs: in maintenance, as a suspend run
// leaves it), counting the most operations under way at once (max_in_flight).
esxisim::HostState SafeStateHost(esxisim::PowerState power);

// What the model allows for `kind` (suspends write, resumes read) on `host`, in seconds.
struct ModelTimes {
    std::string busiest;       // the datastore whose memory takes longest to move
    double busiest_mb = 0;     // its memory
    double busiest_mbps = 0;   // its speed
    double floor_s = 0;        // its memory over its speed, plus one pause: no run can be faster
    double one_at_a_time_s = 0;  // every VM's pause and memory, one VM after the other
};
ModelTimes ComputeModelTimes(const esxisim::HostState& host, esxisim::OperationKind kind);

// Empty when every VM is in `power` and the host's maintenance flag is `in_maintenance`, else what differs.
std::string CheckHost(const esxisim::HostState& host, esxisim::PowerState power, bool in_maintenance);

// One line per datastore: name, VMs, memory, speeds.
std::string DescribeHost(const esxisim::HostState& host);

#endif
