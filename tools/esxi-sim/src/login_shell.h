// esxi-sim as the login shell of an account: the interactive session sshd starts for a login with a
// terminal, and the one command of an exec request. Both run busybox ash as the host's shell (host_shell.h)
// and log every command line it receives (shell_log.h).
#ifndef ESXI_SIM_LOGIN_SHELL_H
#define ESXI_SIM_LOGIN_SHELL_H

#include <string>

#include "state_store.h"

namespace esxisim {

// Prints the login banner of the host's version profile, then runs ash interactively with the host's
// prompt behind a ShellRelay (shell_relay.h) until it exits, or until the host is powered off. Returns its
// exit status. A host that is off or has not started its SSH service yet (host_clock.h) is refused: status
// 1 at once, nothing printed.
int RunLoginSession(const StateStore& store);

// Logs each line of `command`, then becomes "sh -c COMMAND". Returns only on failure or refusal (as above),
// with status 1.
int RunExecRequest(const StateStore& store, const std::string& command);

}  // namespace esxisim

#endif
