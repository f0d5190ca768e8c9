// One line typed into the host's shell: commands joined by "|", where a later stage can be grep.
#ifndef ESXI_SIM_COMMAND_LINE_H
#define ESXI_SIM_COMMAND_LINE_H

#include <ostream>
#include <string>
#include <vector>

#include "state_store.h"

namespace esxisim {

// Words of `text` separated by blanks or tabs.
std::vector<std::string> SplitWords(const std::string& text);

// Runs `line` and prints its output; returns the exit status of the last stage. Known commands:
// vim-cmd, hostname, vmware -v, and grep [-i] PATTERN after a "|". Anything else prints "-sh: NAME: not found".
int RunCommandLine(const std::string& line, const StateStore& store, std::ostream& out);

}  // namespace esxisim

#endif
