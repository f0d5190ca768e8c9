#include "example_vms.h"

#include <string>

namespace esxisim {

std::vector<VmState> ExampleVms(const VersionProfile& profile, int count, PowerState power) {
    std::vector<VmState> vms;
    for (int n = 1; n <= count && !profile.examples.empty(); ++n) {
        const ExampleVm& example = profile.examples[static_cast<size_t>(n - 1) % profile.examples.size()];
        VmState vm;
        vm.id = std::to_string(n);
        vm.name = std::string(example.name) + " " + vm.id;
        vm.file = "[datastore1] " + vm.name + "/" + vm.name + ".vmx";
        vm.guest_os = example.guest_os;
        vm.version = example.hardware;
        vm.power = power;
        vms.push_back(vm);
    }
    return vms;
}

std::vector<VmState> SizedExampleVms(const VersionProfile& profile, int count, PowerState power) {
    std::vector<VmState> vms = ExampleVms(profile, count, power);
    for (size_t i = 0; i < vms.size(); ++i) vms[i].memory_mb = profile.examples[i % profile.examples.size()].memory_mb;
    return vms;
}

}  // namespace esxisim
