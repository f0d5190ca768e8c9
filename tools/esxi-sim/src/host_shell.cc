#include "host_shell.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>

#include "busybox.h"
#include "host_files.h"

extern char** environ;

namespace esxisim {

namespace {

const char kStateEnv[] = "ESXI_SIM_STATE";
// PS1 names the prompt rather than holding it: ash expands $ and ` in PS1 itself, but not in the value of a
// variable it expands. Busybox still reads backslash escapes in the result, so backslashes are doubled.
const char kPromptEnv[] = "ESXI_SIM_PROMPT";
const char kPs1[] = "$ESXI_SIM_PROMPT";
const char kShellName[] = "sh";  // argv[0]: not "-sh", which would read /etc/profile as a login shell
const char kNoBusybox[] = "no busybox in /bin or /usr/bin";
const char kNoExecutable[] = "cannot read /proc/self/exe";
const char kNoHostCommands[] = "no host commands in ";

bool Fail(std::string* error, const std::string& text) {
    *error = text;
    return false;
}

std::string ExecutablePath() {
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
    return n > 0 ? std::string(path, static_cast<size_t>(n)) : "";
}

std::string Absolute(const std::string& path) {
    if (path.empty() || path[0] == '/') return path;
    char cwd[4096];
    return getcwd(cwd, sizeof(cwd)) ? std::string(cwd) + "/" + path : path;
}

std::string DoubledBackslashes(const std::string& text) {
    std::string doubled;
    for (char c : text) doubled += c == '\\' ? "\\\\" : std::string(1, c);
    return doubled;
}

bool IsVariable(const std::string& entry, const char* name) {
    size_t length = std::strlen(name);
    return entry.compare(0, length, name) == 0 && entry.size() > length && entry[length] == '=';
}

bool IsReplaced(const std::string& entry) {
    for (const char* name : {"PATH", "ENV", "PS1", kStateEnv, kPromptEnv}) {
        if (IsVariable(entry, name)) return true;
    }
    return false;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(&text[0]);
    pointers.push_back(nullptr);
    return pointers;
}

void Exec(const HostShell& shell, std::vector<std::string> argv) {
    std::vector<std::string> env = ShellEnvironment(shell);
    std::vector<char*> args = Pointers(argv);
    std::vector<char*> envp = Pointers(env);
    execve(shell.busybox.c_str(), args.data(), envp.data());
}

}  // namespace

bool FindHostShell(const std::string& state_path, const std::string& prompt, HostShell* shell, std::string* error) {
    shell->busybox = FindBusybox();
    if (shell->busybox.empty()) return Fail(error, kNoBusybox);
    std::string program = ExecutablePath();
    if (program.empty()) return Fail(error, kNoExecutable);
    shell->bin_dir = HostBinDir(program);
    shell->rc_path = ShellRcPath(program);
    if (access(shell->bin_dir.c_str(), X_OK) != 0) return Fail(error, kNoHostCommands + shell->bin_dir);
    shell->state_path = Absolute(state_path);
    shell->prompt = prompt;
    return true;
}

std::vector<std::string> ShellEnvironment(const HostShell& shell) {
    std::vector<std::string> env;
    for (char** entry = environ; *entry; ++entry) {
        if (!IsReplaced(*entry)) env.push_back(*entry);
    }
    env.push_back("PATH=" + shell.bin_dir);
    env.push_back("ENV=" + shell.rc_path);
    env.push_back(std::string("PS1=") + kPs1);
    env.push_back(std::string(kPromptEnv) + "=" + DoubledBackslashes(shell.prompt));
    env.push_back(std::string(kStateEnv) + "=" + shell.state_path);
    return env;
}

bool InLoginSession() {
    const char* prompt = getenv(kPromptEnv);
    return prompt != nullptr && *prompt != '\0';
}

pid_t StartInteractiveShell(const HostShell& shell, int input, int output) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    dup2(input, 0);
    dup2(output, 1);
    dup2(output, 2);
    // The login program ignores these; the shell and its commands start with the usual dispositions.
    for (int signal_number : {SIGINT, SIGQUIT, SIGPIPE}) signal(signal_number, SIG_DFL);
    Exec(shell, {kShellName, "-i", "+m"});
    _exit(127);
}

void ExecShellCommand(const HostShell& shell, const std::string& command) {
    Exec(shell, {kShellName, "-c", command});
}

}  // namespace esxisim
