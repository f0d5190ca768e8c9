#include "shell_log.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "fd_text.h"

namespace esxisim {

const char kUnloggedCommand[] = "esxi-sim: the command is not run: ";

namespace {

const char kLogSuffix[] = ".shell.log";
const char kProcess[] = "shell";
// Between the user and the command; the user is the first "[...]" after the process's "]: ".
const char kUserStart[] = "]: [";
const char kCommandStart[] = "]: ";

std::string AccountName() {
    struct passwd* account = getpwuid(geteuid());
    return account ? account->pw_name : std::to_string(geteuid());
}

std::string UtcStamp(time_t when) {
    struct tm parts;
    gmtime_r(&when, &parts);
    char text[32];
    strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

}  // namespace

std::string ShellLogPath(const std::string& state_path) { return state_path + kLogSuffix; }

std::string ShellLogLine(time_t when, pid_t shell_pid, const std::string& user, const std::string& command) {
    return UtcStamp(when) + " " + kProcess + "[" + std::to_string(shell_pid) + "]: [" + user + "]: " + command +
           "\n";
}

bool AppendShellLog(const std::string& state_path, pid_t shell_pid, const std::string& command,
                    std::string* error) {
    std::string path = ShellLogPath(state_path);
    int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    bool written = fd >= 0 && WriteWhole(fd, ShellLogLine(time(nullptr), shell_pid, AccountName(), command));
    if (!written) *error = "cannot write " + path + ": " + std::strerror(errno);
    if (fd >= 0) close(fd);
    return written;
}

std::vector<std::string> ReadShellLogCommands(const std::string& state_path) {
    std::vector<std::string> commands;
    std::ifstream in(ShellLogPath(state_path));
    for (std::string line; std::getline(in, line);) {
        size_t user = line.find(kUserStart);
        size_t command = user == std::string::npos ? user : line.find(kCommandStart, user + 1);
        // A line not in the log's form is returned whole, so that a test sees it.
        commands.push_back(command == std::string::npos ? line : line.substr(command + std::strlen(kCommandStart)));
    }
    return commands;
}

}  // namespace esxisim
