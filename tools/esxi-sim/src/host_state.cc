#include "host_state.h"

namespace esxisim {

void VmState::SetPower(PowerState state) {
    power = state;
    guest_shutdown_at = 0;
}

VmState* HostState::FindVm(const std::string& id) {
    for (VmState& vm : vms) {
        if (vm.id == id) return &vm;
    }
    return nullptr;
}

const VmState* HostState::FindVm(const std::string& id) const {
    return const_cast<HostState*>(this)->FindVm(id);
}

bool HostState::AnyVmPoweredOn() const {
    for (const VmState& vm : vms) {
        if (vm.power == PowerState::kOn) return true;
    }
    return false;
}

const char* PowerStateText(PowerState state) {
    switch (state) {
        case PowerState::kOn: return "Powered on";
        case PowerState::kOff: return "Powered off";
        case PowerState::kSuspended: return "Suspended";
    }
    return "";
}

std::string PromptText(const HostState& host) {
    PromptStyle style = host.prompt == PromptStyle::kVersion ? host.profile->prompt : host.prompt;
    if (style == PromptStyle::kBracket) return "[root@" + host.hostname + ":~] ";
    return "~ # ";
}

}  // namespace esxisim
