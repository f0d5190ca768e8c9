// What vim-cmd prints after a power operation's progress line when the host refuses the operation, in the
// words of the host's version (RefusalStyle): ESXi 5.x dumps the fault, 6.x prints "Power on failed" alone,
// later hosts put the fault after "Power on failed: ".
#ifndef ESXI_SIM_POWER_REFUSALS_H
#define ESXI_SIM_POWER_REFUSALS_H

#include <string>

#include "version_profile.h"

namespace esxisim {

// power.on of a VM the host will not start (refuse_power_on).
std::string PowerOnRefused(const VersionProfile& profile);

// power.suspend of a VM that cannot be suspended (passthrough: a PCI passthrough device).
std::string SuspendRefused(const VersionProfile& profile);

}  // namespace esxisim

#endif
