// The UPS example of contrib/apcupsd with apcupsd's own event handler: the apccontrol of Debian's apcupsd
// package (unpacked, not installed: the package conflicts with nut-client) runs the example's event
// scripts the way apcupsd calls it, `apccontrol EVENT UPSNAME CONNECTED POWERED`. The scripts have
// vmnap-ups-hosts run the VmNap executable through the real plink against two simulated ESXi hosts behind
// a real sshd, in the sshd's private network namespace.
//
// apccontrol looks for the event scripts in SCRIPTDIR=/etc/apcupsd, which does not exist here and which a
// test must not create: it runs from a copy whose only change is that line, pointing at a directory of
// links to the example's scripts. That directory also holds apccontrol's own `config` hook, which sends
// apccontrol's default actions (`wall`, `shutdown -h now`) to a recorder writing into the example's log,
// so the test sees which of them ran, and when.
#include <gtest/gtest.h>

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "command_line_watch.h"
#include "isolated_daemon.h"
#include "processes.h"
#include "run_program.h"
#include "simulated_host.h"
#include "simulated_hosts.h"
#include "sshd_fixture.h"
#include "temp_dir.h"
#include "text_wait.h"

namespace {

using simulated::Host;
using simulated::Vm;

const std::string kApcDir = std::string(VMNAP_CONTRIB_DIR) + "/apcupsd/";
const std::string kHostsCommand = std::string(VMNAP_CONTRIB_DIR) + "/nut/vmnap-ups-hosts";
const char kPackagesVariable[] = "VMNAP_APCUPSD_DEBS";  // the directory scripts/test fetches the package to
const char kPlink[] = "/usr/bin/plink";
const char kUps[] = "ups0";
const int kScriptSeconds = 10;     // onbattery and offbattery return at once; their jobs go on
const int kToolRunsSeconds = 150;  // check_maintenance_mode and suspend_vms, or reboot_vms, on both hosts

// Appends what apccontrol does itself to the example's log: `wall` with its message on standard input,
// `shutdown` with its arguments.
const char kRecorder[] =
    "#!/bin/sh\n"
    "if [ \"$1\" = wall ]; then text=\"wall: $(cat)\"; else text=\"$*\"; fi\n"
    "printf 'apccontrol: %s\\n' \"$text\" >>\"$0.log\"\n";

// `text` with its one `from` replaced by `to`; empty when `from` does not occur exactly once.
std::string ReplaceOnce(const std::string& text, const std::string& from, const std::string& to) {
    size_t at = text.find(from);
    if (at == std::string::npos || text.find(from, at + 1) != std::string::npos) return "";
    return text.substr(0, at) + to + text.substr(at + from.size());
}

std::string HostBefore(const std::string& name) {
    return Host("no", 1, "busybox", name) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
}

std::string HostSuspended(const std::string& name) {
    return Host("yes", 2, "busybox", name) + Vm("1", "web01", "suspended") + Vm("2", "backup", "off");
}

std::string HostResumed(const std::string& name) {
    return Host("no", 3, "busybox", name) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
}

// The newest apcupsd_*.deb in `dir`; empty when there is none.
std::string NewestPackage(const std::string& dir) {
    std::vector<std::string> found;
    DIR* listing = opendir(dir.c_str());
    for (struct dirent* entry = listing ? readdir(listing) : nullptr; entry; entry = readdir(listing)) {
        std::string name = entry->d_name;
        if (name.rfind("apcupsd_", 0) == 0 && name.size() > 4 && name.substr(name.size() - 4) == ".deb")
            found.push_back(dir + "/" + name);
    }
    if (listing) closedir(listing);
    std::sort(found.begin(), found.end());
    return found.empty() ? "" : found.back();
}

// The executable files of the example (its event scripts), by name.
std::vector<std::string> ExampleScripts() {
    std::vector<std::string> names;
    DIR* listing = opendir(kApcDir.c_str());
    for (struct dirent* entry = listing ? readdir(listing) : nullptr; entry; entry = readdir(listing)) {
        std::string path = kApcDir + entry->d_name;
        struct stat info;
        if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & S_IXUSR))
            names.push_back(entry->d_name);
    }
    if (listing) closedir(listing);
    return names;
}

