// The whole power cut with NUT's own daemons (dummy-ups, upsd, upsmon, upssched) and the shipped
// contrib/nut script: on battery past the delay the script suspends the host with -onrefusal poweroff
// -poweroff from its host file, the simulated host powers itself off 10 s later, the mains come back and
// the test boots the host as the power's return would; the script's resume (with -waitminutes) brings
// every VM back as it was before the cut. A second test runs the same cycle with the tool in a VM of the
// host (-self). The last brings the mains back while the host is still in its power-off's delay: the resume
// must wait for the host to go down and come back.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "host_clock.h"
#include "nut_fixture.h"
#include "shell_log.h"
#include "simulated_host.h"
#include "simulated_hosts.h"
#include "sshd_fixture.h"
#include "state_store.h"
#include "temp_dir.h"
#include "text_wait.h"

namespace {

using simulated::Host;
using simulated::Vm;
using Clock = std::chrono::steady_clock;

const std::string kNutDir = std::string(VMNAP_CONTRIB_DIR) + "/nut/";
const char kPlink[] = "/usr/bin/plink";
const int kDelaySeconds = 4;        // on battery this long before the suspend
const int kNoticeSeconds = 15;      // upsmon polls every second; the log shows an event within a few
const int kSuspendSeconds = 90;     // check_maintenance_mode and suspend_vms
const int kPowerOffDelaySeconds = 10;  // the tool's -d
const int kResumeWaitMinutes = 2;   // VMNAP_RESUME_WAITMINUTES of the test's ups.conf
const char kHostOptions[] = "-onrefusal poweroff -poweroff";
const char kPowerOffLine[] = "esxcli system shutdown poweroff -d 10 -r \"VmNap: VMs suspended\"";
const char kUptimeLine[] = "esxcli system stats uptime get";
const char kExitLine[] = "vim-cmd hostsvc/maintenance_mode_exit";

double Since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A VM that suspends, a passthrough VM whose guest shuts down through VMware Tools in 2 s, one that is off
// and one that was suspended before the cut.
std::string HostBefore() {
    return Host("no", 1, "busybox", "esx01") + Vm("1", "web01", "on") + Vm("2", "db01", "on") +
           "passthrough yes\nshutdown_seconds 2\n" + Vm("3", "backup", "off") + Vm("4", "archive", "suspended");
}

class NutPowerCut : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        std::string error;
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        ASSERT_TRUE(hosts_.Prepare(&error)) << error;
        ASSERT_TRUE(hosts_.Set(0, HostBefore(), &error)) << error;
        ASSERT_EQ(0, symlink(kPlink, state_.file("plink").c_str()));
    }

    // The daemons with the shipped upssched.conf (a delay of a few seconds) and the host's options in its
    // host file's VMNAP_OPTIONS. A variant of the cycle (another host option) starts them with its own.
    void StartNut(const std::string& host_options) {
        std::string upssched = ShippedUpsschedConf(kNutDir, kDelaySeconds);
        ASSERT_FALSE(upssched.empty()) << "upssched.conf no longer has the lines this test adapts";
        settings_.Write("ups.conf", "VMNAP_UPS_HOSTS=esx01\nVMNAP_CONF_DIR=" + settings_.path() +
                                        "\nVMNAP_COMMAND=" VMNAP_EXE "\nVMNAP_STATE_DIR=" + state_.path() +
                                        "\nVMNAP_LOCK_DIR=" + settings_.file("locks") + "\nVMNAP_UPS_LOG=" +
                                        LogPath() + "\nVMNAP_RESUME_WAITMINUTES=" +
                                        std::to_string(kResumeWaitMinutes) + "\n");
        settings_.Write("esx01.conf", "VMNAP_HOST=" + hosts_.address(0) + "\nVMNAP_USER=" + sshd_.user() +
                                          "\nVMNAP_PASSWORD=\"" + sshd_.password() + "\"\nVMNAP_OPTIONS=" +
                                          host_options + " -D verbose\n");
        std::vector<std::string> env = sshd_.client_env();
        env.push_back("VMNAP_UPS_CONF=" + settings_.file("ups.conf"));
        ASSERT_TRUE(nut_.Start(ReadFile(kNutDir + "upsmon.conf.vmnap"), upssched, env)) << nut_.error();
    }

    // On battery past the delay: the script's suspend ends with 0 and the host has accepted its power-off.
    void SuspendOnBattery() {
        Clock::time_point on_battery = Clock::now();
        ASSERT_TRUE(nut_.SetStatus("OB"));
        ASSERT_TRUE(LogShows("esx01: suspend_vms exit status", kDelaySeconds + kNoticeSeconds + kSuspendSeconds))
            << Explain();
        ASSERT_NE(std::string::npos, Log().find("esx01: suspend_vms exit status 0 (success)")) << Explain();
        suspended_ = Clock::now();
        RecordProperty("suspend_seconds", std::to_string(Since(on_battery)));
        std::vector<std::string> log = esxisim::ReadShellLogCommands(hosts_.state_path(0));
        ASSERT_FALSE(log.empty());
        EXPECT_EQ(kPowerOffLine, log.back());
        std::string list = state_.Read("esx01.xml");
        EXPECT_EQ(2u, CountOf(list, "rebootstatus=\"to reboot\"")) << list;
        EXPECT_NE(std::string::npos, list.find(" poweroffat=\"")) << list;
    }

    // The host's power goes off after its delay.
    void WaitForThePowerOff() {
        Clock::time_point until = suspended_ + std::chrono::seconds(kPowerOffDelaySeconds + 5);
        while (!Settled().powered_off && Clock::now() < until) SleepSeconds(0.1);
        ASSERT_TRUE(Settled().powered_off) << Explain();
        RecordProperty("power_off_after_suspend_seconds", std::to_string(Since(suspended_)));
    }

    // The host boots as the power's return would start it: SSH after `ssh_after` s, hostd 10 s later.
    void Boot(int ssh_after) {
        std::string error;
        ASSERT_TRUE(esxisim::StateStore(hosts_.state_path(0))
                        .Update(
                            [&](esxisim::HostState* host) {
                                double now = esxisim::EpochNow();
                                host->boot_ssh_at = now + ssh_after;
                                host->boot_hostd_at = now + ssh_after + 10;
                            },
                            &error))
            << error;
    }

    // The resume ends with 0 and every VM is as before the cut: the running ones run, the one that was off
    // is off, the one suspended before is still suspended; the host is out of maintenance mode, and the
    // list file holds no mark and no power-off.
    void ExpectEveryVmBack(Clock::time_point mains_back) {
        ASSERT_TRUE(LogShows("esx01: reboot_vms exit status", kResumeWaitMinutes * 60 + kNoticeSeconds)) << Explain();
        RecordProperty("resume_seconds_after_mains", std::to_string(Since(mains_back)));
        EXPECT_NE(std::string::npos, Log().find("esx01: reboot_vms exit status 0 (success)")) << Explain();
        esxisim::HostState host = Settled();
        EXPECT_FALSE(host.powered_off);
        EXPECT_FALSE(host.in_maintenance) << Explain();
        const esxisim::PowerState expected[] = {esxisim::PowerState::kOn, esxisim::PowerState::kOn,
                                                esxisim::PowerState::kOff, esxisim::PowerState::kSuspended};
        for (int i = 0; i < 4; ++i) {
            const esxisim::VmState* vm = host.FindVm(std::to_string(i + 1));
            ASSERT_NE(nullptr, vm);
            EXPECT_EQ(expected[i], vm->power) << "VM " << i + 1 << "\n" << Explain();
        }
        std::string list = state_.Read("esx01.xml");
        EXPECT_EQ(0u, CountOf(list, "to reboot")) << list;
        EXPECT_EQ(std::string::npos, list.find("poweroffat")) << list;
        EXPECT_NE(std::string::npos, list.find("reboot=\"false\"")) << list;
        EXPECT_FALSE(state_.Exists("esx01.ups-suspended"));
    }

    esxisim::HostState Settled() const {
        esxisim::HostState host;
        std::string error;
        EXPECT_TRUE(esxisim::StateStore(hosts_.state_path(0)).Read(&host, &error)) << error;
        return host;
    }
    size_t ShellLogCount(const std::string& line) const {
        size_t count = 0;
        for (const std::string& each : esxisim::ReadShellLogCommands(hosts_.state_path(0)))
            if (each == line) ++count;
        return count;
    }
    static void SleepSeconds(double seconds) {
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    }

    std::string LogPath() const { return state_.file("ups.log"); }
    std::string Log() const { return ReadFile(LogPath()); }
    bool LogShows(const std::string& text, int seconds) const { return WaitForText(LogPath(), text, seconds); }
    std::string Explain() const {
        return "log:\n" + Log() + "\n" + nut_.Logs() + "tool output:\n" + state_.Read("esx01.ups.out") +
               "\nhost:\n" + hosts_.Read(0) + "list file:\n" + state_.Read("esx01.xml") + "\n";
    }

    SshdFixture sshd_;
    SimulatedHosts hosts_{&sshd_, {"esx01"}};
    TempDir state_, settings_;
    NutFixture nut_{sshd_.netns()};
    Clock::time_point suspended_;
};

