#include "VmRunner.h"

#include <mutex>
#include <thread>

#include "StopRequest.h"
#include "kel-tools-trace.h"

namespace SshSrv {

namespace {

const char* const kNoThread = "worker %zu not started, %zu work on\n";

// The queue and what came of each VM, shared by the workers.
class Queue {
public:
    Queue(size_t count, VmWorkers& work) : count_(count), work_(work) {
        summary_.started.assign(count, false);
        summary_.outcomes.assign(count, VmOutcome{0, false});
    }

    // The next VM for a worker; false when none may start any more.
    bool Take(size_t* vm) {
        std::lock_guard<std::mutex> guard(lock_);
        if (next_ >= count_ || ended_) return false;
        if (work_.StopAsked()) {
            summary_.stopped = true;
            return false;
        }
        *vm = next_++;
        summary_.started[*vm] = true;
        return true;
    }

    // Some VM is still waiting (worth opening a session for).
    bool Waiting() {
        std::lock_guard<std::mutex> guard(lock_);
        return next_ < count_ && !ended_;
    }

    void Record(size_t vm, const VmOutcome& outcome) {
        std::lock_guard<std::mutex> guard(lock_);
        summary_.outcomes[vm] = outcome;
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
    size_t next_ = 0;
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
    for (size_t vm = 0; vm < started.size(); ++vm)
        if (started[vm] && outcomes[vm].endsRun) return vm;
    return started.size();
}

VmRunSummary RunVms(size_t count, size_t workers, VmWorkers& work) {
    Queue queue(count, work);
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
