// ESXi 6.7 Update 1.
//
// Sources:
// - prompt "[root@HOST:~] " and "VMware ESXi 6.7.0 build-10302608": Chinese vSphere 6 notes found by
//   public code search ("[root@localhost:~] vmware -v");
// - banner: see banners.cc (kLoggedShellBanner);
// - the "vim-cmd vmsvc/getallvms" layout is the one of 5.x (rows padded to the Annotation title, 14
//   blanks): ESXi 6.5.0 build-6765664 listing with "[root@localhost:/vmfs] " in a public notes file
//   ("vmware esxi unregister invalid vm", 2017; trailing blanks trimmed there), elatov/elatov.github.io
//   _posts/2018-04-13-run-script-before-shutdown-with-vmware-tools.md (vmx-13);
// - guests and hardware versions: windows9Server64Guest, centos7_64Guest and vmx-13/vmx-14 as vSphere 6.7
//   hosts list them in the same sources;
// - refused power operations: the progress line, then "Power on failed" (or "Suspend failed") alone, as
//   apache/vcl's VIM_SSH.pm records it for ESXi 6.0 and 6.5; nothing was found for 6.7, taken to print as 6.5;
// - datastore speed (250 MB/s written, 400 read) and the examples' memory: round figures for the SAS arrays
//   and first SSDs of the time, a model rather than a measurement (README, "Datastore time").
#include "profiles/profiles.h"

namespace esxisim {

const VersionProfile kEsxi67 = {
    "6.7",
    PromptStyle::kBracket,
    kLoggedShellBanner,
    "6.7.0",
    "10302608",
    0,
    RefusalStyle::kFailedLine,
    250,
    400,
    {
        {"web", "centos7_64Guest", "vmx-14", 4096},
        {"file server", "windows9Server64Guest", "vmx-14", 8192},
        {"db", "rhel7_64Guest", "vmx-13", 16384},
        {"ubuntu desktop", "ubuntu64Guest", "vmx-13", 4096},
    },
};

}  // namespace esxisim
