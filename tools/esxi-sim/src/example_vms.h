// Hosts full of VMs of the kinds a version's hosts typically run, for tests and the demo.
#ifndef ESXI_SIM_EXAMPLE_VMS_H
#define ESXI_SIM_EXAMPLE_VMS_H

#include <vector>

#include "host_state.h"

namespace esxisim {

// `count` VMs with ids 1 to `count`, all in `power`: VM N is the profile's example (N - 1) modulo their
// number, named "NAME N" (so most names hold a blank), with the file "[datastore1] NAME N/NAME N.vmx".
std::vector<VmState> ExampleVms(const VersionProfile& profile, int count, PowerState power);

}  // namespace esxisim

#endif
