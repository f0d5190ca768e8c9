#include "VmPick.h"

#include <map>

namespace SshSrv {

namespace {

struct GroupLoad {
    size_t inFlight = 0;
    size_t waiting = 0;
    size_t done = 0;
    double doneSeconds = 0;
};

struct Loads {
    std::map<size_t, GroupLoad> group;
    double meanSeconds = 1;  // of every VM done, 1 when none is

    // What is left to do on the group, for each of its VMs in flight and the one it would start.
    double LeftPerWorker(const GroupLoad& load) const {
        double mean = load.done ? load.doneSeconds / static_cast<double>(load.done) : meanSeconds;
        return static_cast<double>(load.waiting) * mean / static_cast<double>(load.inFlight + 1);
    }

    // `a` is a better group to start a VM on than `b`.
    bool Better(const GroupLoad& a, const GroupLoad& b) const {
        if ((a.inFlight == 0) != (b.inFlight == 0)) return a.inFlight == 0;
        double left_a = LeftPerWorker(a), left_b = LeftPerWorker(b);
        if (left_a != left_b) return left_a > left_b;
        if (a.inFlight != b.inFlight) return a.inFlight < b.inFlight;
        return a.waiting > b.waiting;
    }
};

Loads Count(const std::vector<size_t>& group, const std::vector<VmState>& state,
            const std::vector<double>& seconds) {
    Loads loads;
    size_t done = 0;
    double doneSeconds = 0;
    for (size_t vm = 0; vm < state.size() && vm < group.size(); ++vm) {
        GroupLoad& load = loads.group[group[vm]];
        if (state[vm] == VmState::kInFlight) ++load.inFlight;
        if (state[vm] == VmState::kWaiting) ++load.waiting;
        if (state[vm] != VmState::kDone) continue;
        double took = vm < seconds.size() ? seconds[vm] : 1;
        ++load.done;
        load.doneSeconds += took;
        ++done;
        doneSeconds += took;
    }
    if (done > 0 && doneSeconds > 0) loads.meanSeconds = doneSeconds / static_cast<double>(done);
    return loads;
}

}  // namespace

std::vector<size_t> DatastoreGroups(const std::vector<std::string>& datastores) {
    std::map<std::string, size_t> named;
    std::vector<size_t> group;
    size_t next = 0;
    for (const std::string& name : datastores) {
        if (name.empty()) {
            group.push_back(next++);
            continue;
        }
        auto found = named.emplace(name, next);
        if (found.second) ++next;
        group.push_back(found.first->second);
    }
    return group;
}

size_t PickNextVm(const std::vector<size_t>& group, const std::vector<VmState>& state,
                  const std::vector<double>& seconds) {
    Loads loads = Count(group, state, seconds);
    size_t best = state.size();
    for (size_t vm = 0; vm < state.size() && vm < group.size(); ++vm) {
        if (state[vm] != VmState::kWaiting) continue;
        if (best == state.size() || loads.Better(loads.group[group[vm]], loads.group[group[best]])) best = vm;
    }
    return best;
}

size_t PickNextVm(const std::vector<size_t>& group, const std::vector<VmState>& state) {
    return PickNextVm(group, state, std::vector<double>());
}

}  // namespace SshSrv
