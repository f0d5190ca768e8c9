// Suspends and resumes that take datastore time, run by the simulator's busybox ash as separate vim-cmd
// processes, as on a host: their durations, the shared speed, max_in_flight, and what ends them.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "run_program.h"
#include "simulated_shell.h"
#include "state_store.h"
#include "temp_dir.h"

namespace {

const double kSlack = 0.7;  // a busy machine is late, never early

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

std::string Vm(const std::string& id, const std::string& datastore, long memory_mb, const std::string& power) {
    return "vm " + id + "\nfile [" + datastore + "] " + id + "/" + id + ".vmx\npower " + power + "\nmemory_mb " +
           std::to_string(memory_mb) + "\n";
}

class DatastoreTimeTest : public ::testing::Test {
protected:
    std::string StatePath() const { return dir_.file("esxi-sim.state"); }

    // Runs `command` with the host's ash; returns how long it took.
    double Timed(const std::string& command, ProgramResult* result = nullptr) {
        ProgramRun run;
        run.path = ESXI_SIM_PATH;
        run.args = {"--state", StatePath(), "-c", command};
        run.timeout_seconds = 30;
        double start = Now();
        ProgramResult r = RunProgram(run);
        if (result) *result = r;
        return Now() - start;
    }

    esxisim::HostState Host() const {
        esxisim::HostState host;
        std::string error;
        EXPECT_TRUE(esxisim::StateStore(StatePath()).Read(&host, &error)) << error;
        return host;
    }

