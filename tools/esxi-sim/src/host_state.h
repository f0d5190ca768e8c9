// The simulated host: its virtual machines, maintenance flag and behaviour switches.
#ifndef ESXI_SIM_HOST_STATE_H
#define ESXI_SIM_HOST_STATE_H

#include <string>
#include <vector>

#include "version_profile.h"

namespace esxisim {

enum class PowerState { kOn, kOff, kSuspended };

enum class OperationKind { kNone, kSuspend, kResume };

// A power operation under way that takes time (timed_operation.h): which, the vim-cmd process that carries
// it out, and once it has come to its datastore transfer, the memory left to move as of a moment.
struct VmOperation {
    OperationKind kind = OperationKind::kNone;
    long pid = 0;
    bool transferring = false;
    double remaining_mb = 0;
    double as_of = 0;  // epoch seconds
};

// A datastore's speed for the memory of suspends (write) and resumes (read), in MB/s.
struct Datastore {
    std::string name;
    long write_mbps = 0;
    long read_mbps = 0;
};

struct VmState {
    std::string id;
    std::string name;
    std::string file;
    std::string guest_os;
    std::string version;
    std::string note;              // raw annotation; may hold line feeds
    PowerState power = PowerState::kOff;
    bool refuse_suspend = false;   // power.suspend fails with a fault dump
    int suspend_seconds = 0;       // delay between "Suspending VM:" and the prompt
    bool refuse_power_on = false;  // power.on fails with the version's refusal
    bool tools = true;             // VMware Tools run in the guest: power.shutdown can ask it to shut down
    bool passthrough = false;      // a PCI passthrough device: the VM cannot be suspended
    int shutdown_seconds = 0;      // how long the guest takes to shut down
    double guest_shutdown_at = 0;  // epoch at which a guest shutdown under way ends; 0: none
    long memory_mb = 0;            // written at a suspend, read at a resume
    std::string datastore;         // where; empty: the one in brackets at the start of `file`
    VmOperation operation;         // a suspend or resume under way

    // Changes the power state; a guest shutdown under way is then over.
    void SetPower(PowerState state);
};

struct HostState {
    std::string hostname = "localhost";
    const VersionProfile* profile = &DefaultProfile();  // the ESXi version the host plays
    PromptStyle prompt = PromptStyle::kVersion;          // kVersion: the profile's prompt
    bool in_maintenance = false;                         // entered only while no VM is powered on
    long task_counter = 1;         // numbers the maintenance task references
    std::vector<VmState> vms;
    std::vector<std::string> invalid_vms;  // ids of VMs getallvms skips, each with a line before the table
    std::vector<std::string> stalls;       // vim-cmd paths ("vmsvc/getallvms", "/") whose reply stops halfway
    int stall_seconds = 600;               // how long a stalled reply stays silent
    bool powered_off = false;              // the host is off: no logins, no commands
    double poweroff_at = 0;                // epoch of a power-off under way (esxcli); 0: none
    double boot_ssh_at = 0;                // epoch until which a booting host refuses logins; 0: none
    double boot_hostd_at = 0;              // epoch until which vim-cmd cannot reach hostd; 0: none
    double booted_at = 0;                  // epoch the host came back on last; 0: up since kLongUpSince
    std::vector<Datastore> datastores;     // speeds; a datastore not named here has the profile's
    int op_pause_seconds = 0;              // what every suspend and resume takes besides its memory
    long max_in_flight = -1;               // most VM operations under way at once; -1: not recorded

    VmState* FindVm(const std::string& id);
    const VmState* FindVm(const std::string& id) const;
    bool AnyVmPoweredOn() const;
};

// Text of a power state as printed by power.getstate: "Powered on", "Powered off", "Suspended".
const char* PowerStateText(PowerState state);

// The prompt the host's shell prints: the profile's, unless the state file chose one.
std::string PromptText(const HostState& host);

}  // namespace esxisim

#endif
