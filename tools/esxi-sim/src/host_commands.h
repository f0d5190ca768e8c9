// vim-cmd hostsvc/...: the host summary and maintenance mode.
#ifndef ESXI_SIM_HOST_COMMANDS_H
#define ESXI_SIM_HOST_COMMANDS_H

#include <ostream>
#include <string>

#include "state_store.h"

namespace esxisim {

// Runs the hostsvc command `name` ("hostsummary", "maintenance_mode_enter", "maintenance_mode_exit").
// Returns false when `name` is not one of them.
bool RunHostCommand(const std::string& name, const StateStore& store, std::ostream& out, int* status);

// The "vim-cmd hostsvc/hostsummary" dump of `host`.
std::string FormatHostSummary(const HostState& host);

}  // namespace esxisim

#endif
