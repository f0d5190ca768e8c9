#include "host_clock.h"

#include <time.h>

namespace esxisim {

namespace {

void SettleGuestShutdown(VmState* vm, double now) {
    if (vm->guest_shutdown_at <= 0 || now < vm->guest_shutdown_at) return;
    vm->SetPower(vm->power == PowerState::kOn ? PowerState::kOff : vm->power);
}

}  // namespace

double EpochNow() {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void SettleHost(HostState* host, double now) {
    for (VmState& vm : host->vms) SettleGuestShutdown(&vm, now);
}

}  // namespace esxisim
