// esxi-sim: a simulated VMware ESXi host shell, for use as the login shell of a test account. The state
// file says which ESXi version it plays (5.5 unless it says otherwise).
//
//   esxi-sim [--state FILE]              interactive shell (the version's banner and prompt)
//   esxi-sim [--state FILE] -c COMMAND   runs one command line, as sshd does for exec requests
#include <iostream>
#include <string>

#include "command_line.h"
#include "shell.h"
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

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseOptions(argc, argv, &options)) {
        std::cerr << kUsage;
        return kUsageStatus;
    }
    if (options.state_path.empty()) options.state_path = esxisim::DefaultStatePath();
    esxisim::StateStore store(options.state_path);
    if (!options.has_command) return esxisim::RunInteractiveShell(store, std::cin, std::cout);
    int status = esxisim::RunCommandLine(options.command, store, std::cout);
    std::cout.flush();
    return status;
}
