#include "ups_hosts.h"

#include "simulated_host.h"

namespace upshosts {

using simulated::Host;
using simulated::Vm;

namespace {

std::string Web01(const std::string& power, int suspend_seconds) {
    return Vm("1", "web01", power, "no", suspend_seconds) + Vm("2", "backup", "off");
}

}  // namespace

std::string HostBefore(const std::string& name) { return Host("no", 1, "busybox", name) + Web01("on", 0); }

std::string HostSuspended(const std::string& name) {
    return Host("yes", 2, "busybox", name) + Web01("suspended", 0);
}

std::string HostResumed(const std::string& name) { return Host("no", 3, "busybox", name) + Web01("on", 0); }

std::string SlowHostBefore(const std::string& name) {
    return Host("no", 1, "busybox", name) + Web01("on", kSlowSuspendSeconds);
}

std::string SlowHostSuspended(const std::string& name) {
    return Host("yes", 2, "busybox", name) + Web01("suspended", kSlowSuspendSeconds);
}

std::string SlowHostResumed(const std::string& name) {
    return Host("no", 3, "busybox", name) + Web01("on", kSlowSuspendSeconds);
}

}  // namespace upshosts
