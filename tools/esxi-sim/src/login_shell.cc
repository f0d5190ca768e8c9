#include "login_shell.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>
#include <vector>

#include "host_clock.h"
#include "host_shell.h"
#include "shell_log.h"
#include "shell_relay.h"

namespace esxisim {

namespace {

const int kFailure = 1;
const int kRefused = 1;
const char kPrefix[] = "esxi-sim: ";
const char kPipeFailed[] = "pipe: ";
const char kForkFailed[] = "fork: ";
const char kCannotRun[] = "cannot run ";

// The host as the state file has it; a file that cannot be read is reported and the default host used.
HostState ReadHost(const StateStore& store) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) ReportStateError(error);
    return host;
}

int Report(const std::string& error) {
    std::cerr << kPrefix << error << std::endl;
    return kFailure;
}

// A host that is off or still booting takes no login: the session ends at once, printing nothing, as near
// as a login shell comes to an SSH server that is not there.
bool RefusesLogins(const StateStore& store) {
    HostState host;
    std::string error;
    return store.Read(&host, &error) && !AcceptsLogins(host, EpochNow());
}

// The session of a host that loses its power ends.
bool HostWentOff(const StateStore& store) {
    HostState host;
    std::string error;
    return store.Read(&host, &error) && host.powered_off;
}

// The lines of an exec request's command; an empty command is one empty line.
std::vector<std::string> Lines(const std::string& command) {
    std::vector<std::string> lines;
    std::istringstream in(command);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    if (lines.empty()) lines.push_back("");
    return lines;
}

// Both ends close on exec; the shell gets its ends through dup2.
bool MakePipe(int fds[2]) { return pipe2(fds, O_CLOEXEC) == 0; }

// Keyboard signals go to the whole foreground group: they are for the shell and its commands, not for the
// program between them and the terminal. A write to a shell that has gone is an error, not a signal.
void IgnoreTerminalSignals() {
    for (int signal_number : {SIGINT, SIGQUIT, SIGPIPE}) signal(signal_number, SIG_IGN);
}

}  // namespace

int RunLoginSession(const StateStore& store) {
    if (RefusesLogins(store)) return kRefused;
    HostState host = ReadHost(store);
    std::cout << host.profile->banner << std::flush;
    HostShell shell;
    std::string error;
    if (!FindHostShell(store.path(), PromptText(host), &shell, &error)) return Report(error);
    int input[2], output[2];
    if (!MakePipe(input) || !MakePipe(output)) return Report(kPipeFailed + std::string(std::strerror(errno)));
    IgnoreTerminalSignals();
    pid_t pid = StartInteractiveShell(shell, input[0], output[1]);
    close(input[0]);
    close(output[1]);
    if (pid < 0) return Report(kForkFailed + std::string(std::strerror(errno)));
    ShellRelay relay(shell.state_path, pid, input[1], output[0]);
    relay.EndWhen([&store] { return HostWentOff(store); });
    return relay.Run();
}

int RunExecRequest(const StateStore& store, const std::string& command) {
    if (RefusesLogins(store)) return kRefused;
    HostShell shell;
    std::string error;
    if (!FindHostShell(store.path(), "", &shell, &error)) return Report(error);
    for (const std::string& line : Lines(command)) {
        if (AppendShellLog(shell.state_path, getpid(), line, &error)) continue;
        std::cerr << kUnloggedCommand << error << std::endl;
        return kFailure;
    }
    ExecShellCommand(shell, command);
    return Report(kCannotRun + shell.busybox + ": " + std::strerror(errno));
}

}  // namespace esxisim
