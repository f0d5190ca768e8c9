#include "VmRunner.h"

#include <mutex>
#include <thread>

#include "BootWait.h"
#include "StopRequest.h"
#include "VmPick.h"
#include "kel-tools-trace.h"

namespace SshSrv {

namespace {

const char* const kNoThread = "worker %zu not started, %zu work on\n";

// The queue and what came of each VM, shared by the workers.
class Queue {
public:
    Queue(const std::vector<size_t>& groups, VmWorkers& work)
        : count_(groups.size()), groups_(groups), state_(groups.size(), VmState::kWaiting),
          started_(groups.size(), 0), seconds_(groups.size(), 0), work_(work) {
        summary_.started.assign(count_, false);
        summary_.outcomes.assign(count_, VmOutcome{0, false});
    }

    // The next VM for a worker; false when none may start any more.
    bool Take(size_t* vm) {
        std::lock_guard<std::mutex> guard(lock_);
        if (taken_ >= count_ || ended_) return false;
        if (work_.StopAsked()) {
            summary_.stopped = true;
            return false;
        }
        *vm = PickNextVm(groups_, state_, seconds_);
        if (*vm >= count_) return false;
        ++taken_;
        state_[*vm] = VmState::kInFlight;
        started_[*vm] = clock_.Now();
        summary_.started[*vm] = true;
        summary_.startOrder.push_back(*vm);
        return true;
    }

    // Some VM is still waiting (worth opening a session for).
    bool Waiting() {
        std::lock_guard<std::mutex> guard(lock_);
        return taken_ < count_ && !ended_;
    }

    void Record(size_t vm, const VmOutcome& outcome) {
        std::lock_guard<std::mutex> guard(lock_);
        summary_.outcomes[vm] = outcome;
        state_[vm] = VmState::kDone;
        seconds_[vm] = clock_.Now() - started_[vm];
        if (outcome.endsRun) ended_ = true;
    }

    void Joined() {
        std::lock_guard<std::mutex> guard(lock_);
        ++summary_.workers;
    }

    VmRunSummary& Summary() { return summary_; }

private:
    std::mutex lock_;
    size_t count_;
    std::vector<size_t> groups_;
    std::vector<VmState> state_;
    BootWait::Clock clock_;
    std::vector<double> started_;  // clock_ seconds, by VM
    std::vector<double> seconds_;  // how long each done VM took
    size_t taken_ = 0;
    bool ended_ = false;
    VmWorkers& work_;
    VmRunSummary summary_;
};

void Drain(Queue& queue, VmWorkers& work, size_t worker) {
    queue.Joined();
    size_t vm = 0;
    while (queue.Take(&vm)) queue.Record(vm, work.Run(vm, worker));
}

// A worker above 0: opens its session only while VMs wait, and closes it at the end.
void Extra(Queue& queue, VmWorkers& work, size_t worker) {
    if (!queue.Waiting() || !work.Open(worker)) return;
    Drain(queue, work, worker);
    work.Close(worker);
}

}  // namespace

bool VmWorkers::StopAsked() const { return StopRequest::Requested(); }

size_t VmRunSummary::FirstEnding() const {
    for (size_t vm : startOrder)
        if (outcomes[vm].endsRun) return vm;
    return started.size();
}

VmRunSummary RunVms(size_t count, size_t workers, VmWorkers& work) {
    std::vector<size_t> ownGroups(count);
    for (size_t vm = 0; vm < count; ++vm) ownGroups[vm] = vm;
    return RunVmsByGroup(ownGroups, workers, work);
}

VmRunSummary RunVmsByGroup(const std::vector<size_t>& groups, size_t workers, VmWorkers& work) {
    Queue queue(groups, work);
    std::vector<std::thread> threads;
    for (size_t worker = 1; worker < workers; ++worker) {
        try {
            threads.emplace_back(Extra, std::ref(queue), std::ref(work), worker);
        } catch (...) {
            kel_trace(TRACE_WARNING, kNoThread, worker, threads.size() + 1);
            break;
        }
    }
    Drain(queue, work, 0);
    for (std::thread& thread : threads) thread.join();
    return queue.Summary();
}

}  // namespace SshSrv
