#include "host_programs.h"

#include <algorithm>

#include "esxcli.h"
#include "host_clock.h"
#include "vim_cmd.h"

namespace esxisim {

namespace {

const char kVimCmd[] = "vim-cmd";
const char kVmware[] = "vmware";
const char kHostname[] = "hostname";
const char kEsxcli[] = "esxcli";
const char kVmwareUsage[] = "usage: vmware -v\n";
const int kNotAHostProgram = 127;
const int kHostIsOff = 1;

int Hostname(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << host.hostname << "\n";
    return 0;
}

// "vmware -v": the product and build of the host's version profile.
int Vmware(const std::vector<std::string>& args, const StateStore& store, std::ostream& out) {
    if (args.size() != 1 || args[0] != "-v") {
        out << kVmwareUsage;
        return 1;
    }
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << VersionLine(*host.profile) << "\n";
    return 0;
}

// A command still running on a host that has lost its power (host_clock.h) does nothing; a host whose
// state cannot be read is taken to be on, and the program reports the state file's error.
bool HostIsOff(const StateStore& store) {
    HostState host;
    std::string error;
    return store.Read(&host, &error) && host.powered_off;
}

}  // namespace

const std::vector<std::string>& HostProgramNames() {
    static const std::vector<std::string> names = {kVimCmd, kVmware, kHostname, kEsxcli};
    return names;
}

bool IsHostProgram(const std::string& name) {
    const std::vector<std::string>& names = HostProgramNames();
    return std::find(names.begin(), names.end(), name) != names.end();
}

int RunHostProgram(const std::string& name, const std::vector<std::string>& args, const StateStore& store,
                   std::ostream& out) {
    if (!IsHostProgram(name)) return kNotAHostProgram;
    if (HostIsOff(store)) return kHostIsOff;
    if (name == kVimCmd) return RunVimCmd(args, store, out);
    if (name == kEsxcli) return RunEsxcli(args, store, out);
    if (name == kVmware) return Vmware(args, store, out);
    if (name == kHostname) return Hostname(store, out);
    return kNotAHostProgram;
}

}  // namespace esxisim
