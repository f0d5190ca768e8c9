// The host's own programs in the shell's bin directory: vim-cmd, vmware, hostname and esxcli. The esxi-sim
// executable is each of them, chosen by the name it is started under (argv[0]).
#ifndef ESXI_SIM_HOST_PROGRAMS_H
#define ESXI_SIM_HOST_PROGRAMS_H

#include <ostream>
#include <string>
#include <vector>

#include "state_store.h"

namespace esxisim {

// "vim-cmd", "vmware", "hostname", "esxcli".
const std::vector<std::string>& HostProgramNames();

bool IsHostProgram(const std::string& name);

// Runs the host program `name` with `args` (without the program name) against the host in `store`, printing
// to `out`; state-file errors go to standard error. Returns the exit status. On a host that is powered off
// every program prints nothing and fails (status 1).
int RunHostProgram(const std::string& name, const std::vector<std::string>& args, const StateStore& store,
                   std::ostream& out);

}  // namespace esxisim

#endif
