// The host keys of the state file (state_text.h): what they set, and how they are written back.
#ifndef ESXI_SIM_HOST_KEYS_H
#define ESXI_SIM_HOST_KEYS_H

#include <ostream>
#include <string>

#include "host_state.h"

namespace esxisim {

// Applies the host key `key`; false when it is no host key. `ok` says whether `value` was good.
bool ApplyHostKey(const std::string& key, const std::string& value, HostState* host, bool* ok);

// The host keys of `host`: those every state file had always, the others only when not at their default.
void FormatHostKeys(const HostState& host, std::ostream& out);

}  // namespace esxisim

#endif
