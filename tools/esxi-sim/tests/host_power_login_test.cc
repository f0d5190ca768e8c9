// Logins to a host that is off or booting, and the session of a host that powers off: the simulator run as a
// child over pipes, as sshd runs it.
#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include <string>

#include "host_clock.h"
#include "run_program.h"
#include "shell_log.h"
#include "simulated_shell.h"
#include "temp_dir.h"

namespace {

const int kWaitSeconds = 10;

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// A process that has ended but is not reaped yet (orphans wait for init here) counts as gone.
bool Alive(pid_t pid) {
    std::string stat = ReadFile("/proc/" + std::to_string(pid) + "/stat");
    size_t end_of_name = stat.rfind(") ");
    return end_of_name != std::string::npos && stat.compare(end_of_name + 2, 1, "Z") != 0;
}

class HostPowerLoginTest : public ::testing::Test {
protected:
    std::string StatePath() const { return dir_.file("esxi-sim.state"); }

    ProgramResult Exec(const std::string& command) const {
        ProgramRun run;
        run.path = ESXI_SIM_PATH;
        run.args = {"--state", StatePath(), "-c", command};
        run.timeout_seconds = 20;
        return RunProgram(run);
    }

    // An interactive login; its exit status when it ends within `seconds` without reading input, else -1.
    int LoginThatEnds(double* seconds, std::string* output) {
        PipedProcess login;
        double start = Now();
        EXPECT_TRUE(login.Start({ESXI_SIM_PATH, "--state", StatePath()}));
        int status = login.Wait(kWaitSeconds);
        *seconds = Now() - start;
        *output = login.ReadFor(0.1);
        return status;
    }

    TempDir dir_;
};

TEST_F(HostPowerLoginTest, HostThatIsOffEndsEveryLoginAtOnceWithNothingPrinted) {
    dir_.Write("esxi-sim.state", "powered_off yes\nvm 1\npower off\n");
    double seconds = 0;
    std::string output;
    EXPECT_EQ(1, LoginThatEnds(&seconds, &output));
    EXPECT_EQ("", output);
    EXPECT_LT(seconds, 2.0);
    ProgramResult exec = Exec("vim-cmd vmsvc/power.on 1");
    EXPECT_EQ(1, exec.exit_status);
    EXPECT_EQ("", exec.out);
    EXPECT_EQ("", exec.err);
    EXPECT_TRUE(esxisim::ReadShellLogCommands(StatePath()).empty()) << "no shell ever received the command";
}

TEST_F(HostPowerLoginTest, BootingHostTakesLoginsOnceItsSshServiceHasStarted) {
    dir_.Write("esxi-sim.state",
               "boot_ssh_at " + std::to_string(esxisim::EpochNow() + 1.5) + "\nvm 1\npower off\n");
    EXPECT_EQ(1, Exec("hostname").exit_status);
    double seconds = 0;
    std::string output;
    EXPECT_EQ(1, LoginThatEnds(&seconds, &output));
    EXPECT_EQ("", output);
    usleep(1600000);
    ProgramResult exec = Exec("hostname");
    EXPECT_EQ(0, exec.exit_status);
    EXPECT_EQ("localhost\n", exec.out);
}

TEST_F(HostPowerLoginTest, SessionEndsWhenTheHostPowersOffAndItsCommandsAreHungUp) {
    SimulatedShell shell;
    dir_.Write("esxi-sim.state", "maintenance yes\nvm 2\npower on\nsuspend_seconds 60\n");
    shell.StartChild(ESXI_SIM_PATH, StatePath());
    std::string pid_line = shell.Run("vim-cmd vmsvc/power.suspend 2 >/dev/null & echo $!");
    pid_t suspending = static_cast<pid_t>(std::stol(pid_line));
    EXPECT_TRUE(Alive(suspending));
    EXPECT_EQ("", shell.Run("esxcli system shutdown poweroff -d 1 -r \"Power cut\""));
    double start = Now();
    EXPECT_EQ(1, shell.process().Wait(kWaitSeconds));
    EXPECT_LT(Now() - start, 6.0);  // its 1 s delay, with room for a loaded machine; never its wait
    EXPECT_EQ("", shell.process().ReadFor(0.1)) << "no prompt, nothing after the cut";
    for (int i = 0; i < 250 && Alive(suspending); ++i) usleep(20000);
    EXPECT_FALSE(Alive(suspending)) << "the slow suspend was hung up with the session";
}

}  // namespace
