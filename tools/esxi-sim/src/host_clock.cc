#include "host_clock.h"

#include <time.h>

namespace esxisim {

namespace {

void SettleGuestShutdown(VmState* vm, double now) {
    if (vm->guest_shutdown_at <= 0 || now < vm->guest_shutdown_at) return;
    vm->SetPower(vm->power == PowerState::kOn ? PowerState::kOff : vm->power);
}

void ForgetPassed(double* moment, double now) {
    if (*moment > 0 && now >= *moment) *moment = 0;
}

}  // namespace

double EpochNow() {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void SettleHost(HostState* host, double now) {
    for (VmState& vm : host->vms) SettleGuestShutdown(&vm, now);
    if (host->poweroff_at > 0 && now >= host->poweroff_at) CutPower(host);
    ForgetPassed(&host->boot_ssh_at, now);
    ForgetPassed(&host->boot_hostd_at, now);
}

void CutPower(HostState* host) {
    host->powered_off = true;
    host->poweroff_at = 0;
    for (VmState& vm : host->vms) vm.SetPower(vm.power == PowerState::kOn ? PowerState::kOff : vm.power);
}

bool AcceptsLogins(const HostState& host, double now) {
    return !host.powered_off && (host.boot_ssh_at <= 0 || now >= host.boot_ssh_at);
}

bool HostdAnswers(const HostState& host, double now) {
    return !host.powered_off && (host.boot_hostd_at <= 0 || now >= host.boot_hostd_at);
}

}  // namespace esxisim
