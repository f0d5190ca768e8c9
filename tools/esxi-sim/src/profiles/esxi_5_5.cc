// ESXi 5.5 Update 1, the hosts VmNap was first written for.
//
// Sources:
// - prompt "~ # ", the "vim-cmd vmsvc/getallvms" layout (rows ending in 14 blanks) and the build
//   "VMware ESXi 5.5.0 build-1623387": elatov/elatov.github.io,
//   _posts/2014-06-07-esxi-patch-for-heartbleed.md;
// - banner: see banners.cc;
// - guests and hardware versions: the same post (rhel6_64Guest, windows7Server64Guest, vmx-08),
//   lrivallain/vuptime (otherLinuxGuest, vmx-10), a 5.x fixture of dropje86/esxpy (debian6_64Guest);
// - refused power operations: the progress line, then the fault's dump, as apache/vcl's
//   managementnode/lib/VCL/Module/Provisioning/VMware/VIM_SSH.pm records it for ESXi 4.x and 5.x;
// - datastore speed (100 MB/s written, 150 read) and the examples' memory: round figures for the local
//   spinning-disk arrays and the VMs of the time, a model rather than a measurement (README, "Datastore time").
#include "profiles/profiles.h"

namespace esxisim {

const VersionProfile kEsxi55 = {
    "5.5",
    PromptStyle::kBusybox,
    kClassicBanner,
    "5.5.0",
    "1623387",
    0,
    RefusalStyle::kFaultDump,
    100,
    150,
    {
        {"web", "rhel6_64Guest", "vmx-08", 2048},
        {"file server", "windows7Server64Guest", "vmx-08", 4096},
        {"mail relay", "debian6_64Guest", "vmx-09", 1024},
        {"build", "otherLinuxGuest", "vmx-10", 4096},
    },
};

}  // namespace esxisim
