// What a run would do, said one line per VM, for -dryrun: nothing is sent to
// the host beyond the login and the reads, and nothing is saved.
#ifndef VMNAP_DRY_RUN_H
#define VMNAP_DRY_RUN_H

#include "SuspendPolicy.h"

namespace SshSrv {

class ESXiServer;

// A suspend run with `policy` on the host as read (VM states known), in `order`.
void TellSuspendPlan(const ESXiServer& host, const VmOrder& order, const SuspendPolicy& policy);

// A reboot run with the host loaded from its list file and logged in.
void TellRebootPlan(const ESXiServer& host);

}  // namespace SshSrv

#endif
