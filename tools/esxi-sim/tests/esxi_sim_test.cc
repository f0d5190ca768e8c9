// The esxi-sim executable run as a child over pipes (no terminal): exact output bytes and persisted state.
#include <gtest/gtest.h>

#include <time.h>

#include <string>

#include "run_program.h"
#include "sshd_fixture_process.h"
#include "state_store.h"
#include "temp_dir.h"

namespace {

using esxisim::HostState;
using esxisim::PowerState;
using esxisim::StateStore;

const char kPrompt[] = "~ # ";
const int kReadSeconds = 10;

const char kBanner[] =
    "The time and date of this login have been sent to the system logs.\n"
    "\n"
    "VMware offers supported, powerful system administration tools.  Please\n"
    "see www.vmware.com/go/sysadmintools for details.\n"
    "\n"
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

const char kThreeVms[] =
    "vm 2\n"
    "name web\n"
    "file [datastore1] web/web.vmx\n"
    "guest rhel6_64Guest\n"
    "version vmx-08\n"
    "power on\n"
    "vm 10\n"
    "name my vm\n"
    "file [datastore1] my vm/my vm.vmx\n"
    "guest otherLinux64Guest\n"
    "version vmx-08\n"
    "power suspended\n"
    "note line one\n"
    "note line two\n"
    "vm 1\n"
    "name db\n"
    "file [datastore1] db/db.vmx\n"
    "guest windows7Server64Guest\n"
    "version vmx-08\n"
    "power off\n";

const char kInvalidStateDump[] =
    "(vim.fault.InvalidState) {\n"
    "   dynamicType = <unset>, \n"
    "   faultCause = (vmodl.MethodFault) null, \n"
    "   msg = \"The operation is not allowed in the current state.\", \n"
    "}\n";

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

std::string InvalidPowerStateDump(const std::string& requested, const std::string& existing,
                                  const std::string& in_words) {
    return "(vim.fault.InvalidPowerState) {\n"
           "   dynamicType = <unset>, \n"
           "   faultCause = (vmodl.MethodFault) null, \n"
           "   requestedState = \"" + requested + "\", \n"
           "   existingState = \"" + existing + "\", \n"
           "   msg = \"The attempted operation cannot be performed in the current state (" + in_words + ").\", \n"
           "}\n";
}

class EsxiSimTest : public ::testing::Test {
protected:
    std::string StatePath() const { return dir_.file("esxi-sim.state"); }

    // Starts the interactive shell and returns what came before the first prompt.
    std::string Start(const std::string& state, const std::string& prompt = kPrompt) {
        dir_.Write("esxi-sim.state", state);
        EXPECT_TRUE(sim_.Start({ESXI_SIM_PATH, "--state", StatePath()}));
        return Read(prompt);
    }

    std::string Read(const std::string& marker) {
        std::string text;
        EXPECT_TRUE(sim_.ReadUntil(marker, kReadSeconds, &text)) << "waited for \"" << marker << "\", got \""
                                                                  << text << "\"";
        return text;
    }

    // Output of one command line, without the prompt that follows it.
    std::string Run(const std::string& line, const std::string& prompt = kPrompt) {
        sim_.Write(line + "\n");
        std::string text = Read(prompt);
        return text.substr(0, text.size() - std::min(text.size(), prompt.size()));
    }

    HostState State() const {
        HostState host;
        std::string error;
        EXPECT_TRUE(StateStore(StatePath()).Read(&host, &error)) << error;
        return host;
    }

    PowerState PowerOf(const std::string& id) const {
        HostState host = State();
        return host.FindVm(id) ? host.FindVm(id)->power : PowerState::kOff;
    }

    ProgramResult Exec(const std::string& command) const {
        ProgramRun run;
        run.path = ESXI_SIM_PATH;
        run.args = {"--state", StatePath(), "-c", command};
        run.timeout_seconds = 20;
        return RunProgram(run);
    }

