// The tool in a VM of the host it takes down (-self), through the real plink and sshd against the
// simulated host: every other VM is stopped in the tool's session, the list file marks them and the tool's
// own VM, and one detached command left on the host stops that VM after the session has ended, enters
// maintenance mode and powers the host off; reboot_vms brings every VM back. A -self that names no VM is
// 1 with nothing changed, one that does not run makes a normal run, and a VM left running means no
// detached command at all.
#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "host_clock.h"
#include "processes.h"
#include "real_client_fixture.h"
#include "shell_log.h"
#include "state_store.h"

namespace {

const char kDetachedStart[] =
    "vmnap_detach=$(command -v setsid || command -v nohup); if [ -n \"$vmnap_detach\" ]; then (\"$vmnap_detach\" sh -c '";
const char kLeftToHost[] = "left to the host after the tool's session";
const int kPowerOffDelaySeconds = 10;  // the tool's -d

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// A list-file row with the way the run stopped the VM.
std::string StoppedRow(const std::string& id, const std::string& name, const std::string& status,
                       const std::string& mark, const std::string& stopped) {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\" name=\"" + name + "\"" + reboot + " status=\"" + status +
           "\" stopped=\"" + stopped + "\" timeout=\"300\"></virtualmachineserver>";
}

class ToolInAVmOfTheHost : public RealClient {
protected:
    // web01 and db01 suspend, gpu (passthrough, no Tools) is powered off under -onrefusal poweroff, backup
    // is off; "nut client" is the VM the tool runs in. `self_keys`: more keys of that VM.
    void SetHostWithSelfVm(const std::string& self_keys = "") {
        SetHostInAnyOrder(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "nut client", "on") + self_keys +
                          Vm("3", "db01", "on") + Vm("4", "backup", "off"));
    }
    std::vector<std::string> ShellLog() const { return esxisim::ReadShellLogCommands(StatePath()); }
    size_t DetachedLines() const {
        size_t count = 0;
        for (const std::string& line : ShellLog())
            if (line.compare(0, sizeof(kDetachedStart) - 1, kDetachedStart) == 0) ++count;
        return count;
    }
    // Polls the host until `done` holds; the seconds it took, or -1 after `limit` seconds.
    template <typename Done>
    double WaitFor(Done done, double limit) const {
        double start = Now();
        while (Now() - start < limit) {
            if (done()) return Now() - start;
            SleepSeconds(0.2);
        }
        return -1;
    }
    // Nothing of the test account runs any more: the detached command has ended.
    bool AccountIdle() const { return sshd_.AccountProcesses().empty(); }
};

// The whole cycle: at the tool's exit its VM still runs and the list file already marks it; the host then
// suspends it, enters maintenance mode and powers off, and the detached line was the last the shell got.
TEST_F(ToolInAVmOfTheHost, TheHostStopsTheToolsVmLastThenEntersMaintenanceAndPowersOff) {
    SetHostWithSelfVm();
    // The list file as it is when the detached line reaches the host's shell.
    std::atomic<bool> done(false);
    std::string list_at_detach = "(the detached line never reached the shell)";
    std::thread watch([&] {
        while (!done) {
            std::vector<std::string> log = ShellLog();
            if (!log.empty() && log.back().compare(0, sizeof(kDetachedStart) - 1, kDetachedStart) == 0) {
                list_at_detach = work_.Read(kListFile);
                return;
            }
            SleepSeconds(0.01);
        }
    });
    double start = Now();
    ProgramResult r = Run("suspend_vms", {"-self", "nut client", "-onrefusal", "poweroff", "-poweroff"});
    double exited = Now();
    done = true;
    watch.join();
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(ListNow(), list_at_detach);
    // Right at the exit: the tool's VM runs, the others are stopped, the host is not in maintenance mode.
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn)) << HostNow();
    EXPECT_TRUE(PowerIs("1", esxisim::PowerState::kSuspended) && PowerIs("3", esxisim::PowerState::kSuspended))
        << HostNow();
    EXPECT_FALSE(Settled().in_maintenance);
    EXPECT_EQ(ListFile("false", "true",
                       StoppedRow("1", "web01", "Suspended", "to reboot", "suspended") +
                           StoppedRow("2", "nut client", "Powered on", "to reboot", kLeftToHost) +
                           StoppedRow("3", "db01", "Suspended", "to reboot", "suspended") +
                           Row("4", "backup", "Powered off")),
              ListNow());
    std::vector<std::string> log = ShellLog();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(0u, log.back().find(kDetachedStart)) << log.back();
    EXPECT_NE(std::string::npos, log.back().find("vim-cmd vmsvc/power.suspend 2;")) << log.back();
    EXPECT_EQ(1u, DetachedLines());
    for (const std::string& line : log) {
        EXPECT_NE("vim-cmd vmsvc/power.suspend 2", line) << "the tool's session suspended its own VM";
        EXPECT_NE(0u, line.find("esxcli")) << "the tool's session sent the power-off itself";
        EXPECT_NE("vim-cmd hostsvc/maintenance_mode_enter", line);
    }

    ASSERT_GE(WaitFor([&] { return PowerIs("2", esxisim::PowerState::kSuspended); }, 90), 0) << HostNow();
    double suspended_after_exit = Now() - exited;
    ASSERT_GE(WaitFor([&] { return Settled().in_maintenance; }, 30), 0) << HostNow();
    double in_maintenance_after_exit = Now() - exited;
    ASSERT_GE(WaitFor([&] { return Settled().powered_off; }, kPowerOffDelaySeconds + 20), 0) << HostNow();
    double powered_off_after_exit = Now() - exited;
    EXPECT_TRUE(Settled().in_maintenance);
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kSuspended));
    EXPECT_GE(suspended_after_exit, 1.5) << "the host waited for the session to end";
    EXPECT_GE(powered_off_after_exit - in_maintenance_after_exit, kPowerOffDelaySeconds - 1.0);
    EXPECT_TRUE(WaitFor([&] { return AccountIdle(); }, 10) >= 0);
    EXPECT_EQ(1u, DetachedLines());  // the detached command's own commands are not shell lines
    RecordProperty("suspend_seconds", static_cast<int>(exited - start));
    RecordProperty("self_suspended_after_exit", static_cast<int>(suspended_after_exit + 0.5));
    RecordProperty("maintenance_after_exit", static_cast<int>(in_maintenance_after_exit + 0.5));
    RecordProperty("host_off_after_exit", static_cast<int>(powered_off_after_exit + 0.5));

    // Switched on again: reboot_vms leaves maintenance mode and brings every VM back, the tool's too.
    std::string error;
    ASSERT_TRUE(esxisim::StateStore(StatePath()).Update([](esxisim::HostState* host) { host->powered_off = false; },
                                                        &error))
        << error;
    double resume_start = Now();
    ProgramResult resume = Run("reboot_vms");
    RecordProperty("resume_seconds", static_cast<int>(Now() - resume_start + 0.5));
    ASSERT_EQ(0, resume.exit_status) << Explain(resume);
    for (const char* id : {"1", "2", "3"})
        EXPECT_TRUE(PowerIs(id, esxisim::PowerState::kOn)) << id << "\n" << HostNow();
    EXPECT_TRUE(PowerIs("4", esxisim::PowerState::kOff)) << HostNow();
    EXPECT_FALSE(Settled().in_maintenance);
    EXPECT_EQ(std::string::npos, ListNow().find("to reboot")) << ListNow();
}

