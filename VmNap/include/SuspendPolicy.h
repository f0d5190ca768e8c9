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
    bool dryRun = false;             // say what would be done, change nothing
    bool powerOffHost = false;       // power the host off once the suspend is done (-poweroff)
};

// The VMs in the order a run handles them, and the ones it leaves alone.
struct VmOrder {
    std::vector<VirtualMachineServer*> handled;
    std::vector<VirtualMachineServer*> skipped;
};

// Every VM not named by -last or -skip in list order, then those of -last in
// their order; the -skip ones apart. False, with the entry in `unmatched`,
// when an entry names no VM of the host.
bool OrderVms(const std::vector<VirtualMachineServer*>& listed, const SuspendPolicy& policy,
              VmOrder* order, std::string* unmatched);

// Splits "a,b,c" into its entries; empty entries are dropped.
std::vector<std::string> SplitVmList(const std::string& list);

}  // namespace SshSrv

#endif
