// The text vim-cmd prints when the host refuses an operation: a dump of the vim fault object.
#ifndef ESXI_SIM_FAULT_DUMP_H
#define ESXI_SIM_FAULT_DUMP_H

#include <string>

#include "host_state.h"

namespace esxisim {

// vim.fault.NotFound for a VM id the host does not know.
std::string NotFoundFault(const std::string& vm_id);

// vim.fault.InvalidPowerState: the VM is already in (or cannot leave) `existing`.
std::string InvalidPowerStateFault(PowerState requested, PowerState existing);

// vim.fault.InvalidState: the host or VM refuses the operation in its current state.
std::string InvalidStateFault();

}  // namespace esxisim

#endif
