// ESXi 7.0 Update 3.
//
// Sources:
// - "[root@kuiper1:~] vmware -v" / "VMware ESXi 7.0.3 build-20328353": public ESXi update notes found by
//   public code search;
// - banner: see banners.cc (kLoggedShellBanner);
// - the "vim-cmd vmsvc/getallvms" layout: a Go test of an ESXi tool (public code search; the table was
//   "captured from a real ESXi 7.0 Update 3 host", names replaced, "spacing, trailing blanks and line
//   structure kept"). Its Annotation column is 216 wide (the title "Annotation" starts 103 blanks after
//   the column separator), because of a long multi-paragraph note an appliance image ships with, so every
//   row without a note ends in about 220 blanks. The profile prints every table with that column width at
//   least, as such a host does: 14 VMs make the table longer than 4095 bytes.
// - guests and hardware versions: the same capture (windows2019srv_64Guest, windows8Server64Guest,
//   vmwarePhoton64Guest, vmx-17), vmx-19 as listed for 7.0 U2 hosts;
// - refused power operations: "Power on failed: " and the fault object, as an ESXi 9.0 transcript found by
//   public code search shows it ("Power on failed: (vim.fault.GenericVmConfigFault) {"); no 7.0 or 8.0
//   refusal was found, so both are taken to print as 9.0 (README, "Choices where real output is unknown");
// - datastore speed (450 MB/s written, 500 read): round figures for SATA SSDs; the examples' memory: 12 GB for
//   the appliance (the smallest vCenter appliance's size), round figures for the others; a model rather than
//   a measurement (README, "Datastore time").
#include "profiles/profiles.h"

namespace esxisim {

const VersionProfile kEsxi70 = {
    "7.0",
    PromptStyle::kBracket,
    kLoggedShellBanner,
    "7.0.3",
    "20328353",
    216,
    RefusalStyle::kFailedWithFault,
    450,
    500,
    {
        {"web", "centos8_64Guest", "vmx-19", 4096},
        {"file server", "windows2019srv_64Guest", "vmx-17", 8192},
        {"photon appliance", "vmwarePhoton64Guest", "vmx-13", 12288},
        {"terminal server", "windows8Server64Guest", "vmx-19", 16384},
    },
};

}  // namespace esxisim
