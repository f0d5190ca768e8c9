// Time on the simulated host. What takes time without a program waiting for it (a guest shutting down)
// is kept in the state file as the moment it is over; every read of the state brings the host up to the
// present (StateStore), so no process has to outlive the command that started it.
#ifndef ESXI_SIM_HOST_CLOCK_H
#define ESXI_SIM_HOST_CLOCK_H

#include "host_state.h"

namespace esxisim {

// Seconds since the epoch, with the fraction.
double EpochNow();

// Brings `host` up to `now`: a guest shutdown whose time has come has powered its VM off.
void SettleHost(HostState* host, double now);

}  // namespace esxisim

#endif
