// The UPS example of contrib/apcupsd with apcupsd's own event handler: the apccontrol of Debian's apcupsd
// package (unpacked, not installed: see apccontrol_fixture.h) runs the example's event scripts the way
// apcupsd calls it, `apccontrol EVENT UPSNAME CONNECTED POWERED`. The scripts have vmnap-ups-hosts run the
// VmNap executable through the real plink against two simulated ESXi hosts behind a real sshd, in the
// sshd's private network namespace. apccontrol's own actions (wall, shutdown) are recorded in the
// example's log, so the test sees which of them ran, and when.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "apccontrol_fixture.h"
#include "command_line_watch.h"
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
using upshosts::SlowHostSuspended;

const std::string kApcDir = std::string(VMNAP_CONTRIB_DIR) + "/apcupsd";
const std::string kHostsCommand = std::string(VMNAP_CONTRIB_DIR) + "/nut/vmnap-ups-hosts";
const char kPackagesVariable[] = "VMNAP_APCUPSD_DEBS";  // the directory scripts/test fetches the package to
const char kPlink[] = "/usr/bin/plink";
const int kScriptSeconds = 10;     // onbattery and offbattery return at once; their jobs go on
const int kToolRunsSeconds = 150;  // check_maintenance_mode and suspend_vms, or reboot_vms, on both hosts

class ApcupsdEvents : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        const char* packages = getenv(kPackagesVariable);
        if (packages == nullptr)
            GTEST_SKIP() << kPackagesVariable << " is not set: scripts/test fetches apcupsd's package and sets it";
        ASSERT_TRUE(apc_.Prepare(packages, kApcDir)) << apc_.error();
        std::string error;
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        ASSERT_TRUE(hosts_.Prepare(&error)) << error;
        for (size_t i = 0; i < hosts_.size(); ++i) {
            ASSERT_TRUE(hosts_.Set(i, HostBefore(hosts_.name(i)), &error)) << error;
        }
        ASSERT_EQ(0, symlink(kPlink, state_.file("plink").c_str()));
        WriteSettings();
        // apccontrol's own actions must reach the recorder before any event may call for a shutdown.
        ASSERT_TRUE(Apccontrol("commok", kScriptSeconds)) << Explain();
        ASSERT_NE(std::string::npos, LogPosition("apccontrol: wall: Communications restored with UPS ups0"))
            << "apccontrol does not read its config hook\n" << Explain();
    }

    // /etc/vmnap/ups.conf and the host files, in a directory of the test; the example logs where the
    // recorder writes.
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

    // `apccontrol EVENT ups0 1 1` in the sshd's namespace; true when apccontrol ended within `seconds`.
    bool Apccontrol(const std::string& event, int seconds) {
        std::vector<std::string> env = sshd_.client_env();
        env.push_back("VMNAP_UPS_CONF=" + settings_.file("ups.conf"));
        env.push_back("VMNAP_UPS_HOSTS_COMMAND=" + kHostsCommand);
        return apc_.Run(event, sshd_.netns(), env, seconds);
    }

    std::string LogPath() const { return apc_.record_path(); }
    std::string Log() const { return ReadFile(LogPath()); }
    bool LogShows(const std::string& text, int seconds, size_t count = 1) const {
        return WaitForText(LogPath(), text, seconds, count);
    }
    size_t LogPosition(const std::string& text) const { return Log().find(text); }

    std::string Explain() const {
        std::string text = "log:\n" + Log() + "apccontrol:\n" + apc_.output() + "sshd:\n" + sshd_.ReadSshdLog();
        for (size_t i = 0; i < hosts_.size(); ++i) {
            text += hosts_.name(i) + " tool output:\n" + state_.Read(hosts_.name(i) + ".ups.out") + "\n" +
                    hosts_.name(i) + " host:\n" + hosts_.Read(i);
        }
        return text;
    }

    void ExpectHosts(std::string (*state)(const std::string&)) const {
        for (size_t i = 0; i < hosts_.size(); ++i) EXPECT_EQ(state(hosts_.name(i)), hosts_.Read(i)) << Explain();
    }

    void ExpectApccontrolEnded(const std::string& event) const {
        EXPECT_NE(std::string::npos, apc_.output().find("apccontrol " + event + " exit status 0")) << Explain();
    }

    SshdFixture sshd_;
    SimulatedHosts hosts_{&sshd_, {"esx01", "esx02"}};
    TempDir state_, settings_;
    ApccontrolFixture apc_;  // declared last: its runs end first
};

