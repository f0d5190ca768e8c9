// A host that goes away and comes back, through the real plink and sshd against the simulated host:
// reboot_vms -waitminutes waits for a host that is still booting (logins refused, then vim-cmd that cannot
// reach hostd) and brings every marked VM back; a wrong password or a changed host key end the wait at
// once; suspend_vms -poweroff powers the host off once every VM is stopped and the list file is saved,
// and never when a VM was left running.
#include <gtest/gtest.h>

#include <signal.h>
#include <time.h>

#include <atomic>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "host_clock.h"
#include "processes.h"
#include "real_client_fixture.h"
#include "shell_log.h"
#include "sshd_fixture_process.h"
#include "state_store.h"
#include "text_wait.h"

namespace {

// The booting host of the tests: logins are refused for 8 s, vim-cmd cannot reach hostd for 14 s.
const int kSshAfterSeconds = 8;
const int kHostdAfterSeconds = 14;
const int kPowerOffDelaySeconds = 10;  // the tool's -d

const char kPowerOffLine[] = "esxcli system shutdown poweroff -d 10 -r \"VmNap: VMs suspended\"";

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

class HostPowerCycle : public RealClient {
protected:
    // The state keys of a host that has just been switched on: its SSH service and hostd come later.
    static std::string Booting() {
        double now = esxisim::EpochNow();
        return "powered_off no\nboot_ssh_at " + std::to_string(now + kSshAfterSeconds) + "\nboot_hostd_at " +
               std::to_string(now + kHostdAfterSeconds) + "\n";
    }
    // Two VMs a suspend marked, on a host in maintenance mode that is booting, and their list file.
    void SetBootingHostWithMarkedVms() {
        SetHostInAnyOrder(Host("yes", 2) + Booting() + Vm("1", "web01", "suspended") + Vm("2", "db01", "suspended") +
                          Vm("3", "backup", "off"));
        work_.Write(kListFile, ListFile("true", "true",
                                        Row("1", "web01", "Suspended", "to reboot") +
                                            Row("2", "db01", "Suspended", "to reboot") +
                                            Row("3", "backup", "Powered off")));
    }
    std::vector<std::string> ShellLog() const { return esxisim::ReadShellLogCommands(StatePath()); }
    size_t ShellLogCount(const std::string& start) const {
        size_t count = 0;
        for (const std::string& line : ShellLog())
            if (line.compare(0, start.size(), start) == 0) ++count;
        return count;
    }
};

// Without -waitminutes the tool tries once, as it always has: the host refuses the login and the run ends
// at once with 3, nothing changed.
TEST_F(HostPowerCycle, WithoutWaitingABootingHostIs3AtOnce) {
    SetBootingHostWithMarkedVms();
    ProgramResult r = Run("reboot_vms");
    EXPECT_EQ(3, r.exit_status) << Explain(r);
    EXPECT_LT(remote_.last_seconds(), kSshAfterSeconds) << Explain(r);
    EXPECT_TRUE(PowerIs("1", esxisim::PowerState::kSuspended) && PowerIs("2", esxisim::PowerState::kSuspended));
    EXPECT_TRUE(Settled().in_maintenance);
    RecordProperty("seconds", remote_.last_seconds());
}

// With -waitminutes 1 the tool tries again every few seconds: through the refused logins and the vim-cmd
// that cannot reach hostd, then the resume as always.
TEST_F(HostPowerCycle, ResumeWaitsForABootingHostAndBringsEveryMarkedVmBack) {
    SetBootingHostWithMarkedVms();
    ProgramResult r = Run("reboot_vms", {"-waitminutes", "1", "-D", "verbose"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_GE(remote_.last_seconds(), kHostdAfterSeconds) << Explain(r);
    EXPECT_TRUE(PowerIs("1", esxisim::PowerState::kOn) && PowerIs("2", esxisim::PowerState::kOn)) << HostNow();
    EXPECT_TRUE(PowerIs("3", esxisim::PowerState::kOff)) << HostNow();
    EXPECT_FALSE(Settled().in_maintenance);
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Powered on", "rebooted") + Row("2", "db01", "Powered on", "rebooted") +
                           Row("3", "backup", "Powered off")),
              ListNow());
    // The tries before hostd answered reached no further than the first vim-cmd.
    EXPECT_GE(ShellLogCount("vim-cmd"), 3u);
    EXPECT_EQ(1u, ShellLogCount("vim-cmd hostsvc/maintenance_mode_exit"));
    RecordProperty("seconds", remote_.last_seconds());
}

// A wrong password is never tried again: one attempt, one failed password in sshd's log, 6.
TEST_F(HostPowerCycle, AWrongPasswordEndsTheWaitAt6AfterOneAttempt) {
    SetBootingHostWithMarkedVms();
    SetHostInAnyOrder(Host("yes", 2) + Vm("1", "web01", "suspended"));
    ProgramResult r = Run("reboot_vms", {"-waitminutes", "1", "-D", "verbose"}, "not-" + sshd_.password());
    EXPECT_EQ(6, r.exit_status) << Explain(r);
    EXPECT_EQ(std::string::npos, r.out.find("trying again")) << r.out;
    EXPECT_LT(remote_.last_seconds(), 15) << Explain(r);
    sshd_.WaitForSshdLog("Connection closed", 5);
    std::string log = sshd_.ReadSshdLog();
    EXPECT_EQ(1u, CountOf(log, "Failed password for " + sshd_.user() + " ")) << log;
    EXPECT_EQ(0u, CountOf(log, "Accepted password for ")) << log;
    EXPECT_TRUE(PowerIs("1", esxisim::PowerState::kSuspended));
    RecordProperty("seconds", remote_.last_seconds());
}

// A host key that changed since it was cached is refused (3, no password sent) and never tried again.
TEST_F(HostPowerCycle, AChangedHostKeyEndsTheWaitAt3AfterOneAttempt) {
    SetHostInAnyOrder(Host("no", 1) + Vm("1", "web01", "on"));
    ProgramResult first = Run("account_check");
    ASSERT_EQ(0, first.exit_status) << Explain(first);
    ASSERT_TRUE(sshd_.ReplaceHostKey()) << sshd_.error();
    ProgramResult r = Run("account_check", {"-waitminutes", "1", "-D", "verbose"});
    EXPECT_EQ(3, r.exit_status) << Explain(r);
    EXPECT_LT(remote_.last_seconds(), 15) << Explain(r);
    EXPECT_EQ(std::string::npos, r.out.find("trying again")) << r.out;
    EXPECT_EQ(1u, CountOf(r.out, "has changed: connection cancelled, no password sent")) << r.out;
    EXPECT_EQ(1u, CountOf(sshd_.ReadSshdLog(), "Accepted password for ")) << sshd_.ReadSshdLog();
}

// A stop asked for while the tool waits for the host ends the wait at once with 17.
TEST_F(HostPowerCycle, ASignalDuringTheWaitEndsItAtOnceWith17) {
    SetBootingHostWithMarkedVms();
    SetHostInAnyOrder(Host("yes", 2) + "powered_off yes\n" + Vm("1", "web01", "suspended"));
    PipedProcess tool;
    ASSERT_TRUE(StartRun(tool, Command("reboot_vms", {"-waitminutes", "1", "-D", "verbose"})));
    // The first try: the host takes the password and closes the connection; then the tool pauses.
    ASSERT_TRUE(sshd_.WaitForSshdLog("Accepted password for", 30)) << sshd_.ReadSshdLog();
    SleepSeconds(1.5);
    double signalled = Now();
    ASSERT_EQ(0, kill(tool.pid(), SIGTERM));
    EXPECT_EQ(17, tool.Wait(30)) << tool.output();
    EXPECT_LT(Now() - signalled, 1.0) << tool.output();
    EXPECT_NE(std::string::npos, tool.output().find("BootWait: the host is not ready yet (status 3): "
                                                    "trying again in 5 s\n"))
        << tool.output();
    EXPECT_NE(std::string::npos, tool.output().find("main: stopped by signal 15 before the next step\n"))
        << tool.output();
    EXPECT_EQ(1u, CountOf(sshd_.ReadSshdLog(), "Accepted password for")) << sshd_.ReadSshdLog();
}

// Four running VMs stopped under -onrefusal poweroff, the host in maintenance mode, the list file saved:
// then the power-off, the last command the host receives. Once the host is off and has booted again,
// reboot_vms -waitminutes 1 brings every VM back.
TEST_F(HostPowerCycle, PowerOffAfterTheSuspendAndEveryVmBackAfterTheBoot) {
    SetHostInAnyOrder(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "storage", "on") +
                      "passthrough yes\nshutdown_seconds 2\n" + Vm("3", "gpu", "on") + "passthrough yes\ntools no\n" +
                      Vm("4", "backup", "off"));
    // The list file as it is when the power-off reaches the host's shell.
    std::atomic<bool> done(false);
    std::string list_at_power_off = "(the power-off never reached the shell)";
    std::thread watch([&] {
        while (!done) {
            std::vector<std::string> log = ShellLog();
            if (!log.empty() && log.back().compare(0, 6, "esxcli") == 0) {
                list_at_power_off = work_.Read(kListFile);
                return;
            }
            SleepSeconds(0.01);
        }
    });
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "poweroff", "-poweroff"});
    done = true;
    watch.join();
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(ListNow(), list_at_power_off);
    // The file records the moment the power-off was asked for, in the tool's clock.
    std::smatch recorded;
    std::string list = ListNow();
    ASSERT_TRUE(std::regex_search(list, recorded,
                                  std::regex("<esxiserver host=\"127\\.0\\.0\\.1\" maintenancemode=\"true\" "
                                             "poweroffat=\"([0-9]+)\" reboot=\"true\">")))
        << list;
    EXPECT_LE(std::stoll(recorded[1]), static_cast<long long>(time(nullptr)));
    EXPECT_GE(std::stoll(recorded[1]), static_cast<long long>(time(nullptr)) - 60);
    std::vector<std::string> log = ShellLog();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(kPowerOffLine, log.back());
    EXPECT_EQ(1u, ShellLogCount("esxcli"));
    EXPECT_FALSE(Settled().powered_off) << "the host waits for its delay";
    SleepSeconds(kPowerOffDelaySeconds + 1);
    esxisim::HostState off = Settled();
    EXPECT_TRUE(off.powered_off) << HostNow();
    EXPECT_TRUE(off.in_maintenance);
    RecordProperty("suspend_seconds", remote_.last_seconds());

    // Switched on again: the VMs come back once the host has booted (it comes on at its first boot moment).
    std::string error;
    ASSERT_TRUE(esxisim::StateStore(StatePath()).Update(
        [](esxisim::HostState* host) {
            double now = esxisim::EpochNow();
            host->boot_ssh_at = now + kSshAfterSeconds;
            host->boot_hostd_at = now + kHostdAfterSeconds;
        },
        &error))
        << error;
    ProgramResult resume = Run("reboot_vms", {"-waitminutes", "1"});
    ASSERT_EQ(0, resume.exit_status) << Explain(resume);
    for (const char* id : {"1", "2", "3"})
        EXPECT_TRUE(PowerIs(id, esxisim::PowerState::kOn)) << id << "\n" << HostNow();
    EXPECT_TRUE(PowerIs("4", esxisim::PowerState::kOff)) << HostNow();
    EXPECT_FALSE(Settled().in_maintenance);
    RecordProperty("resume_seconds", remote_.last_seconds());
}

