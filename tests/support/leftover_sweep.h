// Removing what a process that no longer runs left behind (names in leftover_names.h).
#ifndef VMNAP_TEST_SUPPORT_LEFTOVER_SWEEP_H
#define VMNAP_TEST_SUPPORT_LEFTOVER_SWEEP_H

#include <sys/types.h>

#include <ostream>

#include "leftover_names.h"

// Stops every process that belongs to `owned` (SIGTERM, then SIGKILL): those in the namespace, those
// running as the account, those working in or started with a path in the directory. Then deletes it.
// True when it is gone afterwards (also when someone else removed it meanwhile).
bool RemoveOwned(const Owned& owned);

// Removes every leftover: what carries the pid of a process that no longer runs (only `owner`'s, when
// `owner` is above 0). Never touches what a running process owns. Writes one line per leftover to `log`;
// returns how many could not be removed.
int SweepLeftovers(pid_t owner, std::ostream& log);

#endif
