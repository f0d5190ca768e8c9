// esxi-sim: a simulated VMware ESXi host, for use as the login shell of a test account. The state file says
// which ESXi version it plays (5.5 unless it says otherwise).
//
//   esxi-sim [--state FILE]              interactive session: the version's banner, then busybox ash with
//                                        the version's prompt
//   esxi-sim [--state FILE] -c COMMAND   runs COMMAND with busybox ash, as sshd does for exec requests
//
// Started as vim-cmd, vmware or hostname (the links in its bin directory, host_files.h) it is that program
// of the host, which finds the state file through ESXI_SIM_STATE.
#include <iostream>
#include <string>
#include <vector>

#include "host_programs.h"
#include "login_shell.h"
#include "state_store.h"

namespace {

const char kUsage[] = "usage: esxi-sim [--state FILE] [-c COMMAND]\n";
const int kUsageStatus = 2;

struct Options {
    std::string state_path;
    std::string command;
    bool has_command = false;
};

// Options come in pairs: a flag and its value.
bool ParseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string flag = argv[i];
        if (flag == "--state") {
            options->state_path = argv[i + 1];
        } else if (flag == "-c") {
            options->has_command = true;
            options->command = argv[i + 1];
        } else {
            return false;
        }
    }
    return argc % 2 == 1;
}

// argv[0] without its directory: "vim-cmd" for ".../bin/vim-cmd", "-esxi-sim" for a login shell.
std::string ProgramName(const char* argv0) {
    std::string name = argv0 ? argv0 : "";
    return name.substr(name.rfind('/') + 1);
}

int RunHostProgram(const std::string& name, int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    int status = esxisim::RunHostProgram(name, args, esxisim::StateStore(esxisim::DefaultStatePath()), std::cout);
    std::cout.flush();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    std::string name = ProgramName(argc > 0 ? argv[0] : nullptr);
    if (esxisim::IsHostProgram(name)) return RunHostProgram(name, argc, argv);
    Options options;
    if (!ParseOptions(argc, argv, &options)) {
        std::cerr << kUsage;
        return kUsageStatus;
    }
    if (options.state_path.empty()) options.state_path = esxisim::DefaultStatePath();
    esxisim::StateStore store(options.state_path);
    if (!options.has_command) return esxisim::RunLoginSession(store);
    return esxisim::RunExecRequest(store, options.command);
}
