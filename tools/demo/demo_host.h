// The simulated host the demo starts with, and short readable forms of the host and the list file.
#ifndef VMNAP_DEMO_DEMO_HOST_H
#define VMNAP_DEMO_DEMO_HOST_H

#include <string>

// Three running VMs (one with a two-line note, one whose name has a blank) and one stopped VM, in the
// state-file format of esxi-sim.
std::string DemoHostState();

// "maintenance mode: no" and one line per VM with its id, name and power state, read from the
// simulator's state file; the reason when it cannot be read.
std::string HostSummary(const std::string& state_path);

// True when the host in `state_path` is out of maintenance with every VM in its starting power state.
bool HostIsBackToStart(const std::string& state_path);

// The list file's text with a line break before every VM element and before the end of the list.
std::string WithVmsOnLines(const std::string& xml);

#endif
