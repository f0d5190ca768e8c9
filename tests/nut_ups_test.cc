// The UPS examples of contrib/nut with NUT's own daemons: dummy-ups plays the UPS, upsd serves it, upsmon
// watches it and hands its events to upssched, which runs vmnap-upssched-cmd with upssched.conf as
// shipped (only the script's path and a delay of a few seconds changed). The script runs the VmNap
// executable through the real plink against two simulated ESXi hosts behind a real sshd; everything
// lives in the sshd's private network namespace.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "command_line_watch.h"
#include "nut_fixture.h"
#include "simulated_host.h"
#include "simulated_hosts.h"
#include "sshd_fixture.h"
#include "temp_dir.h"
#include "text_wait.h"
#include "ups_hosts.h"

namespace {

using upshosts::HostBefore;
using upshosts::HostSuspended;
using upshosts::HostResumed;
using upshosts::SlowHostBefore;
using upshosts::SlowHostResumed;

const std::string kNutDir = std::string(VMNAP_CONTRIB_DIR) + "/nut/";
const char kPlink[] = "/usr/bin/plink";
const int kDelaySeconds = 4;      // on battery this long before the suspend
const int kNoticeSeconds = 15;    // upsmon polls every second; the log shows an event within a few
const int kToolRunsSeconds = 150; // check_maintenance_mode and suspend_vms, or reboot_vms, on both hosts

using Clock = std::chrono::steady_clock;

class NutUps : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        std::string error, upssched = ShippedUpsschedConf(kNutDir, kDelaySeconds);
        ASSERT_FALSE(upssched.empty()) << "upssched.conf no longer has the lines this test adapts";
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        ASSERT_TRUE(hosts_.Prepare(&error)) << error;
        for (size_t i = 0; i < hosts_.size(); ++i) {
            ASSERT_TRUE(hosts_.Set(i, HostBefore(hosts_.name(i)), &error)) << error;
        }
        ASSERT_EQ(0, symlink(kPlink, state_.file("plink").c_str()));
        WriteSettings();
        std::vector<std::string> env = sshd_.client_env();
        env.push_back("VMNAP_UPS_CONF=" + settings_.file("ups.conf"));
        ASSERT_TRUE(nut_.Start(ReadFile(kNutDir + "upsmon.conf.vmnap"), upssched, env)) << nut_.error();
    }

    // /etc/vmnap/ups.conf and the host files, in a directory of the test.
    void WriteSettings() {
        settings_.Write("ups.conf", "VMNAP_UPS_HOSTS=esx01 esx02\nVMNAP_CONF_DIR=" + settings_.path() +
                                        "\nVMNAP_COMMAND=" VMNAP_EXE "\nVMNAP_STATE_DIR=" + state_.path() +
                                        "\nVMNAP_LOCK_DIR=" + settings_.file("locks") +
                                        "\nVMNAP_UPS_LOG=" + LogPath() + "\n");
        for (size_t i = 0; i < hosts_.size(); ++i) {
            settings_.Write(hosts_.name(i) + ".conf", "VMNAP_HOST=" + hosts_.address(i) + "\nVMNAP_USER=" +
                                                          sshd_.user() + "\nVMNAP_PASSWORD=\"" + sshd_.password() + "\"\n");
        }
    }

    std::string LogPath() const { return state_.file("ups.log"); }
    std::string Log() const { return ReadFile(LogPath()); }
    bool LogShows(const std::string& text, int seconds, size_t count = 1) const {
        return WaitForText(LogPath(), text, seconds, count);
    }

    // Where `text` first occurs in the log; npos when it does not.
    size_t LogPosition(const std::string& text) const { return Log().find(text); }

    std::string Explain() const {
        std::string text = "log:\n" + Log() + "\n" + nut_.Logs() + "sshd:\n" + sshd_.ReadSshdLog();
        for (size_t i = 0; i < hosts_.size(); ++i) {
            text += hosts_.name(i) + " tool output:\n" + state_.Read(hosts_.name(i) + ".ups.out") + "\n" +
                    hosts_.name(i) + " host:\n" + hosts_.Read(i);
        }
        return text;
    }

    void ExpectHosts(std::string (*state)(const std::string&)) const {
        for (size_t i = 0; i < hosts_.size(); ++i) EXPECT_EQ(state(hosts_.name(i)), hosts_.Read(i)) << Explain();
    }

    SshdFixture sshd_;
    SimulatedHosts hosts_{&sshd_, {"esx01", "esx02"}};
    TempDir state_, settings_;
    NutFixture nut_{sshd_.netns()};
};

