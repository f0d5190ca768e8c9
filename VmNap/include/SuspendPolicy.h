// What suspend_vms does with the VMs of a host beyond suspending them: the
// fallback for a VM that will not suspend, the order, the VMs it must not
// touch, whether it powers the host off at the end, and whether it only says
// what it would do.
#ifndef VMNAP_SUSPEND_POLICY_H
#define VMNAP_SUSPEND_POLICY_H

#include <string>
#include <vector>

namespace SshSrv {

class VirtualMachineServer;

// The exit status of a suspend run that left some VM running: the host was
// not asked to enter maintenance mode.
const int kStatusVmsLeftRunning = 18;

// For a running VM that does not end up suspended (refused or failed):
//   kStop      end the run there, as the tool always has;
//   kSkip      leave it running and go on with the others;
//   kShutdown  ask its guest to shut down through VMware Tools and wait for it;
//   kPowerOff  as kShutdown, then power it off if it still runs.
enum class OnRefusal { kStop, kSkip, kShutdown, kPowerOff };

bool ParseOnRefusal(const std::string& word, OnRefusal* policy);

struct SuspendPolicy {
    OnRefusal onRefusal = OnRefusal::kStop;
    int shutdownSeconds = 300;       // wait for a guest shutdown
    std::vector<std::string> last;   // ids or whole names handled after all others, in this order
    std::vector<std::string> skip;   // ids or whole names never touched
    std::string self;                // id or whole name of the VM the tool runs in (-self); empty: none
    bool dryRun = false;             // say what would be done, change nothing
    bool powerOffHost = false;       // power the host off once the suspend is done (-poweroff)
};

// The VMs in the order a run handles them, the ones it leaves alone, and the
// VM the tool runs in, which the run never stops itself: the host does, after
// the tool's session (null without -self, or when -skip names it too).
struct VmOrder {
    std::vector<VirtualMachineServer*> handled;
    size_t lastFrom = 0;   // where the -last ones start in `handled` (its size: none)
    std::vector<VirtualMachineServer*> skipped;
    VirtualMachineServer* self = nullptr;
};

// Every VM not named by -last or -skip in list order, then those of -last in
// their order; the -skip ones apart; the -self one apart from both (-skip wins
// over -self). False, with the entry in `unmatched`, when an entry of -last or
// -skip names no VM of the host; the -self entry is checked by FindSelfVm.
bool OrderVms(const std::vector<VirtualMachineServer*>& listed, const SuspendPolicy& policy,
              VmOrder* order, std::string* unmatched);

// How many VMs the -self entry names (by id or whole name): it must be exactly one.
enum class SelfMatch { kNone, kOne, kSeveral };
SelfMatch FindSelfVm(const std::vector<VirtualMachineServer*>& listed, const std::string& entry,
                     VirtualMachineServer** vm);

// Splits "a,b,c" into its entries; empty entries are dropped.
std::vector<std::string> SplitVmList(const std::string& list);

}  // namespace SshSrv

#endif
