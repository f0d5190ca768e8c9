// Stopping one running VM under the refusal policy of a suspend run: suspend
// it; if that is refused, leave it, shut its guest down, or power it off, as
// the policy allows. Every VM the run stops is marked "to reboot".
#ifndef VMNAP_VM_STOPPING_H
#define VMNAP_VM_STOPPING_H

#include "SuspendPolicy.h"

namespace SshSrv {

class VirtualMachineServer;

enum class VmFate {
    kStopped,      // not running any more (or it never ran)
    kLeftRunning,  // still runs, as the policy allows; the run goes on
    kFailed,       // the run ends here with `code`
};

struct VmStopResult {
    VmFate fate;
    int code;
};

VmStopResult StopVm(VirtualMachineServer& vm, const SuspendPolicy& policy);

// Marks a VM that -skip names: it is not touched; a running one counts as left running.
VmFate LeaveVmAlone(VirtualMachineServer& vm);

}  // namespace SshSrv

#endif
