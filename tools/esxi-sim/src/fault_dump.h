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

// vim.fault.ToolsUnavailable: the guest cannot be asked to shut down without VMware Tools running.
std::string ToolsUnavailableFault();

// A fault of `type` (e.g. "vim.fault.InvalidState") with the message `msg`, as ESXi 5.x dumps it.
std::string FaultDump(const std::string& type, const std::string& msg);

// "FAILED: (TYPE) {", the fault's fields and "}", as later hosts print a refused power operation
// (`failed` is e.g. "Power on failed").
std::string FailedWithFault(const std::string& failed, const std::string& type, const std::string& msg);

// The message of vim.fault.InvalidState.
extern const char kInvalidStateMessage[];

}  // namespace esxisim

#endif