// The mains come back after the host has powered off; the host boots 20 s later (hostd 10 s after that).
TEST_F(NutPowerCut, TheWholeCycleBringsEveryVmBackAsItWas) {
    StartNut(kHostOptions);
    SuspendOnBattery();
    if (HasFatalFailure()) return;
    WaitForThePowerOff();
    if (HasFatalFailure()) return;
    Clock::time_point mains_back = Clock::now();
    ASSERT_TRUE(nut_.SetStatus("OL"));
    Boot(20);
    ExpectEveryVmBack(mains_back);
    EXPECT_EQ(1u, ShellLogCount(kExitLine));
    EXPECT_GE(ShellLogCount(kUptimeLine), 1u);
}

// The tool runs in a VM of the host (-self, by id: the host file's options are split at blanks): the
// script's suspend stops every other VM and leaves that one to the host, which suspends it once the
// tool's session has ended, enters maintenance mode and powers off. After the boot the resume brings
// every VM back, the tool's own too (on a real site the host's autostart starts it and its NUT client
// runs the resume; here the client runs beside the host).
TEST_F(NutPowerCut, TheToolsOwnVmIsStoppedLastByTheHostAndComesBackWithTheOthers) {
    std::string error;
    ASSERT_TRUE(hosts_.Set(0, HostBefore() + Vm("5", "nutclient", "on"), &error)) << error;
    StartNut(std::string("-self 5 ") + kHostOptions);
    ASSERT_TRUE(nut_.SetStatus("OB"));
    ASSERT_TRUE(LogShows("esx01: suspend_vms exit status", kDelaySeconds + kNoticeSeconds + kSuspendSeconds))
        << Explain();
    ASSERT_NE(std::string::npos, Log().find("esx01: suspend_vms exit status 0 (success)")) << Explain();
    suspended_ = Clock::now();
    std::string list = state_.Read("esx01.xml");
    EXPECT_EQ(3u, CountOf(list, "rebootstatus=\"to reboot\"")) << list;
    EXPECT_EQ(0u, ShellLogCount(kPowerOffLine)) << "the tool's session powered the host off itself";
    // The host: the tool's VM suspended after the session, maintenance mode, then its power-off's delay.
    Clock::time_point until = suspended_ + std::chrono::seconds(kPowerOffDelaySeconds + 40);
    while (!Settled().powered_off && Clock::now() < until) SleepSeconds(0.2);
    ASSERT_TRUE(Settled().powered_off) << Explain();
    RecordProperty("power_off_after_suspend_seconds", std::to_string(Since(suspended_)));
    esxisim::HostState off = Settled();
    EXPECT_TRUE(off.in_maintenance);
    const esxisim::VmState* self = off.FindVm("5");
    ASSERT_NE(nullptr, self);
    EXPECT_EQ(esxisim::PowerState::kSuspended, self->power) << Explain();

    Clock::time_point mains_back = Clock::now();
    ASSERT_TRUE(nut_.SetStatus("OL"));
    Boot(20);
    ExpectEveryVmBack(mains_back);
    esxisim::HostState resumed = Settled();
    const esxisim::VmState* back = resumed.FindVm("5");
    ASSERT_NE(nullptr, back);
    EXPECT_EQ(esxisim::PowerState::kOn, back->power) << Explain();
}

