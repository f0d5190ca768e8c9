// Hosts full of VMs of the kinds a version's hosts typically run, for tests and the demo.
#ifndef ESXI_SIM_EXAMPLE_VMS_H
#define ESXI_SIM_EXAMPLE_VMS_H

#include <vector>

#include "host_state.h"

namespace esxisim {

// `count` VMs with ids 1 to `count`, all in `power`: VM N is the profile's example (N - 1) modulo their
// number, named "NAME N" (so most names hold a blank), with the file "[datastore1] NAME N/NAME N.vmx".
// Their memory is 0, so that suspends and resumes take no time (datastore_model.h).
std::vector<VmState> ExampleVms(const VersionProfile& profile, int count, PowerState power);

// The same VMs with the memory such VMs typically have: suspends and resumes take datastore time.
std::vector<VmState> SizedExampleVms(const VersionProfile& profile, int count, PowerState power);

}  // namespace esxisim

#endif
