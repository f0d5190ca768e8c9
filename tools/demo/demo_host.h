// The simulated host the demo starts with, and short readable forms of the host and the list file.
#ifndef VMNAP_DEMO_DEMO_HOST_H
#define VMNAP_DEMO_DEMO_HOST_H

#include <string>

// Three running VMs (one with a two-line note, one whose name has a blank) and one stopped VM, in the
// state-file format of esxi-sim. With a `version` ("7.0"), the host plays that ESXi version (esxi-sim's
// profiles); without one it is the 5.5 host the demo always showed, byte for byte.
std::string DemoHostState(const std::string& version = "");

// "maintenance mode: no" and one line per VM with its id, name and power state, read from the
// simulator's state file; the reason when it cannot be read.
std::string HostSummary(const std::string& state_path);

// True when the host in `state_path` is out of maintenance with every VM in its starting power state.
bool HostIsBackToStart(const std::string& state_path, const std::string& version = "");

// The list file's text with a line break before every VM element and before the end of the list.
std::string WithVmsOnLines(const std::string& xml);

#endif