// The mains back within the power-off's delay: the host is still up, in maintenance mode. A resume without
// -waitminutes reads its uptime, finds that it has not gone down since the power-off was asked for, ends
// with 3 and touches nothing; once the host has been off and booted, the resume brings every VM back.
TEST_F(HostPowerCycle, AResumeDuringThePowerOffDelayLeavesTheHostAloneWith3) {
    SetHostInAnyOrder(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "backup", "off"));
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "poweroff", "-poweroff"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    std::string list = ListNow();
    ProgramResult early = Run("reboot_vms");
    EXPECT_EQ(3, early.exit_status) << Explain(early);
    EXPECT_FALSE(Settled().powered_off) << "the resume came within the delay";
    EXPECT_NE(std::string::npos, early.out.find("the host was asked to power off and was not seen booted since: "
                                                "the resume leaves it alone, nothing is changed, every mark is kept"))
        << early.out;
    EXPECT_EQ(list, ListNow()) << "every mark and the power-off kept";
    EXPECT_EQ(1u, ShellLogCount("esxcli system stats uptime get"));
    EXPECT_EQ(0u, ShellLogCount("vim-cmd hostsvc/maintenance_mode_exit"));
    EXPECT_TRUE(PowerIs("1", esxisim::PowerState::kSuspended));
    RecordProperty("early_resume_seconds", remote_.last_seconds());

    SleepSeconds(kPowerOffDelaySeconds + 1);
    ASSERT_TRUE(Settled().powered_off) << HostNow();
    std::string error;
    ASSERT_TRUE(esxisim::StateStore(StatePath()).Update(
        [](esxisim::HostState* host) {
            double now = esxisim::EpochNow();
            host->boot_ssh_at = now + 2;
            host->boot_hostd_at = now + 4;
        },
        &error))
        << error;
    ProgramResult resume = Run("reboot_vms", {"-waitminutes", "1"});
    ASSERT_EQ(0, resume.exit_status) << Explain(resume);
    EXPECT_TRUE(PowerIs("1", esxisim::PowerState::kOn)) << HostNow();
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOff)) << HostNow();
    EXPECT_FALSE(Settled().in_maintenance);
    std::string resumed = ListFile("false", "false",
                                   Row("1", "web01", "Powered on", "rebooted") + Row("2", "backup", "Powered off"));
    resumed.replace(resumed.find(" timeout="), 0, " stopped=\"suspended\"");
    EXPECT_EQ(resumed, ListNow()) << "the record of the power-off is gone";
}

// A VM left running (-onrefusal skip, a passthrough VM) is 18 as always, and the host is not powered off.
TEST_F(HostPowerCycle, APowerOffIsNeverSentWhenAVmIsLeftRunning) {
    SetHostInAnyOrder(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "gpu", "on") + "passthrough yes\n");
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "skip", "-poweroff"});
    EXPECT_EQ(18, r.exit_status) << Explain(r);
    EXPECT_EQ(0u, ShellLogCount("esxcli")) << HostNow();
    EXPECT_NE(std::string::npos,
              r.out.find("host not powered off: the suspend ended with status 18"))
        << r.out;
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn));
    EXPECT_FALSE(Settled().powered_off);
    EXPECT_FALSE(Settled().in_maintenance);
}

}  // namespace
