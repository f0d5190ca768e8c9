#include "power_on_when_suspended.h"

#include <chrono>

#include "host_state.h"

PowerOnWhenSuspended::PowerOnWhenSuspended(const std::string& state_path, const std::string& trigger_id,
                                           const std::string& vm_id)
    : store_(state_path), thread_([=] { Watch(trigger_id, vm_id); }) {}

PowerOnWhenSuspended::~PowerOnWhenSuspended() {
    stop_ = true;
    thread_.join();
}

void PowerOnWhenSuspended::Watch(const std::string& trigger_id, const std::string& vm_id) {
    for (std::string error; !stop_ && !fired_; std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
        store_.Update(
            [&](esxisim::HostState* host) {
                esxisim::VmState* trigger = host->FindVm(trigger_id);
                if (!trigger || trigger->power != esxisim::PowerState::kSuspended) return;
                host->FindVm(vm_id)->power = esxisim::PowerState::kOn;
                fired_ = true;
            },
            &error);
    }
}