TEST_F(ApcupsdEvents, OnbatterySuspendsEveryHostAndOffbatteryResumesThem) {
    CommandLineWatch password_watch(sshd_.password());
    ASSERT_TRUE(Apccontrol("powerout", kScriptSeconds)) << Explain();
    ASSERT_TRUE(Apccontrol("onbattery", kScriptSeconds)) << "onbattery holds apccontrol up\n" << Explain();
    ASSERT_TRUE(LogShows("suspend_vms exit status", kToolRunsSeconds, 2)) << Explain();
    ASSERT_TRUE(apc_.JobsEnded(kScriptSeconds)) << Explain();
    EXPECT_NE(std::string::npos, LogPosition("UPS ups0 is on battery")) << Explain();
    EXPECT_NE(std::string::npos, LogPosition("apccontrol: wall: Power failure on UPS ups0. Running on batteries."))
        << "apccontrol's own action did not follow\n" << Explain();
    for (std::string name : {"esx01", "esx02"}) {
        EXPECT_NE(std::string::npos, LogPosition(name + ": check_maintenance_mode exit status 13 (the host is "
                                                        "not in maintenance mode)")) << Explain();
        EXPECT_NE(std::string::npos, LogPosition(name + ": suspend_vms exit status 0 (success)")) << Explain();
        EXPECT_TRUE(state_.Exists(name + ".xml"));
        EXPECT_TRUE(state_.Exists(name + ".ups-suspended"));
    }
    ExpectHosts(HostSuspended);

    ASSERT_TRUE(Apccontrol("offbattery", kScriptSeconds)) << "offbattery holds apccontrol up\n" << Explain();
    ASSERT_TRUE(Apccontrol("mainsback", kScriptSeconds)) << Explain();
    ASSERT_TRUE(LogShows("reboot_vms exit status", kToolRunsSeconds, 2)) << Explain();
    ASSERT_TRUE(apc_.JobsEnded(kScriptSeconds)) << Explain();
    EXPECT_NE(std::string::npos, LogPosition("UPS ups0 is back on mains power")) << Explain();
    EXPECT_NE(std::string::npos, LogPosition("apccontrol: wall: Power has returned on UPS ups0...")) << Explain();
    for (std::string name : {"esx01", "esx02"}) {
        EXPECT_NE(std::string::npos, LogPosition(name + ": reboot_vms exit status 0 (success)")) << Explain();
        EXPECT_FALSE(state_.Exists(name + ".ups-suspended"));
    }
    ExpectHosts(HostResumed);
    for (std::string event : {"powerout", "onbattery", "offbattery", "mainsback"}) ExpectApccontrolEnded(event);
    EXPECT_EQ("", password_watch.Seen()) << "the password on a command line";
}

// A spell on battery shorter than ONBATTERYDELAY: apcupsd sends powerout and mainsback, never onbattery
// (nor offbattery, which only follows an onbattery).
TEST_F(ApcupsdEvents, BlipShorterThanTheDelayChangesNothing) {
    ASSERT_TRUE(Apccontrol("powerout", kScriptSeconds)) << Explain();
    ASSERT_TRUE(Apccontrol("mainsback", kScriptSeconds)) << Explain();
    std::this_thread::sleep_for(std::chrono::seconds(3));  // time for a job that should not have started
    ExpectApccontrolEnded("powerout");
    ExpectApccontrolEnded("mainsback");
    EXPECT_TRUE(apc_.JobsEnded(0)) << "something still runs\n" << Explain();
    EXPECT_EQ(std::string::npos, LogPosition("requested")) << Explain();
    EXPECT_EQ(std::string::npos, LogPosition("vmnap-ups:")) << "the example acted\n" << Explain();
    EXPECT_FALSE(state_.Exists("esx01.xml"));
    EXPECT_FALSE(state_.Exists("esx01.ups-suspended"));
    ExpectHosts(HostBefore);
}

// The battery runs low before onbattery (or apcupsd's TIMEOUT runs out): doshutdown suspends every host and
// returns only when their jobs have ended, and only then does apccontrol shut this machine down.
TEST_F(ApcupsdEvents, DoshutdownSuspendsEveryHostBeforeThisMachineShutsDown) {
    ASSERT_TRUE(Apccontrol("doshutdown", kToolRunsSeconds)) << Explain();
    EXPECT_TRUE(apc_.JobsEnded(0)) << "apccontrol ended before the hosts' jobs\n" << Explain();
    size_t shutdown = LogPosition("apccontrol: shutdown -h now apcupsd UPS ups0 initiated shutdown");
    ASSERT_NE(std::string::npos, shutdown) << "apccontrol's own action did not follow\n" << Explain();
    for (std::string name : {"esx01", "esx02"}) {
        size_t suspended = LogPosition(name + ": suspend_vms exit status 0 (success)");
        EXPECT_NE(std::string::npos, suspended) << Explain();
        EXPECT_LT(suspended, shutdown) << "this machine shut down before the suspend ended\n" << Explain();
    }
    ExpectHosts(HostSuspended);
    ExpectApccontrolEnded("doshutdown");
}

// The battery runs low while onbattery's suspend still runs: doshutdown's job for each host waits for the
// host's lock, finds the host suspended, and apccontrol shuts this machine down only after both suspends.
TEST_F(ApcupsdEvents, DoshutdownDuringTheSuspendWaitsForIt) {
    std::string error;
    for (size_t i = 0; i < hosts_.size(); ++i)
        ASSERT_TRUE(hosts_.Set(i, SlowHostBefore(hosts_.name(i)), &error)) << error;
    ASSERT_TRUE(Apccontrol("onbattery", kScriptSeconds)) << Explain();
    ASSERT_TRUE(LogShows("suspend_vms started", kToolRunsSeconds, 2)) << Explain();
    ASSERT_TRUE(Apccontrol("doshutdown", kToolRunsSeconds)) << Explain();
    ASSERT_TRUE(apc_.JobsEnded(kScriptSeconds)) << Explain();
    size_t requested = LogPosition("UPS ups0 calls for this machine's shutdown");
    size_t shutdown = LogPosition("apccontrol: shutdown -h now apcupsd UPS ups0 initiated shutdown");
    ASSERT_NE(std::string::npos, shutdown) << Explain();
    for (std::string name : {"esx01", "esx02"}) {
        size_t suspended = LogPosition(name + ": suspend_vms exit status 0 (success)");
        EXPECT_NE(std::string::npos, suspended) << Explain();
        EXPECT_LT(requested, suspended) << "the suspend ended before doshutdown came\n" << Explain();
        EXPECT_LT(suspended, LogPosition(name + ": already suspended on battery power; nothing to do")) << Explain();
        EXPECT_LT(suspended, shutdown) << "this machine shut down before the suspend ended\n" << Explain();
    }
    EXPECT_EQ(2u, CountOf(Log(), "suspend_vms started")) << Explain();
    ExpectHosts(SlowHostSuspended);
}

}  // namespace