class ApcupsdEvents : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        const char* packages = getenv(kPackagesVariable);
        if (packages == nullptr)
            GTEST_SKIP() << kPackagesVariable << " is not set: scripts/test fetches apcupsd's package and sets it";
        std::string deb = NewestPackage(packages);
        ASSERT_NE("", deb) << "no apcupsd_*.deb in " << packages << " (scripts/test fetches it)";
        ASSERT_NO_FATAL_FAILURE(PrepareApccontrol(deb));
        std::string error;
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        ASSERT_TRUE(hosts_.Prepare(&error)) << error;
        for (size_t i = 0; i < hosts_.size(); ++i) {
            ASSERT_TRUE(hosts_.Set(i, HostBefore(hosts_.name(i)), &error)) << error;
        }
        ASSERT_EQ(0, symlink(kPlink, state_.file("plink").c_str()));
        WriteSettings();
        // apccontrol's default actions must reach the recorder before any event may call for a shutdown.
        ASSERT_TRUE(Apccontrol("commok", kScriptSeconds)) << Explain();
        ASSERT_NE(std::string::npos, LogPosition("apccontrol: wall: Communications restored with UPS ups0"))
            << "apccontrol does not read its config hook\n" << Explain();
    }

    // apccontrol from the package, with SCRIPTDIR pointing at links to the example's scripts and the config
    // hook that hands the default actions to the recorder.
    void PrepareApccontrol(const std::string& deb) {
        ProgramRun unpack;
        unpack.path = "/usr/bin/dpkg-deb";
        unpack.args = {"-x", deb, package_.path()};
        ProgramResult unpacked = RunProgram(unpack);
        ASSERT_EQ(0, unpacked.exit_status) << unpacked.err;
        std::string text = ReadFile(package_.file("etc/apcupsd/apccontrol"));
        ASSERT_NE(std::string::npos, text.find("if [ -f $SCRIPTDIR/config ]; then . $SCRIPTDIR/config ; fi"))
            << "this apccontrol has no config hook";
        text = ReplaceOnce(text, "\nSCRIPTDIR=/etc/apcupsd\n", "\nSCRIPTDIR=" + scripts_.path() + "\n");
        ASSERT_NE("", text) << "apccontrol no longer sets SCRIPTDIR=/etc/apcupsd once";
        ASSERT_TRUE(WriteWholeFile(tools_.file("apccontrol"), text));
        ASSERT_TRUE(WriteWholeFile(Recorder(), kRecorder));
        ASSERT_EQ(0, chmod(tools_.file("apccontrol").c_str(), 0755));
        ASSERT_EQ(0, chmod(Recorder().c_str(), 0755));
        std::vector<std::string> names = ExampleScripts();
        ASSERT_FALSE(names.empty()) << "no event scripts in " << kApcDir;
        for (const std::string& name : names)
            ASSERT_EQ(0, symlink((kApcDir + name).c_str(), scripts_.file(name).c_str())) << name;
        scripts_.Write("config", "WALL=\"" + Recorder() + " wall\"\nSHUTDOWN=\"" + Recorder() + " shutdown\"\n");
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

    // Runs `apccontrol EVENT ups0 1 1` as apcupsd does (connected, powered), in the sshd's namespace and a
    // session of its own, which keeps the background jobs the scripts leave until the test ends. True when
    // apccontrol has ended within `seconds`; its exit status goes to apccontrol.log.
    bool Apccontrol(const std::string& event, int seconds) {
        std::vector<std::string> env = sshd_.client_env();
        env.push_back("VMNAP_UPS_CONF=" + settings_.file("ups.conf"));
        env.push_back("VMNAP_UPS_HOSTS_COMMAND=" + kHostsCommand);
        DaemonLaunch launch{{"/bin/sh", "-c", "\"$0\" \"$@\"; echo \"apccontrol $1 exit status $?\"",
                             tools_.file("apccontrol"), event, kUps, "1", "1"},
                            env, sshd_.netns(), tools_.file("apccontrol.log")};
        runs_.push_back(std::make_unique<IsolatedDaemon>());
        if (!runs_.back()->Start(launch)) return false;
        pid_t pid = runs_.back()->pid();
        for (int tenths = 0; tenths < seconds * 10; ++tenths) {
            if (HasEnded(pid)) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }

    // True when every job the scripts started has ended (its log line comes before its last step, such as
    // removing a mark), within `seconds`.
    bool JobsEnded(int seconds) const {
        for (int tenths = 0;; ++tenths) {
            bool running = false;
            for (const auto& run : runs_) running = running || !ProcessesOfSession(run->pid()).empty();
            if (!running) return true;
            if (tenths >= seconds * 10) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }

    std::string Recorder() const { return tools_.file("record"); }
    std::string LogPath() const { return Recorder() + ".log"; }
    std::string Log() const { return ReadFile(LogPath()); }
    bool LogShows(const std::string& text, int seconds, size_t count = 1) const {
        return WaitForText(LogPath(), text, seconds, count);
    }
    size_t LogPosition(const std::string& text) const { return Log().find(text); }

    std::string Explain() const {
        std::string text = "log:\n" + Log() + "apccontrol:\n" + tools_.Read("apccontrol.log") + "sshd:\n" +
                           sshd_.ReadSshdLog();
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
        EXPECT_NE(std::string::npos, tools_.Read("apccontrol.log").find("apccontrol " + event + " exit status 0"))
            << Explain();
    }

    SshdFixture sshd_;
    SimulatedHosts hosts_{&sshd_, {"esx01", "esx02"}};
    TempDir package_, tools_, scripts_, state_, settings_;
    std::vector<std::unique_ptr<IsolatedDaemon>> runs_;  // ended, with what they left running, last
};

TEST_F(ApcupsdEvents, OnbatterySuspendsEveryHostAndOffbatteryResumesThem) {
    CommandLineWatch password_watch(sshd_.password());
    ASSERT_TRUE(Apccontrol("powerout", kScriptSeconds)) << Explain();
    ASSERT_TRUE(Apccontrol("onbattery", kScriptSeconds)) << "onbattery holds apccontrol up\n" << Explain();
    ASSERT_TRUE(LogShows("suspend_vms exit status", kToolRunsSeconds, 2)) << Explain();
    ASSERT_TRUE(JobsEnded(kScriptSeconds)) << Explain();
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
    ASSERT_TRUE(JobsEnded(kScriptSeconds)) << Explain();
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
    EXPECT_TRUE(JobsEnded(0)) << "something still runs\n" << Explain();
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
    EXPECT_TRUE(JobsEnded(0)) << "apccontrol ended before the hosts' jobs\n" << Explain();
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

}  // namespace
