// Between the terminal (this process's standard input and output) and the host's interactive shell: every
// input line is written to the command log and then handed to the shell; whatever the shell and its
// commands print goes to standard output as soon as it comes, the shell's greeting dropped (greeting_filter.h).
// Carriage returns in input lines are dropped. A line that cannot be logged is not run: the relay reports
// it on standard error and hands the shell an empty line instead, so that the prompt comes back.
//
// Input ends at the end of standard input, which closes the shell's; the relay ends once the shell has
// exited, with what it still printed passed on. A relay told when to end (EndWhen) asks twice a second and
// then ends the session: the shell and the commands of its process group are hung up, nothing more is shown.
#ifndef ESXI_SIM_SHELL_RELAY_H
#define ESXI_SIM_SHELL_RELAY_H

#include <sys/types.h>

#include <functional>
#include <string>

#include "greeting_filter.h"

namespace esxisim {

class ShellRelay {
public:
    // `to_shell` is the shell's standard input, `from_shell` its standard output and error (the relay
    // closes both); the log is the one of `state_path` (shell_log.h).
    ShellRelay(std::string state_path, pid_t shell, int to_shell, int from_shell);
    ~ShellRelay();
    ShellRelay(const ShellRelay&) = delete;
    ShellRelay& operator=(const ShellRelay&) = delete;

    // Relays until the shell has exited; returns its exit status (128 + signal when killed), or 1 when the
    // session was ended because `gone` said so.
    int Run();

    // `gone` is asked twice a second while the session lasts.
    void EndWhen(std::function<bool()> gone) { gone_ = std::move(gone); }

private:
    void ReadInput();
    void EndInput();
    void Forward(std::string line);
    void ReadOutput();
    void Show(const std::string& text) const;
    void WaitForShell();
    void EndSession();
    bool TimeToAsk();

    std::string state_path_;
    pid_t shell_;
    int to_shell_;
    int from_shell_;
    int shell_exit_ = -1;  // a pidfd, readable once the shell has exited
    bool input_open_ = true;
    bool shell_gone_ = false;
    int status_ = 0;
    std::string pending_;  // input not yet ended by a line feed
    std::function<bool()> gone_;
    double last_asked_ = 0;  // CLOCK_MONOTONIC seconds
    GreetingFilter greeting_;
};

}  // namespace esxisim

#endif