// A host whose busybox has nohup and no setsid (as public scripts for the ESXi shell assume): the command
// is detached with nohup, outlives the session all the same, and the host suspends the tool's VM and
// enters maintenance mode.
TEST_F(ToolInAVmOfTheHost, OnAHostWithNohupInPlaceOfSetsidTheCommandIsDetachedWithNohup) {
    std::string bin = sshd_.shell_path() + ".d/bin/";
    ASSERT_EQ(0, unlink((bin + "setsid").c_str()));
    ASSERT_EQ(0, symlink("/usr/bin/nohup", (bin + "nohup").c_str()));
    SetHostWithSelfVm();
    ProgramResult r = Run("suspend_vms", {"-self", "nut client"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn)) << HostNow();
    EXPECT_EQ(1u, DetachedLines());
    ASSERT_GE(WaitFor([&] { return PowerIs("2", esxisim::PowerState::kSuspended); }, 90), 0) << HostNow();
    ASSERT_GE(WaitFor([&] { return Settled().in_maintenance; }, 30), 0) << HostNow();
    EXPECT_TRUE(WaitFor([&] { return AccountIdle(); }, 10) >= 0);
}

// The tool's VM cannot be suspended (passthrough) and has no Tools: the host powers it off, then enters
// maintenance mode.
TEST_F(ToolInAVmOfTheHost, APassthroughSelfVmEndsPoweredOffUnderOnRefusalPowerOff) {
    SetHostWithSelfVm("passthrough yes\ntools no\n");
    ProgramResult r = Run("suspend_vms", {"-self", "2", "-onrefusal", "poweroff"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn)) << HostNow();
    ASSERT_GE(WaitFor([&] { return Settled().in_maintenance; }, 90), 0) << HostNow();
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOff)) << HostNow();
    EXPECT_FALSE(Settled().powered_off) << "no -poweroff";
    EXPECT_GE(WaitFor([&] { return AccountIdle(); }, 10), 0);
}

// The same VM with Tools, whose guest takes 2 s to shut down, under -onrefusal shutdown: the host waits for
// the guest, then enters maintenance mode.
TEST_F(ToolInAVmOfTheHost, APassthroughSelfVmWithToolsIsShutDownUnderOnRefusalShutdown) {
    SetHostWithSelfVm("passthrough yes\nshutdown_seconds 2\n");
    ProgramResult r = Run("suspend_vms", {"-self", "nut client", "-onrefusal", "shutdown", "-shutdownminutes", "1"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn)) << "the tool's session stopped its own VM\n" << HostNow();
    ASSERT_GE(WaitFor([&] { return Settled().in_maintenance; }, 90), 0) << HostNow();
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOff)) << HostNow();
    EXPECT_GE(WaitFor([&] { return AccountIdle(); }, 10), 0);
}

