// ESXi 8.0 Update 3, also the free hypervisor.
//
// Sources:
// - banner and prompt "[root@server:~] ", build 24022510 (image profile ESXi-8.0U3-24022510-standard):
//   wporter.org (see banners.cc, kAutomationToolsBanner);
// - the "vmware -v" line form "VMware ESXi 8.0.3 build-NNNNNNNN": Japanese ESXi 8.0 patching notes found by
//   public code search ("[root@localhost:~] vmware -v");
// - "vim-cmd vmsvc/getallvms": an ESXi 8 host with a vmx-21 VM (centos7_64Guest, "[ESXI-NFS-Share1]
//   rocky8.5/rocky8.5.vmx") in public migration notes found by public code search, and
//   jenkinsci/vsphere-cloud-plugin VimCmdParsersTest.java ("What an ESXi 8 host printed", centos9_64Guest,
//   vmx-20). Both dropped the trailing blanks, so the Annotation column width is taken from the 7.0 Update 3
//   capture (see esxi_7_0.cc): rows end in long runs of blanks, as on 7.0;
// - refused power operations: as 7.0 (see esxi_7_0.cc), the form of an ESXi 9.0 transcript;
// - datastore speed (1000 MB/s written, 2000 read) and the examples' memory: round figures for NVMe drives
//   and the VMs of the time, a model rather than a measurement (README, "Datastore time").
#include "profiles/profiles.h"

namespace esxisim {

const VersionProfile kEsxi80 = {
    "8.0",
    PromptStyle::kBracket,
    kAutomationToolsBanner,
    "8.0.3",
    "24022510",
    216,
    RefusalStyle::kFailedWithFault,
    1000,
    2000,
    {
        {"web", "centos9_64Guest", "vmx-20", 8192},
        {"file server", "windows2019srv_64Guest", "vmx-21", 16384},
        {"rocky mirror", "centos7_64Guest", "vmx-21", 4096},
        {"domain controller", "windows2019srvNext_64Guest", "vmx-21", 8192},
    },
};

}  // namespace esxisim
