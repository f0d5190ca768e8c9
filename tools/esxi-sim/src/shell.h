// The interactive shell of the simulated host: login banner, prompt, one command line at a time.
#ifndef ESXI_SIM_SHELL_H
#define ESXI_SIM_SHELL_H

#include <istream>
#include <ostream>

#include "state_store.h"

namespace esxisim {

// Prints the banner and the prompt of the host's version profile, then runs each line read from `in` until "exit" or the end of the input.
// Writes plain "\n" line ends and never echoes input: under sshd the pseudo-terminal does both.
int RunInteractiveShell(const StateStore& store, std::istream& in, std::ostream& out);

}  // namespace esxisim

#endif