TEST_F(NutUps, OnBatteryPastTheDelaySuspendsEveryHostAndMainsPowerResumesThem) {
    CommandLineWatch password_watch(sshd_.password());
    Clock::time_point on_battery = Clock::now();
    ASSERT_TRUE(nut_.SetStatus("OB"));
    ASSERT_TRUE(LogShows("suspend requested for: esx01 esx02", kDelaySeconds + kNoticeSeconds)) << Explain();
    EXPECT_GE(Clock::now() - on_battery, std::chrono::seconds(kDelaySeconds));
    ASSERT_TRUE(LogShows("suspend_vms exit status", kToolRunsSeconds, 2)) << Explain();
    for (std::string name : {"esx01", "esx02"}) {
        EXPECT_NE(std::string::npos, LogPosition(name + ": check_maintenance_mode exit status 13 (the host is "
                                                        "not in maintenance mode)")) << Explain();
        EXPECT_NE(std::string::npos, LogPosition(name + ": suspend_vms exit status 0 (success)")) << Explain();
        EXPECT_TRUE(state_.Exists(name + ".xml"));
    }
    ExpectHosts(HostSuspended);

    ASSERT_TRUE(nut_.SetStatus("OL"));
    ASSERT_TRUE(LogShows("reboot_vms exit status", kNoticeSeconds + kToolRunsSeconds, 2)) << Explain();
    EXPECT_NE(std::string::npos, LogPosition("is back on mains power")) << Explain();
    for (std::string name : {"esx01", "esx02"}) {
        EXPECT_NE(std::string::npos, LogPosition(name + ": reboot_vms exit status 0 (success)")) << Explain();
        EXPECT_FALSE(state_.Exists(name + ".ups-suspended"));
    }
    ExpectHosts(HostResumed);
    EXPECT_EQ("", password_watch.Seen()) << "the password on a command line";
}

// NUT sees the UPS on battery for a second or two: the timer starts and is cancelled, nothing else.
TEST_F(NutUps, BlipShorterThanTheDelayChangesNothing) {
    ASSERT_TRUE(nut_.SetStatus("OB"));
    ASSERT_TRUE(LogShows("UPS dummy@127.0.0.1 is on battery", kNoticeSeconds)) << Explain();
    Clock::time_point on_battery = Clock::now();
    ASSERT_TRUE(nut_.SetStatus("OL"));
    ASSERT_TRUE(LogShows("UPS dummy@127.0.0.1 is back on mains power", kNoticeSeconds)) << Explain();
    ASSERT_LT(Clock::now() - on_battery, std::chrono::seconds(kDelaySeconds - 1)) << "not a blip:\n" << Explain();
    std::this_thread::sleep_until(on_battery + std::chrono::seconds(kDelaySeconds + 3));
    EXPECT_EQ(std::string::npos, LogPosition("requested")) << Explain();
    EXPECT_FALSE(state_.Exists("esx01.xml"));
    ExpectHosts(HostBefore);
}

// Mains power returns while suspend_vms runs: the resume job waits on each host's lock until that host's
// suspend has finished, then powers its VMs on again.
TEST_F(NutUps, PowerBackDuringTheSuspendWaitsForItOnTheHostLock) {
    std::string error;
    for (size_t i = 0; i < hosts_.size(); ++i)
        ASSERT_TRUE(hosts_.Set(i, SlowHostBefore(hosts_.name(i)), &error)) << error;
    ASSERT_TRUE(nut_.SetStatus("OB"));
    ASSERT_TRUE(LogShows("esx01: suspend_vms started", kDelaySeconds + kNoticeSeconds + 30)) << Explain();
    ASSERT_TRUE(nut_.SetStatus("OL"));
    ASSERT_TRUE(LogShows("resume requested for: esx01 esx02", kNoticeSeconds)) << Explain();
    ASSERT_TRUE(LogShows("reboot_vms exit status", kToolRunsSeconds, 2)) << Explain();
    size_t resume_requested = LogPosition("resume requested for: esx01 esx02");
    for (std::string name : {"esx01", "esx02"}) {
        size_t suspended = LogPosition(name + ": suspend_vms exit status 0 (success)");
        EXPECT_NE(std::string::npos, suspended) << Explain();
        EXPECT_LT(resume_requested, suspended) << "the power came back after the suspend\n" << Explain();
        EXPECT_LT(suspended, LogPosition(name + ": reboot_vms started")) << Explain();
        EXPECT_NE(std::string::npos, LogPosition(name + ": reboot_vms exit status 0 (success)")) << Explain();
    }
    ExpectHosts(SlowHostResumed);
}

}  // namespace