    TempDir dir_;
};

TEST_F(DatastoreTimeTest, SuspendTakesThePausePlusTheMemoryOverTheWriteSpeed) {
    dir_.Write("esxi-sim.state", "op_pause_seconds 1\ndatastore ds1 200 400\n" + Vm("1", "ds1", 200, "on"));
    ProgramResult result;
    double seconds = Timed("vim-cmd vmsvc/power.suspend 1", &result);
    EXPECT_EQ("Suspending VM:\n", result.out);
    EXPECT_EQ(0, result.exit_status);
    EXPECT_GE(seconds, 2.0);
    EXPECT_LT(seconds, 2.0 + kSlack);
    EXPECT_EQ(esxisim::PowerState::kSuspended, Host().FindVm("1")->power);
    EXPECT_EQ(std::string::npos, dir_.Read("esxi-sim.state").find("operation")) << dir_.Read("esxi-sim.state");
}

TEST_F(DatastoreTimeTest, ResumeReadsTheMemoryBackAtTheReadSpeedAndTheVmRunsOnlyThen) {
    dir_.Write("esxi-sim.state", "datastore ds1 100 400\n" + Vm("1", "ds1", 400, "suspended"));
    SimulatedShell shell;
    shell.StartChild(ESXI_SIM_PATH, StatePath());
    double start = Now();
    shell.process().Write("vim-cmd vmsvc/power.on 1\n");
    EXPECT_EQ("Powering on VM:\n", shell.Read("Powering on VM:\n"));
    EXPECT_LT(Now() - start, 0.5);
    EXPECT_EQ(esxisim::PowerState::kSuspended, Host().FindVm("1")->power);
    EXPECT_NE(std::string::npos, dir_.Read("esxi-sim.state").find("operation resume "));
    EXPECT_EQ("~ # ", shell.Read("~ # "));
    EXPECT_GE(Now() - start, 1.0);
    EXPECT_LT(Now() - start, 1.0 + kSlack);
    EXPECT_EQ(esxisim::PowerState::kOn, Host().FindVm("1")->power);
}

// 400 and 200 MB on one datastore of 200 MB/s: the smaller suspend gets half the speed while both write
// (2 s instead of 1), the larger one finishes alone after 3 s; max_in_flight counts both.
TEST_F(DatastoreTimeTest, SuspendsOnOneDatastoreShareItsSpeed) {
    dir_.Write("esxi-sim.state",
               "max_in_flight 0\ndatastore ds1 200 200\n" + Vm("1", "ds1", 400, "on") + Vm("2", "ds1", 200, "on"));
    SimulatedShell shell;
    shell.StartChild(ESXI_SIM_PATH, StatePath());
    double start = Now();
    EXPECT_EQ("", shell.Run("vim-cmd vmsvc/power.suspend 1 >/dev/null &"));
    EXPECT_EQ("Suspending VM:\n", shell.Run("vim-cmd vmsvc/power.suspend 2"));
    double second = Now() - start;
    EXPECT_GE(second, 2.0);
    EXPECT_LT(second, 2.0 + kSlack);
    EXPECT_EQ(esxisim::PowerState::kOn, Host().FindVm("1")->power);
    EXPECT_EQ("", shell.Run("wait"));
    EXPECT_GE(Now() - start, 3.0);
    EXPECT_LT(Now() - start, 3.0 + kSlack);
    esxisim::HostState host = Host();
    EXPECT_EQ(esxisim::PowerState::kSuspended, host.FindVm("1")->power);
    EXPECT_EQ(esxisim::PowerState::kSuspended, host.FindVm("2")->power);
    EXPECT_EQ(2, host.max_in_flight);
}

TEST_F(DatastoreTimeTest, SuspendsOnDifferentDatastoresDoNotShare) {
    dir_.Write("esxi-sim.state", "max_in_flight 0\ndatastore ds1 200 200\ndatastore ds 2 200 200\n" +
                                     Vm("1", "ds1", 200, "on") + Vm("2", "ds 2", 200, "on"));
    double seconds = Timed("vim-cmd vmsvc/power.suspend 1 & vim-cmd vmsvc/power.suspend 2; wait");
    EXPECT_GE(seconds, 1.0);
    EXPECT_LT(seconds, 1.0 + kSlack);
    EXPECT_EQ(2, Host().max_in_flight);
}

TEST_F(DatastoreTimeTest, OperationsThatTakeNoTimeCountOneAtATimeAndOnlyWhenRecorded) {
    dir_.Write("esxi-sim.state", "vm 1\npower on\nvm 2\npower suspended\n");
    Timed("vim-cmd vmsvc/power.suspend 1; vim-cmd vmsvc/power.on 2");
    EXPECT_EQ(std::string::npos, dir_.Read("esxi-sim.state").find("max_in_flight"));
    dir_.Write("esxi-sim.state", "max_in_flight 0\nvm 1\npower on\nvm 2\npower suspended\n");
    EXPECT_LT(Timed("vim-cmd vmsvc/power.suspend 1; vim-cmd vmsvc/power.on 2"), kSlack);
    EXPECT_EQ(1, Host().max_in_flight);
}

TEST_F(DatastoreTimeTest, VmBusyWithAnOperationRefusesAnotherAsTaskInProgress) {
    dir_.Write("esxi-sim.state", "vm 1\npower on\nsuspend_seconds 2\n");
    ProgramResult result;
    Timed("vim-cmd vmsvc/power.suspend 1 >/dev/null & sleep 0.3; vim-cmd vmsvc/power.off 1; wait", &result);
    EXPECT_EQ(
        "Powering off VM:\n"
        "(vim.fault.TaskInProgress) {\n"
        "   dynamicType = <unset>, \n"
        "   faultCause = (vmodl.MethodFault) null, \n"
        "   msg = \"Another task is already in progress.\", \n"
        "}\n",
        result.out);
    EXPECT_EQ(esxisim::PowerState::kSuspended, Host().FindVm("1")->power);
}

TEST_F(DatastoreTimeTest, OperationOfAProcessThatHasGoneIsForgottenAndTheVmStaysAsItWas) {
    pid_t gone = fork();
    if (gone == 0) _exit(0);
    ASSERT_EQ(gone, waitpid(gone, nullptr, 0));
    dir_.Write("esxi-sim.state", "vm 1\npower on\nmemory_mb 100\noperation suspend transfer " +
                                     std::to_string(gone) + " 60.000 1732390005.000\n");
    esxisim::HostState host = Host();
    EXPECT_EQ(esxisim::OperationKind::kNone, host.FindVm("1")->operation.kind);
    EXPECT_EQ(esxisim::PowerState::kOn, host.FindVm("1")->power);
    ProgramResult result;
    Timed("vim-cmd vmsvc/power.off 1", &result);
    EXPECT_EQ("Powering off VM:\n", result.out);
}

TEST_F(DatastoreTimeTest, PowerCutEndsTheSuspendUnderWayAndTheVmIsOff) {
    dir_.Write("esxi-sim.state", "maintenance yes\ndatastore ds1 100 100\n" + Vm("1", "ds1", 1000, "on"));
    ProgramResult result;
    double seconds =
        Timed("vim-cmd vmsvc/power.suspend 1 & sleep 0.5; esxcli system shutdown poweroff -r cut; wait $!; echo $?",
              &result);
    EXPECT_LT(seconds, 0.5 + kSlack);
    EXPECT_EQ("Suspending VM:\n1\n", result.out) << "the suspend ended with status 1";
    esxisim::HostState host = Host();
    EXPECT_TRUE(host.powered_off);
    EXPECT_EQ(esxisim::PowerState::kOff, host.FindVm("1")->power);
}

}  // namespace
