// What sets the hosts of one ESXi version apart, as far as the simulated shell shows it: the prompt, the
// login banner, the "vmware -v" line (also the product in the host summary), the narrowest Annotation
// column of the VM table, how refused power operations read, the speed of its datastores, and the kind of
// VMs such a host typically runs. Each version is one table in profiles/; adding a version is one new file
// there and one line in version_profile.cc.
#ifndef ESXI_SIM_VERSION_PROFILE_H
#define ESXI_SIM_VERSION_PROFILE_H

#include <cstddef>
#include <string>
#include <vector>

namespace esxisim {

enum class PromptStyle { kVersion, kBusybox, kBracket };  // the version's own, "~ # " or "[root@host:~] "

// How vim-cmd words a power operation the host refuses, after its progress line ("Powering on VM:").
enum class RefusalStyle {
    kFaultDump,        // ESXi 5.x: the fault object's dump
    kFailedLine,       // ESXi 6.x: one line, "Power on failed"
    kFailedWithFault,  // later hosts: "Power on failed: " and the fault object
};

// A VM as a host of the version typically carries it; ExampleVms() numbers them.
struct ExampleVm {
    const char* name;      // may hold blanks
    const char* guest_os;  // guest id, e.g. "windows2019srv_64Guest"
    const char* hardware;  // hardware version, e.g. "vmx-19"
    long memory_mb;        // its memory, as such a VM typically has
};

struct VersionProfile {
    const char* version;               // as written in the state file: "7.0"
    PromptStyle prompt;                // kBusybox or kBracket
    const char* banner;                // printed after an SSH login, before the first prompt
    const char* product_version;       // "7.0.3"
    const char* build;                 // "20328353"
    size_t annotation_width;           // the Annotation column is at least this wide
    RefusalStyle refusals;             // how refusals of power operations read
    long datastore_write_mbps;         // a datastore's speed, as the storage of the time typically has it
    long datastore_read_mbps;
    std::vector<ExampleVm> examples;   // what such a host runs
};

// The profile of `version` ("5.5", "6.7", "7.0", "8.0"); nullptr when there is none.
const VersionProfile* FindProfile(const std::string& version);

// The version a state file without a "version" key describes: "5.5".
const VersionProfile& DefaultProfile();

// Every version there is a profile for, oldest first.
std::vector<std::string> ProfileVersions();

// "VMware ESXi 7.0.3 build-20328353": what "vmware -v" prints, without the line end.
std::string VersionLine(const VersionProfile& profile);

}  // namespace esxisim

#endif