// Under the default policy the host only tries the suspend: refused, the VM keeps running and the host
// stays out of maintenance mode. The tool had exited with 0 before; it cannot know. The next run finds
// the host as it is.
TEST_F(ToolInAVmOfTheHost, UnderTheDefaultPolicyARefusingSelfVmKeepsRunningAndTheHostStaysOut) {
    SetHostWithSelfVm("passthrough yes\n");
    ProgramResult r = Run("suspend_vms", {"-self", "nut client", "-poweroff"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    ASSERT_GE(WaitFor([&] { return AccountIdle(); }, 90), 0) << "the detached command never ended";
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn)) << HostNow();
    EXPECT_FALSE(Settled().in_maintenance);
    EXPECT_FALSE(Settled().powered_off);
    EXPECT_EQ(0.0, Settled().poweroff_at);
}

TEST_F(ToolInAVmOfTheHost, ASelfThatNamesNoVmIs1AndNothingIsSentBeyondTheListing) {
    SetHostWithSelfVm();
    std::string before = HostNow();
    ProgramResult r = Run("suspend_vms", {"-self", "nut", "-onrefusal", "poweroff", "-poweroff"});
    EXPECT_EQ(1, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos, r.out.find("no VM of the host has the id or name 'nut' (-self)")) << r.out;
    for (const std::string& line : ShellLog())
        EXPECT_TRUE(line == "vim-cmd" || line.find("getallvms") != std::string::npos ||
                    line.find("power.getstate") != std::string::npos || line.find("hostsummary") != std::string::npos)
            << line;
    EXPECT_EQ(before, HostNow());
}

// The tool's VM is off (the tool runs elsewhere today): a normal run, maintenance mode in the session.
TEST_F(ToolInAVmOfTheHost, ASelfVmThatIsOffMakesANormalRun) {
    SetHostInAnyOrder(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "nut client", "off"));
    ProgramResult r = Run("suspend_vms", {"-self", "nut client", "-D", "debug"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos,
              r.out.find("VM 2 nut client (-self) does not run: nothing is left to the host, a normal run"))
        << r.out;
    EXPECT_TRUE(Settled().in_maintenance);
    EXPECT_EQ(0u, DetachedLines());
    EXPECT_EQ(ListFile("true", "true", Row("1", "web01", "Suspended", "to reboot") + Row("2", "nut client", "Powered off")),
              ListNow());
}

// A VM left running (-onrefusal skip, a passthrough VM): 18 as always, no detached command, the tool's VM
// keeps running, one line says so.
TEST_F(ToolInAVmOfTheHost, AVmLeftRunningIs18AndNoCommandIsLeftToTheHost) {
    SetHostInAnyOrder(Host("no", 1) + Vm("1", "gpu", "on") + "passthrough yes\n" + Vm("2", "nut client", "on"));
    ProgramResult r = Run("suspend_vms", {"-self", "nut client", "-onrefusal", "skip", "-poweroff"});
    EXPECT_EQ(18, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos,
              r.out.find("nothing left to the host for the VM the tool runs in (-self): the suspend ended with status 18"))
        << r.out;
    EXPECT_EQ(0u, DetachedLines());
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn));
    EXPECT_FALSE(Settled().in_maintenance);
    EXPECT_EQ(std::string::npos, ListNow().find(kLeftToHost)) << ListNow();
}

// The host's autostart (or an operator) powered the tool's VM on before the resume: a marked VM that
// already runs counts as back, and the resume is 0.
TEST_F(ToolInAVmOfTheHost, AMarkedSelfVmThatAlreadyRunsCountsAsBack) {
    SetHostWithSelfVm();
    ProgramResult r = Run("suspend_vms", {"-self", "nut client"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(PowerIs("2", esxisim::PowerState::kOn)) << "the tool's session stopped its own VM\n" << HostNow();
    EXPECT_NE(std::string::npos, ListNow().find(StoppedRow("2", "nut client", "Powered on", "to reboot", kLeftToHost)))
        << ListNow();
    ASSERT_GE(WaitFor([&] { return Settled().in_maintenance; }, 90), 0) << HostNow();
    ASSERT_GE(WaitFor([&] { return AccountIdle(); }, 10), 0);
    std::string error;
    ASSERT_TRUE(esxisim::StateStore(StatePath()).Update(
        [](esxisim::HostState* host) {
            host->in_maintenance = false;
            for (esxisim::VmState& vm : host->vms)
                if (vm.id == "2") vm.SetPower(esxisim::PowerState::kOn);
        },
        &error))
        << error;
    ProgramResult resume = Run("reboot_vms");
    EXPECT_EQ(0, resume.exit_status) << Explain(resume);
    for (const char* id : {"1", "2", "3"})
        EXPECT_TRUE(PowerIs(id, esxisim::PowerState::kOn)) << id << "\n" << HostNow();
    EXPECT_NE(std::string::npos, ListNow().find("id=\"2\" name=\"nut client\" rebootstatus=\"rebooted\""))
        << ListNow();
}

}  // namespace