    TempDir dir_;
    PipedProcess sim_;
};

TEST_F(EsxiSimTest, GreetsWithTheLoginBannerAndTheBusyboxPrompt) {
    EXPECT_EQ(std::string(kBanner) + kPrompt, Start(kThreeVms));
}

TEST_F(EsxiSimTest, BareVimCmdListsTheCommandNamespaces) {
    Start(kThreeVms);
    EXPECT_EQ(
        "Commands available under /:\n"
        "hbrsvc/       internalsvc/  solo/         vmsvc/        \n"
        "hostsvc/      proxysvc/     vimsvc/       help\n"
        "\n",
        Run("vim-cmd"));
}

TEST_F(EsxiSimTest, GetAllVmsPrintsTheTableWithSortedIdsRawNotesAndPadding) {
    Start(kThreeVms);
    EXPECT_EQ(
        "Vmid   Name                File                     Guest OS          Version      Annotation    \n"
        "1      db      [datastore1] db/db.vmx         windows7Server64Guest   vmx-08                     \n"
        "10     my vm   [datastore1] my vm/my vm.vmx   otherLinux64Guest       vmx-08    line one\n"
        "line two\n"
        "2      web     [datastore1] web/web.vmx       rhel6_64Guest           vmx-08                     \n",
        Run("vim-cmd vmsvc/getallvms"));
}

TEST_F(EsxiSimTest, GetStateReportsEachPowerState) {
    Start(kThreeVms);
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", Run("vim-cmd vmsvc/power.getstate 2"));
    EXPECT_EQ("Retrieved runtime info\nPowered off\n", Run("vim-cmd vmsvc/power.getstate 1"));
    EXPECT_EQ("Retrieved runtime info\nSuspended\n", Run("vim-cmd vmsvc/power.getstate 10"));
}

TEST_F(EsxiSimTest, SuspendIsPersistedAndSeenByTheNextLogin) {
    Start(kThreeVms);
    EXPECT_EQ("Suspending VM:\n", Run("vim-cmd vmsvc/power.suspend 2"));
    EXPECT_EQ(PowerState::kSuspended, PowerOf("2"));
    ProgramResult next = Exec("vim-cmd vmsvc/power.getstate 2");
    EXPECT_EQ("Retrieved runtime info\nSuspended\n", next.out);
}

TEST_F(EsxiSimTest, PowerOnResumesASuspendedVmAndPowerOffStopsIt) {
    Start(kThreeVms);
    EXPECT_EQ("Powering on VM:\n", Run("vim-cmd vmsvc/power.on 10"));
    EXPECT_EQ(PowerState::kOn, PowerOf("10"));
    EXPECT_EQ("Powering off VM:\n", Run("vim-cmd vmsvc/power.off 10"));
    EXPECT_EQ(PowerState::kOff, PowerOf("10"));
    EXPECT_EQ("Powering on VM:\n", Run("vim-cmd vmsvc/power.on 1"));
    EXPECT_EQ(PowerState::kOn, PowerOf("1"));
}

TEST_F(EsxiSimTest, PowerOnOfARunningVmIsRefusedWithAFaultDump) {
    Start(kThreeVms);
    EXPECT_EQ("Powering on VM:\n" + InvalidPowerStateDump("poweredOn", "poweredOn", "Powered On"),
              Run("vim-cmd vmsvc/power.on 2"));
    EXPECT_EQ(PowerState::kOn, PowerOf("2"));
}

TEST_F(EsxiSimTest, PowerOffOfAStoppedVmIsRefusedWithAFaultDump) {
    Start(kThreeVms);
    EXPECT_EQ("Powering off VM:\n" + InvalidPowerStateDump("poweredOff", "poweredOff", "Powered Off"),
              Run("vim-cmd vmsvc/power.off 1"));
    EXPECT_EQ(PowerState::kOff, PowerOf("1"));
}

TEST_F(EsxiSimTest, SuspendOfAVmThatIsNotRunningIsRefused) {
    Start(kThreeVms);
    EXPECT_EQ("Suspending VM:\n" + InvalidPowerStateDump("suspended", "poweredOff", "Powered Off"),
              Run("vim-cmd vmsvc/power.suspend 1"));
    EXPECT_EQ("Suspending VM:\n" + InvalidPowerStateDump("suspended", "suspended", "Suspended"),
              Run("vim-cmd vmsvc/power.suspend 10"));
    EXPECT_EQ(PowerState::kOff, PowerOf("1"));
}

TEST_F(EsxiSimTest, UnknownVmIdGivesTheNotFoundFault) {
    Start(kThreeVms);
    const std::string dump =
        "(vim.fault.NotFound) {\n"
        "   dynamicType = <unset>, \n"
        "   faultCause = (vmodl.MethodFault) null, \n"
        "   msg = \"Unable to find a VM corresponding to \"16\"\", \n"
        "}\n";
    EXPECT_EQ(dump, Run("vim-cmd vmsvc/power.getstate 16"));
    EXPECT_EQ(dump, Run("vim-cmd vmsvc/power.suspend 16"));
    EXPECT_EQ(dump, Run("vim-cmd vmsvc/power.on 16"));
    EXPECT_EQ(3u, State().vms.size());
}

TEST_F(EsxiSimTest, VmThatRefusesToSuspendPrintsProgressThenAFaultAndKeepsRunning) {
    Start(std::string(kThreeVms) + "vm 5\npower on\nrefuse_suspend yes\n");
    EXPECT_EQ(std::string("Suspending VM:\n") + kInvalidStateDump, Run("vim-cmd vmsvc/power.suspend 5"));
    EXPECT_EQ(PowerState::kOn, PowerOf("5"));
}

TEST_F(EsxiSimTest, SlowSuspendReturnsThePromptAfterTheDelay) {
    Start(std::string(kThreeVms) + "vm 5\npower on\nsuspend_seconds 2\n");
    double start = Now();
    sim_.Write("vim-cmd vmsvc/power.suspend 5\n");
    EXPECT_EQ("Suspending VM:\n", Read("Suspending VM:\n"));
    EXPECT_LT(Now() - start, 1.5);
    EXPECT_EQ(PowerState::kOn, PowerOf("5"));
    EXPECT_EQ(kPrompt, Read(kPrompt));
    EXPECT_GE(Now() - start, 2.0);
    EXPECT_EQ(PowerState::kSuspended, PowerOf("5"));
}

TEST_F(EsxiSimTest, MaintenanceModeIsEnteredLeftAndReportedThroughGrep) {
    Start("task_counter 213709113\n");
    const char query[] = "vim-cmd hostsvc/hostsummary | grep inMaintenanceMode";
    EXPECT_EQ("      inMaintenanceMode = false,\n", Run(query));
    EXPECT_EQ("'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-213709113'\n",
              Run("vim-cmd hostsvc/maintenance_mode_enter"));
    EXPECT_TRUE(State().in_maintenance);
    EXPECT_EQ("      inMaintenanceMode = true,\n", Run(query));
    EXPECT_EQ("'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-213709114'\n",
              Run("vim-cmd hostsvc/maintenance_mode_exit"));
    EXPECT_FALSE(State().in_maintenance);
}

TEST_F(EsxiSimTest, EnteringTwiceOrLeavingWhenOutIsRefused) {
    Start("maintenance yes\n");
    EXPECT_EQ(kInvalidStateDump, Run("vim-cmd hostsvc/maintenance_mode_enter"));
    EXPECT_TRUE(State().in_maintenance);
    Run("vim-cmd hostsvc/maintenance_mode_exit");
    EXPECT_EQ(kInvalidStateDump, Run("vim-cmd hostsvc/maintenance_mode_exit"));
    EXPECT_FALSE(State().in_maintenance);
}

TEST_F(EsxiSimTest, HostRefusesMaintenanceWhileAVmRuns) {
    Start(std::string("refuse_maintenance_while_running yes\n") + kThreeVms);
    EXPECT_EQ(kInvalidStateDump, Run("vim-cmd hostsvc/maintenance_mode_enter"));
    EXPECT_FALSE(State().in_maintenance);
    EXPECT_EQ("      inMaintenanceMode = false,\n", Run("vim-cmd hostsvc/hostsummary | grep inMaintenanceMode"));
    Run("vim-cmd vmsvc/power.suspend 2");
    EXPECT_EQ("'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-1'\n",
              Run("vim-cmd hostsvc/maintenance_mode_enter"));
    EXPECT_TRUE(State().in_maintenance);
}

TEST_F(EsxiSimTest, LeadingSlashInTheCommandPathIsAccepted) {
    Start("maintenance yes\n");
    EXPECT_EQ("      inMaintenanceMode = true,\n", Run("vim-cmd /hostsvc/hostsummary | grep inMaintenanceMode"));
}

TEST_F(EsxiSimTest, FullHostSummaryNamesTheMaintenanceFlagOnce) {
    Start("");
    std::string summary = Run("vim-cmd hostsvc/hostsummary");
    EXPECT_EQ(0u, summary.find("(vim.host.Summary) {\n"));
    EXPECT_NE(std::string::npos, summary.find("\n   hardware = (vim.host.Summary.HardwareSummary) {\n"));
    EXPECT_EQ(summary.find("inMaintenanceMode"), summary.rfind("inMaintenanceMode"));
    EXPECT_EQ(std::string::npos, summary.find("true"));
}

TEST_F(EsxiSimTest, BracketPromptOfNewerHosts) {
    const char prompt[] = "[root@esx01:~] ";
    EXPECT_EQ(std::string(kBanner) + prompt, Start("hostname esx01\nprompt bracket\nvm 7\npower on\n", prompt));
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", Run("vim-cmd vmsvc/power.getstate 7", prompt));
    EXPECT_EQ("esx01\n", Run("hostname", prompt));
}

TEST_F(EsxiSimTest, UnknownCommandIsNotFoundLikeBusybox) {
    Start("");
    EXPECT_EQ("sh: shutdown: not found\n", Run("shutdown -h now"));
    EXPECT_EQ("sh: esxcli2: not found\n", Run("vim-cmd | esxcli2"));
}

TEST_F(EsxiSimTest, UnknownVimCmdCommandIsAnInvalidCommand) {
    Start("");
    EXPECT_EQ("Invalid command 'vmsvc/power.hibernate'\n", Run("vim-cmd vmsvc/power.hibernate 1"));
}

TEST_F(EsxiSimTest, MissingVmIdIsReported) {
    Start(kThreeVms);
    EXPECT_EQ("Insufficient arguments.\nUsage: power.suspend vmid\n", Run("vim-cmd vmsvc/power.suspend"));
}

TEST_F(EsxiSimTest, CarriageReturnsAndEmptyLinesAreHarmless) {
    Start(kThreeVms);
    EXPECT_EQ("", Run(""));
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", Run("vim-cmd vmsvc/power.getstate 2\r"));
}

TEST_F(EsxiSimTest, ExitAndEndOfInputEndTheShell) {
    Start("");
    sim_.Write("exit\n");
    EXPECT_EQ(0, sim_.Wait(kReadSeconds));
    EXPECT_EQ("", sim_.ReadFor(0.1));
    PipedProcess second;
    ASSERT_TRUE(second.Start({ESXI_SIM_PATH, "--state", StatePath()}));
    second.CloseInput();
    EXPECT_EQ(0, second.Wait(kReadSeconds));
}

TEST_F(EsxiSimTest, ExecRequestRunsOneCommandWithoutBannerOrPrompt) {
    dir_.Write("esxi-sim.state", kThreeVms);
    ProgramResult result = Exec("vim-cmd vmsvc/power.getstate 10");
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ("Retrieved runtime info\nSuspended\n", result.out);
    EXPECT_EQ(127, Exec("reboot").exit_status);
    EXPECT_EQ(1, Exec("vim-cmd vmsvc/power.suspend 99").exit_status);
    EXPECT_EQ(0, Exec("vim-cmd vmsvc/power.suspend 1").exit_status);
}

TEST_F(EsxiSimTest, BrokenStateFileIsReportedOnStandardError) {
    dir_.Write("esxi-sim.state", "vm 1\npower sideways\n");
    ProgramResult result = Exec("vim-cmd vmsvc/getallvms");
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("esxi-sim: " + StatePath() + ": line 2: bad value for power\n", result.err);
}

TEST_F(EsxiSimTest, BadOptionsPrintTheUsage) {
    ProgramRun run;
    run.path = ESXI_SIM_PATH;
    run.args = {"--colour", "blue"};
    ProgramResult result = RunProgram(run);
    EXPECT_EQ(2, result.exit_status);
    EXPECT_EQ("usage: esxi-sim [--state FILE] [-c COMMAND]\n", result.err);
}

}  // namespace
