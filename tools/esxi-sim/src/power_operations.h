// The power operations of vim-cmd vmsvc/: what each does to the host's VM and what it prints, as decided
// in one read-modify-write of the state (vm_commands.h runs them).
#ifndef ESXI_SIM_POWER_OPERATIONS_H
#define ESXI_SIM_POWER_OPERATIONS_H

#include <string>

#include "host_state.h"

namespace esxisim {

// What a power operation printed, how long a slow suspend still takes, and the exit status.
struct PowerOutcome {
    std::string text;
    int delay_seconds = 0;
    int status = 0;
};

// "power.on", "power.off", "power.suspend", "power.shutdown".
bool IsPowerOperation(const std::string& name);

// Carries out the power operation `name` on VM `id` of `host` at `now` (epoch seconds).
PowerOutcome Operate(const std::string& name, const std::string& id, HostState* host, double now);

}  // namespace esxisim

#endif
