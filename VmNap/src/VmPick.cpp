#include "VmPick.h"

#include <map>

namespace SshSrv {

namespace {

struct GroupLoad {
    size_t inFlight = 0;
    size_t waiting = 0;
};

// `a` is a better group to start a VM on than `b`.
bool Better(const GroupLoad& a, const GroupLoad& b) {
    if (a.inFlight != b.inFlight) return a.inFlight < b.inFlight;
    return a.waiting > b.waiting;
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

size_t PickNextVm(const std::vector<size_t>& group, const std::vector<VmState>& state) {
    std::map<size_t, GroupLoad> load;
    for (size_t vm = 0; vm < state.size() && vm < group.size(); ++vm) {
        if (state[vm] == VmState::kInFlight) ++load[group[vm]].inFlight;
        if (state[vm] == VmState::kWaiting) ++load[group[vm]].waiting;
    }
    size_t best = state.size();
    for (size_t vm = 0; vm < state.size() && vm < group.size(); ++vm) {
        if (state[vm] != VmState::kWaiting) continue;
        if (best == state.size() || Better(load[group[vm]], load[group[best]])) best = vm;
    }
    return best;
}

}  // namespace SshSrv
