// A host that goes silent in the middle of a reply: for the vim-cmd paths named by the state file's "stall"
// keys, the command runs as usual but only the first half of what it printed reaches the client; then the
// command stays silent for the host's stall_seconds and ends with status 1, the rest never printed.
#ifndef ESXI_SIM_STALLED_REPLY_H
#define ESXI_SIM_STALLED_REPLY_H

#include <ostream>
#include <string>
#include <vector>

#include "host_state.h"

namespace esxisim {

// The command path of "vim-cmd ARGS...": ARGS[0] without a leading "/" ("vmsvc/getallvms"), or "/" for the
// bare vim-cmd and "vim-cmd /". Stall keys are read the same way.
std::string CommandPath(const std::vector<std::string>& args);

// Whether the host stalls the replies of `path`.
bool IsStalled(const HostState& host, const std::string& path);

// Prints the first half of `reply` (rounded down, in bytes), then sleeps `seconds`. Returns 1.
int StallReply(const std::string& reply, int seconds, std::ostream& out);

}  // namespace esxisim

#endif
