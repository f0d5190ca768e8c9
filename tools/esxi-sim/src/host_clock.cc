#include "host_clock.h"

#include "datastore_model.h"

#include <time.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>

namespace esxisim {

namespace {

void SettleGuestShutdown(VmState* vm, double now) {
    if (vm->guest_shutdown_at <= 0 || now < vm->guest_shutdown_at) return;
    vm->SetPower(vm->power == PowerState::kOn ? PowerState::kOff : vm->power);
}

// Whether the process `pid` still runs: one that has ended but waits to be reaped does not.
bool ProcessRuns(long pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::stringstream text;
    text << stat.rdbuf();
    std::string line = text.str();
    size_t end_of_name = line.rfind(") ");
    if (end_of_name == std::string::npos || end_of_name + 2 >= line.size()) return false;
    char state = line[end_of_name + 2];
    return state != 'Z' && state != 'X';
}

// An operation whose process has gone ended with it; the VM stays as it was.
void ForgetOrphanedOperation(VmState* vm) {
    if (vm->operation.kind != OperationKind::kNone && !ProcessRuns(vm->operation.pid)) vm->operation = VmOperation();
}

bool HasPassed(double moment, double now) { return moment > 0 && now >= moment; }

// The first of the boot moments that have passed by `now` (one of them has).
double FirstPassed(double ssh_at, double hostd_at, double now) {
    if (!HasPassed(ssh_at, now)) return hostd_at;
    if (!HasPassed(hostd_at, now)) return ssh_at;
    return ssh_at < hostd_at ? ssh_at : hostd_at;
}

void ForgetPassed(double* moment, double now) {
    if (HasPassed(*moment, now)) *moment = 0;
}

}  // namespace

double EpochNow() {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void SettleHost(HostState* host, double now) {
    // Transfers move on to the last whole millisecond, the moment the state file keeps: moved on to the
    // exact moment and written rounded, they would gain up to half a millisecond at every step.
    AdvanceTransfers(host, std::floor(now * 1000) / 1000);
    for (VmState& vm : host->vms) {
        SettleGuestShutdown(&vm, now);
        ForgetOrphanedOperation(&vm);
    }
    if (HasPassed(host->poweroff_at, now)) CutPower(host);
    bool booted = HasPassed(host->boot_ssh_at, now) || HasPassed(host->boot_hostd_at, now);
    if (host->powered_off && booted) {
        host->powered_off = false;
        host->booted_at = FirstPassed(host->boot_ssh_at, host->boot_hostd_at, now);
    }
    ForgetPassed(&host->boot_ssh_at, now);
    ForgetPassed(&host->boot_hostd_at, now);
}

void CutPower(HostState* host) {
    double at = host->poweroff_at;
    host->powered_off = true;
    host->poweroff_at = 0;
    // A boot due before the cut does not bring the host back.
    if (host->boot_ssh_at <= at) host->boot_ssh_at = 0;
    if (host->boot_hostd_at <= at) host->boot_hostd_at = 0;
    for (VmState& vm : host->vms) {
        vm.SetPower(vm.power == PowerState::kOn ? PowerState::kOff : vm.power);
        vm.operation = VmOperation();
    }
}

long long UptimeMicroseconds(const HostState& host, double now) {
    double since = host.booted_at > 0 ? host.booted_at : kLongUpSince;
    double seconds = now > since ? now - since : 0;
    return static_cast<long long>(seconds * 1e6);
}

bool AcceptsLogins(const HostState& host, double now) {
    return !host.powered_off && (host.boot_ssh_at <= 0 || now >= host.boot_ssh_at);
}

bool HostdAnswers(const HostState& host, double now) {
    return !host.powered_off && (host.boot_hostd_at <= 0 || now >= host.boot_hostd_at);
}

}  // namespace esxisim
