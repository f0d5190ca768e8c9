// The host's vim-cmd utility.
#ifndef ESXI_SIM_VIM_CMD_H
#define ESXI_SIM_VIM_CMD_H

#include <ostream>
#include <string>
#include <vector>

#include "state_store.h"

namespace esxisim {

// Runs "vim-cmd ARGS..." (ARGS without the program name) against the host in `store`. Returns the exit status.
int RunVimCmd(const std::vector<std::string>& args, const StateStore& store, std::ostream& out);

}  // namespace esxisim

#endif
