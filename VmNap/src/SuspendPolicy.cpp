#include "SuspendPolicy.h"

#include <algorithm>
#include <sstream>

#include "SshServer.h"

namespace SshSrv {

namespace {

bool Names(const std::string& entry, const VirtualMachineServer* vm) {
    return entry == vm->GetId() || entry == vm->GetName();
}

bool NamedIn(const std::vector<std::string>& entries, const VirtualMachineServer* vm) {
    return std::any_of(entries.begin(), entries.end(),
                       [vm](const std::string& e) { return Names(e, vm); });
}

// The first entry that names none of `listed`; empty when all do.
std::string FirstUnmatched(const std::vector<std::string>& entries,
                           const std::vector<VirtualMachineServer*>& listed) {
    for (const std::string& entry : entries) {
        bool found = std::any_of(listed.begin(), listed.end(),
                                 [&entry](const VirtualMachineServer* vm) { return Names(entry, vm); });
        if (!found) return entry;
    }
    return std::string();
}

}  // namespace

bool ParseOnRefusal(const std::string& word, OnRefusal* policy) {
    if (word == "stop") *policy = OnRefusal::kStop;
    else if (word == "skip") *policy = OnRefusal::kSkip;
    else if (word == "shutdown") *policy = OnRefusal::kShutdown;
    else if (word == "poweroff") *policy = OnRefusal::kPowerOff;
    else return false;
    return true;
}

std::vector<std::string> SplitVmList(const std::string& list) {
    std::vector<std::string> entries;
    std::istringstream in(list);
    for (std::string entry; std::getline(in, entry, ',');)
        if (!entry.empty()) entries.push_back(entry);
    return entries;
}

bool OrderVms(const std::vector<VirtualMachineServer*>& listed, const SuspendPolicy& policy,
              VmOrder* order, std::string* unmatched) {
    *unmatched = FirstUnmatched(policy.skip, listed);
    if (unmatched->empty()) *unmatched = FirstUnmatched(policy.last, listed);
    if (!unmatched->empty()) return false;
    order->handled.clear();
    order->skipped.clear();
    order->self = nullptr;
    VirtualMachineServer* self = nullptr;
    if (!policy.self.empty() && FindSelfVm(listed, policy.self, &self) == SelfMatch::kOne &&
        !NamedIn(policy.skip, self))
        order->self = self;
    for (VirtualMachineServer* vm : listed) {
        if (NamedIn(policy.skip, vm)) order->skipped.push_back(vm);
        else if (vm != order->self && !NamedIn(policy.last, vm)) order->handled.push_back(vm);
    }
    order->lastFrom = order->handled.size();
    for (const std::string& entry : policy.last)
        for (VirtualMachineServer* vm : listed)
            if (Names(entry, vm) && !NamedIn(policy.skip, vm) && vm != order->self &&
                std::find(order->handled.begin(), order->handled.end(), vm) == order->handled.end())
                order->handled.push_back(vm);
    return true;
}

SelfMatch FindSelfVm(const std::vector<VirtualMachineServer*>& listed, const std::string& entry,
                     VirtualMachineServer** vm) {
    size_t found = 0;
    for (VirtualMachineServer* candidate : listed) {
        if (!Names(entry, candidate)) continue;
        if (found++ == 0) *vm = candidate;
    }
    if (found == 0) return SelfMatch::kNone;
    return found == 1 ? SelfMatch::kOne : SelfMatch::kSeveral;
}

}  // namespace SshSrv
