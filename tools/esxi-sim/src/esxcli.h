// The host's esxcli, as far as a power cycle needs it: "system shutdown poweroff" (the host goes off after
// its delay, maintenance mode required), "system maintenanceMode get", and the listing of "system shutdown".
#ifndef ESXI_SIM_ESXCLI_H
#define ESXI_SIM_ESXCLI_H

#include <ostream>
#include <string>
#include <vector>

#include "state_store.h"

namespace esxisim {

// Runs "esxcli ARGS..." against the host in `store`. Returns the exit status.
int RunEsxcli(const std::vector<std::string>& args, const StateStore& store, std::ostream& out);

}  // namespace esxisim

#endif
