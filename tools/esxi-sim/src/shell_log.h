// The shell's command log, kept as an ESXi host keeps /var/log/shell.log ("All commands run on the ESXi shell
// are logged"): every command line the shell receives, one per line, as
//   YYYY-MM-DDTHH:MM:SSZ shell[PID]: [USER]: COMMAND
// in a file beside the state file, so that tests can see exactly what reached the host's shell.
#ifndef ESXI_SIM_SHELL_LOG_H
#define ESXI_SIM_SHELL_LOG_H

#include <sys/types.h>
#include <time.h>

#include <string>
#include <vector>

namespace esxisim {

// Printed before the reason when a command line cannot be logged, and is therefore not run.
extern const char kUnloggedCommand[];

// The log of the host whose state is in `state_path`: "STATE.shell.log".
std::string ShellLogPath(const std::string& state_path);

// One line of the log, line feed included; `when` in UTC.
std::string ShellLogLine(time_t when, pid_t shell_pid, const std::string& user, const std::string& command);

// Appends `command` (one line, without its line feed) as received by the shell `shell_pid` of the account
// running this process, in one write. False with `error` set when the log cannot be written.
bool AppendShellLog(const std::string& state_path, pid_t shell_pid, const std::string& command,
                    std::string* error);

// The COMMAND parts of the log's lines, oldest first; none when there is no log yet.
std::vector<std::string> ReadShellLogCommands(const std::string& state_path);

}  // namespace esxisim

#endif
