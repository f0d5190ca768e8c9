// A session with the simulated ESXi host's shell (tools/esxi-sim), line by line as the tool has one: the
// simulator run as a child over pipes, or a login through the real plink to an SshdFixture whose login shell
// it is. Waits that fail are reported with gtest's EXPECT, and what came instead is returned.
//
//   SimulatedShell shell;                        // prompt "~ # "
//   std::string greeting = shell.LogIn(sshd);    // banner and first prompt
//   EXPECT_EQ("vim-cmd vmsvc/power.getstate 1\r\nRetrieved runtime info\r\nPowered on\r\n",
//             shell.Run("vim-cmd vmsvc/power.getstate 1"));
#ifndef VMNAP_TEST_SUPPORT_SIMULATED_SHELL_H
#define VMNAP_TEST_SUPPORT_SIMULATED_SHELL_H

#include <string>

#include "sshd_fixture.h"
#include "sshd_fixture_process.h"

class SimulatedShell {
public:
    explicit SimulatedShell(std::string prompt = "~ # ") : prompt_(std::move(prompt)) {}

    // The simulator at `program` with --state `state_path`, interactive; returns what it printed up to and
    // including the first prompt.
    std::string StartChild(const std::string& program, const std::string& state_path);

    // plink -ssh USER@ADDRESS in the server's namespace, host key accepted and password given; returns what
    // came after the password, up to and including the first prompt.
    std::string LogIn(const SshdFixture& sshd, const std::string& address = "127.0.0.1");

    // Writes `line` and a line feed; returns the output up to the next prompt, without it.
    std::string Run(const std::string& line);

    // The output up to and including `marker`.
    std::string Read(const std::string& marker);

    const std::string& prompt() const { return prompt_; }
    void set_prompt(const std::string& prompt) { prompt_ = prompt; }
    PipedProcess& process() { return process_; }

private:
    std::string prompt_;
    PipedProcess process_;
};

#endif
