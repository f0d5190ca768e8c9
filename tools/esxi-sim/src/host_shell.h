// Busybox ash as the simulated host's shell: its environment, and its start as the interactive shell of a
// login or for the one command of an exec request.
//
// Its PATH is the host's bin directory alone (host_files.h), ESXI_SIM_STATE names the state file (absolute),
// so the host's programs find the host from any directory; the prompt is the host's, through PS1.
#ifndef ESXI_SIM_HOST_SHELL_H
#define ESXI_SIM_HOST_SHELL_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace esxisim {

struct HostShell {
    std::string busybox;     // the executable
    std::string bin_dir;     // the whole PATH
    std::string rc_path;     // ENV of the interactive shell
    std::string state_path;  // absolute
    std::string prompt;      // printed as it is
};

// Finds busybox and the host files beside this executable (/proc/self/exe). False with `error` set when
// one is missing.
bool FindHostShell(const std::string& state_path, const std::string& prompt, HostShell* shell, std::string* error);

// This process's environment with PATH, ENV, PS1 and the simulator's variables set for `shell`.
std::vector<std::string> ShellEnvironment(const HostShell& shell);

// Starts "sh -i +m" (interactive, no job control) reading from `input` and writing its standard output and
// error to `output`. Returns its pid, or -1.
pid_t StartInteractiveShell(const HostShell& shell, int input, int output);

// Whether this process runs under the interactive shell of a login (whose prompt it was given), not under
// an exec request's.
bool InLoginSession();

// Replaces this process by "sh -c COMMAND"; returns only when that fails.
void ExecShellCommand(const HostShell& shell, const std::string& command);

}  // namespace esxisim

#endif
