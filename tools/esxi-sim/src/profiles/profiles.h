// The version profiles of the simulated host, one file each, and the login banners they share.
#ifndef ESXI_SIM_PROFILES_PROFILES_H
#define ESXI_SIM_PROFILES_PROFILES_H

#include "version_profile.h"

namespace esxisim {

extern const VersionProfile kEsxi55;
extern const VersionProfile kEsxi67;
extern const VersionProfile kEsxi70;
extern const VersionProfile kEsxi80;

// ESXi 5.x and 6.0: three paragraphs.
extern const char kClassicBanner[];
// ESXi 6.5 to 8.0 Update 2: the "WARNING: All commands run on the ESXi shell are logged" paragraph added.
extern const char kLoggedShellBanner[];
// ESXi 8.0 Update 3: as above, with the automation tools paragraph reworded.
extern const char kAutomationToolsBanner[];

}  // namespace esxisim

#endif
