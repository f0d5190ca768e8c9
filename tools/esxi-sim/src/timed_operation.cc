#include "timed_operation.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "datastore_model.h"
#include "host_clock.h"
#include "host_shell.h"

namespace esxisim {

namespace {

const double kTickSeconds = 0.1;
const int kEnded = 1;
// A command of a host whose power was cut does not come back. In a login session it stays until the
// session is hung up (the session notices the cut within half a second), at most this long: ending at once
// would let the interactive shell see its job end first (busybox ash then takes its interrupted read for
// the end of its input and exits), which no host shows. Under an exec request it ends at once.
const double kLingerAfterCutSeconds = 5;

double Monotonic() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void Sleep(double seconds) {
    time_t whole = static_cast<time_t>(seconds);
    struct timespec left = {whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

// The VM `id` when it still carries this process's operation `kind`.
VmState* Ours(HostState* host, const std::string& id, OperationKind kind) {
    VmState* vm = host->FindVm(id);
    bool ours = vm && vm->operation.kind == kind && vm->operation.pid == static_cast<long>(getpid());
    return ours ? vm : nullptr;
}

// The operation's record went: when the host's power was cut, waits as its dead command would.
int Ended(const StateStore& store) {
    if (!InLoginSession()) return kEnded;
    double end = Monotonic() + kLingerAfterCutSeconds;
    for (;;) {
        HostState host;
        std::string error;
        if (!store.Read(&host, &error) || !host.powered_off || Monotonic() >= end) return kEnded;
        Sleep(kTickSeconds);
    }
}

// 0 once the pause is over, kEnded when the record went meanwhile, or the state error's status.
int WaitOutPause(const std::string& id, const TimedPlan& plan, const StateStore& store) {
    double end = Monotonic() + plan.pause_seconds;
    for (double left = plan.pause_seconds; left > 0; left = end - Monotonic()) {
        Sleep(std::min(kTickSeconds, left));
        HostState host;
        std::string error;
        if (!store.Read(&host, &error)) return ReportStateError(error);
        if (!Ours(&host, id, plan.kind)) return Ended(store);
    }
    return 0;
}

// One step of the transfer, in one read-modify-write of the state (whose read has moved every transfer on
// to the present, datastore_model.h): the transfer begins, or ends once nothing is left; otherwise how long
// to wait before the next step, at most a tick, so that the share is recomputed as others come and go.
struct TransferStep {
    bool ended = false;
    bool done = false;
    double wait_seconds = 0;

    void Take(HostState* host, const std::string& id, const TimedPlan& plan) {
        VmState* vm = Ours(host, id, plan.kind);
        ended = vm == nullptr;
        if (ended) return;
        VmOperation& operation = vm->operation;
        if (!operation.transferring) {
            operation.transferring = true;
            operation.remaining_mb = static_cast<double>(plan.memory_mb);
            operation.as_of = EpochNow();
        }
        done = operation.remaining_mb <= kTransferDoneMb;
        if (done) return EndOperation(vm, plan.kind);
        wait_seconds = std::min(kTickSeconds, operation.remaining_mb / TransferShare(*host, *vm, plan.kind));
    }
};

int TransferMemory(const std::string& id, const TimedPlan& plan, const StateStore& store) {
    for (;;) {
        TransferStep step;
        std::string error;
        if (!store.Update([&](HostState* host) { step.Take(host, id, plan); }, &error)) {
            return ReportStateError(error);
        }
        if (step.ended) return Ended(store);
        if (step.done) return 0;
        Sleep(step.wait_seconds);
    }
}

int EndWithoutTransfer(const std::string& id, const TimedPlan& plan, const StateStore& store) {
    bool ended = false;
    std::string error;
    bool written = store.Update([&](HostState* host) {
        VmState* vm = Ours(host, id, plan.kind);
        ended = vm == nullptr;
        if (vm) EndOperation(vm, plan.kind);
    }, &error);
    if (!written) return ReportStateError(error);
    return ended ? kEnded : 0;
}

}  // namespace

TimedPlan PlanOperation(const HostState& host, const VmState& vm, OperationKind kind) {
    TimedPlan plan;
    plan.kind = kind;
    plan.pause_seconds = host.op_pause_seconds + (kind == OperationKind::kSuspend ? vm.suspend_seconds : 0);
    plan.memory_mb = vm.memory_mb;
    return plan;
}

void StartOperation(HostState* host, VmState* vm, OperationKind kind, long pid) {
    vm->operation = VmOperation();
    vm->operation.kind = kind;
    vm->operation.pid = pid;
    RecordInFlight(host, OperationsInFlight(*host));
}

void EndOperation(VmState* vm, OperationKind kind) {
    vm->operation = VmOperation();
    if (kind == OperationKind::kSuspend && vm->power == PowerState::kOn) vm->SetPower(PowerState::kSuspended);
    if (kind == OperationKind::kResume && vm->power == PowerState::kSuspended) vm->SetPower(PowerState::kOn);
}

int CompleteOperation(const std::string& id, const TimedPlan& plan, const StateStore& store) {
    int status = WaitOutPause(id, plan, store);
    if (status != 0) return status;
    if (plan.memory_mb > 0) return TransferMemory(id, plan, store);
    return EndWithoutTransfer(id, plan, store);
}

}  // namespace esxisim
