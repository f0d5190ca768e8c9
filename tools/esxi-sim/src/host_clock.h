// Time on the simulated host. What takes time without a program waiting for it (a guest shutting down, the
// host powering off, its boot) is kept in the state file as the moment it is over; every read of the state
// brings the host up to the present (StateStore), so no process has to outlive the command that started it.
#ifndef ESXI_SIM_HOST_CLOCK_H
#define ESXI_SIM_HOST_CLOCK_H

#include "host_state.h"

namespace esxisim {

// Seconds since the epoch, with the fraction.
double EpochNow();

// Brings `host` up to `now`: a guest shutdown whose time has come has powered its VM off; an operation whose
// process has gone has ended, its VM as it was (timed_operation.h); a host power-off whose time has come has
// cut the power (CutPower); a host that is off has come back on at the first of its boot moments to pass
// (boot_ssh_at, boot_hostd_at), its booted_at from then on; the boot moments that have passed are forgotten.
void SettleHost(HostState* host, double now);

// The host loses its power: VMs that run are off (suspended ones stay suspended), nothing under way goes on,
// maintenance mode is kept, a boot moment before the cut (poweroff_at) is forgotten.
void CutPower(HostState* host);

// When a host whose state file has no booted_at came on: 2023-11-14 22:13:20 UTC, a host that has been up
// for years, so long before any test that its uptime is never taken for a recent boot.
const double kLongUpSince = 1700000000;

// What "esxcli system stats uptime get" prints: microseconds from the moment the host came back on last
// (booted_at, set when a host that was off comes back on) to `now`.
long long UptimeMicroseconds(const HostState& host, double now);

// Whether the host takes a new login at `now`: it is on and its SSH service has started.
bool AcceptsLogins(const HostState& host, double now);

// Whether vim-cmd reaches hostd at `now`: it is on and hostd has started.
bool HostdAnswers(const HostState& host, double now);

}  // namespace esxisim

#endif
