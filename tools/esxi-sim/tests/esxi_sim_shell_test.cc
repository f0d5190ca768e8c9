// The simulated host's shell is busybox ash: the simulator run as a child over pipes, with what a real
// host's shell does with a command line (quoting, ";", "$( )", syntax errors, "&", pipes) and the command log.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "shell_log.h"
#include "simulated_shell.h"
#include "temp_dir.h"
#include "text_wait.h"

namespace {

const char kVms[] =
    "hostname esx01\n"
    "vm 1\n"
    "name web\n"
    "file [datastore1] web/web.vmx\n"
    "guest rhel6_64Guest\n"
    "version vmx-08\n"
    "power on\n"
    "vm 2\n"
    "name slow\n"
    "power on\n"
    "suspend_seconds 2\n";

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

class EsxiSimShellTest : public ::testing::Test {
protected:
    std::string StatePath() const { return dir_.file("esxi-sim.state"); }

    std::string Start(const std::string& state) {
        dir_.Write("esxi-sim.state", state);
        return shell_.StartChild(ESXI_SIM_PATH, StatePath());
    }

    std::vector<std::string> Logged() const { return esxisim::ReadShellLogCommands(StatePath()); }

    TempDir dir_;
    SimulatedShell shell_;
};

TEST_F(EsxiSimShellTest, SemicolonEndsTheVimCmdLineAndTheNextCommandRuns) {
    Start(kVms);
    EXPECT_EQ("Retrieved runtime info\nPowered on\n",
              shell_.Run("vim-cmd vmsvc/power.getstate 1;touch${IFS}" + dir_.file("touched")));
    EXPECT_TRUE(dir_.Exists("touched"));
}

TEST_F(EsxiSimShellTest, ParenthesisIsAnAshSyntaxErrorAndTheShellGoesOn) {
    Start(kVms);
    EXPECT_EQ("sh: syntax error: unexpected \"(\"\n", shell_.Run("vim-cmd vmsvc/power.getstate (c) 2023 ACME"));
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", shell_.Run("vim-cmd vmsvc/power.getstate 1"));
}

TEST_F(EsxiSimShellTest, QuotingAndCommandSubstitutionAreTheShells) {
    Start(kVms);
    EXPECT_EQ("esx01 $(hostname) esx01 a  b\n", shell_.Run("echo \"$(hostname)\" '$(hostname)' `hostname` \"a  b\""));
}

TEST_F(EsxiSimShellTest, PipeToGrepKeepsTheMatchingLines) {
    Start(kVms);
    EXPECT_EQ("Powered on\n", shell_.Run("vim-cmd vmsvc/power.getstate 1 | grep Pow"));
    EXPECT_EQ("", shell_.Run("vim-cmd vmsvc/power.getstate 1 | grep -i suspended"));
}

TEST_F(EsxiSimShellTest, BackgroundSuspendReturnsThePromptAndWaitWaitsForIt) {
    Start(kVms);
    double start = Now();
    EXPECT_EQ("Suspending VM:\n", shell_.Run("vim-cmd vmsvc/power.suspend 2 & sleep 0.5"));
    EXPECT_LT(Now() - start, 1.8);
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", shell_.Run("vim-cmd vmsvc/power.getstate 2"));
    EXPECT_EQ("", shell_.Run("wait"));
    EXPECT_GE(Now() - start, 2.0);
    EXPECT_EQ("Retrieved runtime info\nSuspended\n", shell_.Run("vim-cmd vmsvc/power.getstate 2"));
}

TEST_F(EsxiSimShellTest, PathHoldsOnlyTheHostsCommandsWhicheverTheDirectory) {
    Start(kVms);
    EXPECT_EQ(std::string(ESXI_SIM_PATH) + ".d/bin\n", shell_.Run("echo $PATH"));
    EXPECT_EQ("esx01\nRetrieved runtime info\nPowered on\n",
              shell_.Run("cd /; hostname; vim-cmd vmsvc/power.getstate 1"));
    EXPECT_EQ("sh: esxtop: not found\nsh: reboot: not found\n", shell_.Run("esxtop; reboot"));
}

TEST_F(EsxiSimShellTest, CommandLogHoldsEveryLineAsReceived) {
    Start(kVms);
    const std::vector<std::string> lines = {"vim-cmd vmsvc/power.getstate 1", "", "echo  two  blanks ;",
                                            "(c) 2023 ACME"};
    for (const std::string& line : lines) shell_.Run(line);
    EXPECT_EQ(lines, Logged());
    std::string log = ReadFile(esxisim::ShellLogPath(StatePath()));
    EXPECT_EQ(lines.size(), CountOf(log, " shell[")) << log;
    EXPECT_EQ(0u, log.find("20")) << log;
}

TEST_F(EsxiSimShellTest, ExecRequestIsLoggedAndRunByAsh) {
    dir_.Write("esxi-sim.state", kVms);
    ProgramRun run;
    run.path = ESXI_SIM_PATH;
    run.args = {"--state", StatePath(), "-c", "vim-cmd vmsvc/power.getstate 1 | grep Pow; foo"};
    ProgramResult result = RunProgram(run);
    EXPECT_EQ(127, result.exit_status);
    EXPECT_EQ("Powered on\n", result.out);
    EXPECT_EQ("sh: foo: not found\n", result.err);
    EXPECT_EQ(std::vector<std::string>{"vim-cmd vmsvc/power.getstate 1 | grep Pow; foo"}, Logged());
}

// The log is a directory here, so no line can be written to it: nothing runs.
TEST_F(EsxiSimShellTest, LineThatCannotBeLoggedIsNotRun) {
    Start(kVms);
    ASSERT_EQ(0, mkdir(esxisim::ShellLogPath(StatePath()).c_str(), 0755));
    EXPECT_EQ("esxi-sim: the command is not run: cannot write " + esxisim::ShellLogPath(StatePath()) +
                  ": Is a directory\n",
              shell_.Run("touch " + dir_.file("touched")));
    ProgramRun run;
    run.path = ESXI_SIM_PATH;
    run.args = {"--state", StatePath(), "-c", "touch " + dir_.file("touched")};
    EXPECT_EQ(1, RunProgram(run).exit_status);
    EXPECT_FALSE(dir_.Exists("touched"));
}

TEST_F(EsxiSimShellTest, LogoutEndsTheSession) {
    Start(kVms);
    shell_.process().Write("logout\n");
    EXPECT_EQ(0, shell_.process().Wait(10));
    EXPECT_EQ("", shell_.process().ReadFor(0.1));
}

TEST_F(EsxiSimShellTest, NoBusyboxGreetingAnywhere) {
    std::string start = Start(kVms);
    shell_.Run("vim-cmd vmsvc/power.getstate 1");
    shell_.process().CloseInput();
    shell_.process().Wait(10);
    EXPECT_EQ(std::string::npos, shell_.process().output().find("BusyBox")) << shell_.process().output();
    EXPECT_EQ(std::string::npos, start.find("help")) << start;
}

TEST_F(EsxiSimShellTest, HostnameIsShownLiterallyInTheBracketPrompt) {
    shell_.set_prompt("[root@a$b`c`\\d:~] ");
    Start("hostname a$b`c`\\d\nprompt bracket\n");
    EXPECT_EQ("a$b`c`\\d\n", shell_.Run("hostname"));
}

TEST_F(EsxiSimShellTest, InvalidVmsAreSkippedWithALineEachBeforeTheTable) {
    Start("invalid_vm 6\ninvalid_vm 30\nvm 1\nname web\nfile [] /var/run/crx/infra/vCLS-1/vCLS-1.vmx\n");
    EXPECT_EQ(
        "Skipping invalid VM '6'\n"
        "Skipping invalid VM '30'\n"
        "Vmid   Name                    File                     Guest OS   Version   Annotation\n"
        "1      web    [] /var/run/crx/infra/vCLS-1/vCLS-1.vmx                                  \n",
        shell_.Run("vim-cmd vmsvc/getallvms"));
}

// The names come back byte for byte, the one that looks like the prompt included: the table is read up to a
// marker printed after it, not up to the prompt.
TEST_F(EsxiSimShellTest, NamesLikePromptsAndPasswordQuestionsArePrintedAsTheyAre) {
    Start("vm 1\nname two  blanks\nfile [ds] a/a.vmx\nvm 2\nname ~ # \nfile [ds] b/b.vmx\n"
          "vm 3\nname [root@x:~]\nfile [ds] c/c.vmx\nvm 4\nname password:\nfile [ds] d/d.vmx\n");
    shell_.process().Write("vim-cmd vmsvc/getallvms; echo END\n");
    EXPECT_EQ(
        "Vmid      Name           File       Guest OS   Version   Annotation\n"
        "1      two  blanks   [ds] a/a.vmx                                  \n"
        "2      ~ #           [ds] b/b.vmx                                  \n"
        "3      [root@x:~]    [ds] c/c.vmx                                  \n"
        "4      password:     [ds] d/d.vmx                                  \n"
        "END\n",
        shell_.Read("END\n"));
    EXPECT_EQ("~ # ", shell_.Read("~ # "));
}

}  // namespace