// The mains come back during the power-off's delay: the resume starts while the host is still up in
// maintenance mode, waits without touching it, follows it down, and resumes once a UPS that cycles its
// outlet (shutdown.return) has booted it. Without the check the resume would power the VMs on in the
// delay and the cut would take them down again, marks cleared.
TEST_F(NutPowerCut, MainsBackDuringThePowerOffDelayWaitsForTheHostToGoDownAndComeBack) {
    StartNut(kHostOptions);
    SuspendOnBattery();
    if (HasFatalFailure()) return;
    Clock::time_point mains_back = Clock::now();
    ASSERT_TRUE(nut_.SetStatus("OL"));
    ASSERT_TRUE(LogShows("esx01: reboot_vms started", kNoticeSeconds)) << Explain();
    ASSERT_FALSE(Settled().powered_off) << "the resume started after the power-off, not in its delay\n"
                                        << Explain();
    RecordProperty("resume_started_after_suspend_seconds", std::to_string(Since(suspended_)));
    WaitForThePowerOff();
    if (HasFatalFailure()) return;
    EXPECT_EQ(0u, ShellLogCount(kExitLine)) << "the resume touched the host before it went down\n" << Explain();
    EXPECT_GE(ShellLogCount(kUptimeLine), 1u);
    Boot(5);
    ExpectEveryVmBack(mains_back);
    EXPECT_EQ(1u, ShellLogCount(kExitLine));
}

}  // namespace
