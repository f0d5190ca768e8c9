// The host powers off and boots: the power cut and the boot moments (host_clock.h), esxcli's power-off, and
// what the host's programs do meanwhile, run in-process against a state file.
#include <gtest/gtest.h>
#include <time.h>

#include <sstream>
#include <string>

#include "host_clock.h"
#include "host_programs.h"
#include "state_store.h"
#include "temp_dir.h"

namespace esxisim {
namespace {

const char kPowerOffUsage[] =
    "Usage: esxcli system shutdown poweroff [cmd options]\n"
    "Description:\n"
    "  poweroff              Power off the system. The host must be in maintenance mode.\n"
    "Cmd options:\n"
    "  -d|--delay=<long>     Delay interval in seconds\n"
    "  -r|--reason=<str>     Reason for performing the operation (required)\n";

const char kThreeVms[] = "vm 1\npower on\nshutdown_seconds 60\nvm 2\npower suspended\nvm 3\npower off\n";

void SleepFor(double seconds) {
    time_t whole = static_cast<time_t>(seconds);
    struct timespec ts = {whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
    nanosleep(&ts, nullptr);
}

// In maintenance, powering off at 1000: a VM that runs (its guest shutting down), a suspended and an off one.
HostState PoweringOffHost() {
    HostState host;
    host.in_maintenance = true;
    host.vms.resize(3);
    host.vms[0].power = PowerState::kOn;
    host.vms[0].guest_shutdown_at = 2000;
    host.vms[1].power = PowerState::kSuspended;
    host.vms[2].power = PowerState::kOff;
    host.poweroff_at = 1000;
    return host;
}

TEST(HostPowerTest, CutPowersRunningVmsOffKeepsSuspendedOnesAndMaintenance) {
    HostState host = PoweringOffHost();
    SettleHost(&host, 999.9);
    EXPECT_FALSE(host.powered_off);
    EXPECT_EQ(PowerState::kOn, host.vms[0].power);
    SettleHost(&host, 1000);
    EXPECT_TRUE(host.powered_off);
    EXPECT_EQ(0, host.poweroff_at);
    EXPECT_EQ(PowerState::kOff, host.vms[0].power);
    EXPECT_EQ(0, host.vms[0].guest_shutdown_at) << "nothing goes on after the cut";
    EXPECT_EQ(PowerState::kSuspended, host.vms[1].power);
    EXPECT_EQ(PowerState::kOff, host.vms[2].power);
    EXPECT_TRUE(host.in_maintenance);
}

TEST(HostPowerTest, BootMomentsGateLoginsAndHostdAndAreForgottenOnceTheyHavePassed) {
    HostState host;
    host.boot_ssh_at = 100;
    host.boot_hostd_at = 110;
    EXPECT_FALSE(AcceptsLogins(host, 99));
    EXPECT_FALSE(HostdAnswers(host, 105));
    EXPECT_TRUE(AcceptsLogins(host, 100));
    EXPECT_TRUE(HostdAnswers(host, 110));
    SettleHost(&host, 105);
    EXPECT_EQ(0, host.boot_ssh_at);
    EXPECT_EQ(110, host.boot_hostd_at);
    SettleHost(&host, 110);
    EXPECT_EQ(0, host.boot_hostd_at);
    host.powered_off = true;
    EXPECT_FALSE(AcceptsLogins(host, 200));
    EXPECT_FALSE(HostdAnswers(host, 200));
}

// A power cut at 1000 and a boot scheduled for 1030 (SSH) and 1040 (hostd), written before either: off from
// the cut to the first boot moment, then on, hostd later.
TEST(HostPowerTest, ScheduledBootBringsThePoweredOffHostBack) {
    HostState host = PoweringOffHost();
    host.boot_ssh_at = 1030;
    host.boot_hostd_at = 1040;
    HostState at_once = host;
    SettleHost(&host, 1010);
    EXPECT_TRUE(host.powered_off);
    EXPECT_FALSE(AcceptsLogins(host, 1010));
    SettleHost(&host, 1035);
    EXPECT_FALSE(host.powered_off);
    EXPECT_TRUE(AcceptsLogins(host, 1035));
    EXPECT_FALSE(HostdAnswers(host, 1035));
    EXPECT_EQ(PowerState::kOff, host.vms[0].power) << "what ran before the cut stays off";
    EXPECT_TRUE(host.in_maintenance);
    SettleHost(&at_once, 1045);
    EXPECT_FALSE(at_once.powered_off) << "read only after everything: cut, then boot";
    EXPECT_TRUE(HostdAnswers(at_once, 1045));
    EXPECT_EQ(PowerState::kOff, at_once.vms[0].power);
}

// The host's uptime counts from the moment it came back on; a host that was never off has been up for years.
TEST(HostPowerTest, UptimeCountsFromTheFirstBootMomentAfterTheCut) {
    HostState host = PoweringOffHost();
    EXPECT_EQ(86400000000LL, UptimeMicroseconds(host, kLongUpSince + 86400)) << "never off: up for long";
    host.boot_ssh_at = 1030;
    host.boot_hostd_at = 1040;
    SettleHost(&host, 1020);
    EXPECT_EQ(0, host.booted_at) << "still off";
    SettleHost(&host, 1045);
    EXPECT_EQ(1030, host.booted_at);
    EXPECT_EQ(15000000, UptimeMicroseconds(host, 1045));
    SettleHost(&host, 1050);
    EXPECT_EQ(1030, host.booted_at) << "hostd's start is not another boot";
}

TEST(HostPowerTest, BootMomentsOfAHostThatIsOnLeaveItsBootTime) {
    HostState host;
    host.booted_at = 500;
    host.boot_ssh_at = 600;
    SettleHost(&host, 700);
    EXPECT_EQ(500, host.booted_at);
}

TEST(HostPowerTest, BootDueBeforeTheCutDoesNotBringTheHostBack) {
    HostState host = PoweringOffHost();
    host.boot_ssh_at = 990;
    SettleHost(&host, 1020);
    EXPECT_TRUE(host.powered_off);
    EXPECT_EQ(0, host.boot_ssh_at);
    host.powered_off = true;
    host.boot_hostd_at = 1100;
    SettleHost(&host, 1100);
    EXPECT_FALSE(host.powered_off) << "a test's own boot of a host that is off";
}

class EsxcliTest : public ::testing::Test {
protected:
    void SetHost(const std::string& text) { dir_.Write("state", text); }

    std::string Run(const std::string& program, const std::vector<std::string>& args) {
        std::ostringstream out;
        status_ = RunHostProgram(program, args, StateStore(dir_.file("state")), out);
        return out.str();
    }

    std::string PowerOff(const std::vector<std::string>& options) {
        std::vector<std::string> args = {"system", "shutdown", "poweroff"};
        args.insert(args.end(), options.begin(), options.end());
        return Run("esxcli", args);
    }

    HostState Host() const {
        HostState host;
        std::string error;
        EXPECT_TRUE(StateStore(dir_.file("state")).Read(&host, &error)) << error;
        return host;
    }

    TempDir dir_;
    int status_ = -1;
};

TEST_F(EsxcliTest, PowerOffWithoutAReasonPrintsTheErrorAndTheUsage) {
    SetHost("maintenance yes\n");
    EXPECT_EQ(std::string("Error: Missing required parameter -r|--reason\n") + kPowerOffUsage, PowerOff({"-d", "10"}));
    EXPECT_EQ(1, status_);
    EXPECT_EQ(0, Host().poweroff_at);
}

TEST_F(EsxcliTest, PowerOffOutsideMaintenanceModeIsRefused) {
    SetHost(kThreeVms);
    EXPECT_EQ("The operation is not allowed in the current state.\n", PowerOff({"-d", "10", "-r", "UPS"}));
    EXPECT_EQ(1, status_);
    EXPECT_EQ(0, Host().poweroff_at);
    EXPECT_FALSE(Host().powered_off);
}

TEST_F(EsxcliTest, AcceptedPowerOffPrintsNothingAndTheHostIsOffAfterTheDelay) {
    SetHost(std::string("maintenance yes\n") + kThreeVms);
    double start = EpochNow();
    EXPECT_EQ("", PowerOff({"-d", "1", "-r", "Power cut"}));
    EXPECT_EQ(0, status_);
    HostState host = Host();
    EXPECT_NEAR(start + 1, host.poweroff_at, 0.2);
    EXPECT_FALSE(host.powered_off);
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", Run("vim-cmd", {"vmsvc/power.getstate", "1"}));
    SleepFor(1.1);
    host = Host();
    EXPECT_TRUE(host.powered_off);
    EXPECT_TRUE(host.in_maintenance);
    EXPECT_EQ(PowerState::kOff, host.FindVm("1")->power);
    EXPECT_EQ(PowerState::kSuspended, host.FindVm("2")->power);
    EXPECT_EQ(PowerState::kOff, host.FindVm("3")->power);
}

TEST_F(EsxcliTest, OptionsInTheirLongFormsAndAnEarlierPowerOffStands) {
    SetHost("maintenance yes\n");
    double start = EpochNow();
    EXPECT_EQ("", PowerOff({"--reason=UPS on battery", "--delay=300"}));
    EXPECT_NEAR(start + 300, Host().poweroff_at, 1);
    EXPECT_EQ("", PowerOff({"--delay", "30", "--reason", "sooner"}));
    EXPECT_NEAR(start + 30, Host().poweroff_at, 1);
    EXPECT_EQ("", PowerOff({"-r", "now"}));
    EXPECT_TRUE(Host().powered_off) << "no delay: at once";
}

TEST_F(EsxcliTest, BadDelayAndUnknownOptionPrintTheUsage) {
    SetHost("maintenance yes\n");
    EXPECT_EQ(std::string("Error: Invalid value for -d|--delay: soon\n") + kPowerOffUsage,
              PowerOff({"-d", "soon", "-r", "x"}));
    EXPECT_EQ(1, status_);
    EXPECT_EQ(std::string("Error: Invalid option --force\n") + kPowerOffUsage, PowerOff({"--force", "-r", "x"}));
    EXPECT_EQ(std::string("Error: Invalid option -r\n") + kPowerOffUsage, PowerOff({"-r"}));
    EXPECT_EQ(0, Host().poweroff_at);
}

TEST_F(EsxcliTest, MaintenanceModeGetListingsAndUnknownCommands) {
    SetHost("maintenance yes\n");
    EXPECT_EQ("Enabled\n", Run("esxcli", {"system", "maintenanceMode", "get"}));
    SetHost("maintenance no\n");
    EXPECT_EQ("Disabled\n", Run("esxcli", {"system", "maintenanceMode", "get"}));
    EXPECT_EQ(0, status_);
    EXPECT_EQ(0u, Run("esxcli", {"system", "shutdown"}).find("Usage: esxcli system shutdown {cmd} [cmd options]\n"));
    EXPECT_EQ("Error: Unknown command or namespace system uptime get\n\n",
              Run("esxcli", {"system", "uptime", "get"}));
    EXPECT_EQ(1, status_);
    EXPECT_EQ("", Run("esxcli", {"system", "shutdown", "reboot", "-r", "x"})) << "not simulated: standard error";
    EXPECT_EQ(1, status_);
}

// A line of digits, microseconds since the host came on (booted_at), as ESXi 5.x to 8.x print it.
TEST_F(EsxcliTest, StatsUptimeGetPrintsMicrosecondsSinceTheBoot) {
    double booted = EpochNow() - 42.5;
    SetHost("booted_at " + std::to_string(booted) + "\n");
    std::string text = Run("esxcli", {"system", "stats", "uptime", "get"});
    EXPECT_EQ(0, status_);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ('\n', text.back());
    EXPECT_EQ(std::string::npos, text.substr(0, text.size() - 1).find_first_not_of("0123456789")) << text;
    long long micros = std::stoll(text);
    EXPECT_GE(micros, 42000000);
    EXPECT_LT(micros, 52000000);
    SetHost("hostname esx01\n");
    EXPECT_GT(std::stoll(Run("esxcli", {"system", "stats", "uptime", "get"})), 86400LL * 365 * 1000000)
        << "no booted_at: up for years";
    EXPECT_EQ("Error: Unknown command or namespace system stats uptime get now\n\n",
              Run("esxcli", {"system", "stats", "uptime", "get", "now"}));
    EXPECT_EQ(1, status_);
}

TEST_F(EsxcliTest, ProgramsOfAHostThatIsOffPrintNothingAndFail) {
    SetHost("powered_off yes\nhostname esx01\nvm 1\npower off\n");
    for (const char* program : {"vim-cmd", "hostname", "esxcli", "vmware"}) {
        EXPECT_EQ("", Run(program, {"-v"})) << program;
        EXPECT_EQ(1, status_) << program;
    }
}

TEST_F(EsxcliTest, VimCmdCannotReachHostdUntilItHasStarted) {
    SetHost("hostname esx01\nboot_hostd_at " + std::to_string(EpochNow() + 1) + "\nvm 1\npower off\n");
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{}, {"vmsvc/getallvms"}, {"vmsvc/power.on", "1"}, {"hostsvc/hostsummary"}}) {
        EXPECT_EQ("Connect to localhost failed: Connection failure\n", Run("vim-cmd", args));
        EXPECT_EQ(1, status_);
    }
    EXPECT_EQ(PowerState::kOff, Host().FindVm("1")->power);
    EXPECT_EQ("esx01\n", Run("hostname", {}));
    SleepFor(1.1);
    EXPECT_EQ("Powering on VM:\n", Run("vim-cmd", {"vmsvc/power.on", "1"}));
}

}  // namespace
}  // namespace esxisim
