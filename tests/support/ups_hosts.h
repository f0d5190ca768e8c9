// The simulated hosts of the UPS examples' tests (contrib/nut, contrib/apcupsd): web01 runs, backup is off;
// the state files before the power fails, once suspended, and once resumed.
#ifndef VMNAP_TEST_SUPPORT_UPS_HOSTS_H
#define VMNAP_TEST_SUPPORT_UPS_HOSTS_H

#include <string>

namespace upshosts {

std::string HostBefore(const std::string& name);
std::string HostSuspended(const std::string& name);
std::string HostResumed(const std::string& name);

// The same with web01 taking a few seconds to suspend, so that a suspend_vms is sure to be running when the
// next event comes.
const int kSlowSuspendSeconds = 5;
std::string SlowHostBefore(const std::string& name);
std::string SlowHostSuspended(const std::string& name);
std::string SlowHostResumed(const std::string& name);

}  // namespace upshosts

#endif
