// The line-based text form of a HostState (the simulator's state file).
//
// One "key value" pair per line; the value is everything after the first blank, kept as it is. Lines that
// are empty or start with '#' are ignored. "vm ID" starts a machine; the machine keys that follow belong to
// it. See README.md for the list of keys.
#ifndef ESXI_SIM_STATE_TEXT_H
#define ESXI_SIM_STATE_TEXT_H

#include <string>

#include "host_state.h"

namespace esxisim {

// Fills `host` from `text`. On a bad line returns false and says which line and why in `error`.
bool ParseState(const std::string& text, HostState* host, std::string* error);

// The text that ParseState reads back into an equal HostState.
std::string FormatState(const HostState& host);

}  // namespace esxisim

#endif
