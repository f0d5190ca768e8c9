#include "power_on_when_suspended.h"

#include <sys/stat.h>

#include <chrono>

#include "host_state.h"

namespace {

ino_t Inode(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

}  // namespace

PowerOnWhileSuspending::PowerOnWhileSuspending(const std::string& state_path, const std::string& trigger_id,
                                               const std::string& vm_id)
    : path_(state_path), store_(state_path), first_inode_(Inode(state_path)),
      thread_([=] { Watch(trigger_id, vm_id); }) {}

PowerOnWhileSuspending::~PowerOnWhileSuspending() {
    stop_ = true;
    thread_.join();
}

void PowerOnWhileSuspending::Watch(const std::string& trigger_id, const std::string& vm_id) {
    for (std::string error; !stop_ && !fired_; std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
        if (Inode(path_) == first_inode_) continue;
        store_.Update(
            [&](esxisim::HostState* host) {
                esxisim::VmState* trigger = host->FindVm(trigger_id);
                if (!trigger || trigger->power != esxisim::PowerState::kOn) return;
                host->FindVm(vm_id)->power = esxisim::PowerState::kOn;
                fired_ = true;
            },
            &error);
    }
}
