// vim-cmd vmsvc/...: the VM table, power states and power operations.
#ifndef ESXI_SIM_VM_COMMANDS_H
#define ESXI_SIM_VM_COMMANDS_H

#include <ostream>
#include <string>
#include <vector>

#include "state_store.h"

namespace esxisim {

// Runs the vmsvc command `name` ("getallvms", "power.getstate", "power.on", "power.off",
// "power.suspend", "power.shutdown") with its arguments. Returns false when `name` is not one of them.
bool RunVmCommand(const std::string& name, const std::vector<std::string>& args, const StateStore& store,
                  std::ostream& out, int* status);

}  // namespace esxisim

#endif
