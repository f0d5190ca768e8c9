// The power operations of vim-cmd vmsvc/: what each does to the host's VM and what it prints, as decided
// in one read-modify-write of the state (vm_commands.h runs them). A suspend or resume that takes time is
// only started here; the process completes it afterwards (timed_operation.h).
#ifndef ESXI_SIM_POWER_OPERATIONS_H
#define ESXI_SIM_POWER_OPERATIONS_H

#include <string>

#include "host_state.h"
#include "timed_operation.h"

namespace esxisim {

// What a power operation printed, what it still has to complete, and the exit status.
struct PowerOutcome {
    std::string text;
    TimedPlan plan;
    int status = 0;
};

// "power.on", "power.off", "power.suspend", "power.shutdown".
bool IsPowerOperation(const std::string& name);

// Carries out the power operation `name` on VM `id` of `host` at `now` (epoch seconds), for the process
// `pid`.
PowerOutcome Operate(const std::string& name, const std::string& id, HostState* host, double now, long pid);

}  // namespace esxisim

#endif
