// The VM keys of the state file (state_text.h): what they set, and how a VM is written back.
#ifndef ESXI_SIM_VM_KEYS_H
#define ESXI_SIM_VM_KEYS_H

#include <ostream>
#include <string>

#include "host_state.h"

namespace esxisim {

// Applies the VM key `key` (not "vm" or "note") to `vm`; false when it is no VM key. `ok` says whether
// `value` was good.
bool ApplyVmKey(const std::string& key, const std::string& value, VmState* vm, bool* ok);

// "vm ID" and the VM's keys: those every state file had always, the others only when not at their default.
void FormatVm(const VmState& vm, std::ostream& out);

}  // namespace esxisim

#endif
