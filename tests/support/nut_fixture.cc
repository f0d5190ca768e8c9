#include "nut_fixture.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "run_program.h"

namespace {

const char kDriver[] = "/lib/nut/dummy-ups";
const char kUpsd[] = "/lib/nut/upsd";  // /sbin/upsd and /sbin/upsmon look at /etc/nut/nut.conf first
const char kUpsmon[] = "/lib/nut/upsmon";
const char kUpsc[] = "/usr/bin/upsc";
const char kIp[] = "/usr/sbin/ip";
const char kMonitorPassword[] = "monitor-pw";
const int kReadySeconds = 15;

bool WritePrivate(const TempDir& dir, const std::string& name, const std::string& text) {
    dir.Write(name, text);
    return chmod(dir.file(name).c_str(), 0600) == 0;
}

}  // namespace

bool NutFixture::Fail(const std::string& message) {
    error_ = message + "\n" + Logs();
    return false;
}

std::vector<std::string> NutFixture::NutEnv() const {
    return {"NUT_CONFPATH=" + dir_.path(), "NUT_STATEPATH=" + dir_.file("state"),
            "NUT_ALTPIDPATH=" + dir_.file("state")};
}

bool NutFixture::WriteConfiguration(const std::string& upsmon_lines, const std::string& upssched_conf) {
    std::string ups = "[dummy]\n  driver = dummy-ups\n  port = " + dir_.file("dummy.dev") +
                      "\n  pollinterval = 1\n  desc = \"UPS of the test\"\n";
    std::string users = std::string("[monitor]\n  password = ") + kMonitorPassword + "\n  upsmon primary\n";
    std::string upsmon = std::string("MONITOR dummy@127.0.0.1 1 monitor ") + kMonitorPassword +
                         " primary\nMINSUPPLIES 1\nPOLLFREQ 1\nPOLLFREQALERT 1\nSHUTDOWNCMD \"/bin/false\"\n"
                         "POWERDOWNFLAG " + dir_.file("killpower") + "\n" + upsmon_lines;
    const std::pair<const char*, std::string> files[] = {
        {"ups.conf", ups}, {"upsd.conf", "LISTEN 127.0.0.1 3493\n"}, {"upsd.users", users},
        {"upsmon.conf", upsmon}, {"upssched.conf", upssched_conf}};
    for (const auto& file : files) {
        if (!WritePrivate(dir_, file.first, file.second)) return false;
    }
    return mkdir(dir_.file("state").c_str(), 0700) == 0 && SetStatus("OL");
}

bool NutFixture::Start(const std::string& upsmon_lines, const std::string& upssched_conf,
                       const std::vector<std::string>& upsmon_env) {
    if (geteuid() != 0) return Fail("needs root");
    if (!WriteConfiguration(upsmon_lines, upssched_conf)) return Fail("cannot write the configuration");
    std::vector<std::string> env = NutEnv();
    env.insert(env.end(), upsmon_env.begin(), upsmon_env.end());
    return StartDaemon(&driver_, {kDriver, "-a", "dummy", "-u", "root", "-F"}, NutEnv(), "driver.log", "") &&
           StartDaemon(&upsd_, {kUpsd, "-u", "root", "-F"}, NutEnv(), "upsd.log", "Connected to UPS [dummy]") &&
           WaitForStatus("OL") &&
           StartDaemon(&upsmon_, {kUpsmon, "-DD", "-F"}, env, "upsmon.log", "parse_status: [OL]");
}

// Asks upsd with upsc until it serves `ups_status` (upsmon's first look at a UPS still without data
// finds it waiting and comes back only five seconds later).
bool NutFixture::WaitForStatus(const std::string& ups_status) {
    ProgramRun upsc;
    upsc.path = kIp;
    upsc.args = {"netns", "exec", netns_, kUpsc, "dummy@127.0.0.1", "ups.status"};
    upsc.timeout_seconds = kReadySeconds;
    for (int tries = 0; tries < kReadySeconds * 10; ++tries) {
        if (RunProgram(upsc).out == ups_status + "\n") return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return Fail("upsd does not serve ups.status " + ups_status);
}

// Starts one daemon and waits until its log shows `ready` (or, with none, until the driver's socket is there).
bool NutFixture::StartDaemon(IsolatedDaemon* daemon, const std::vector<std::string>& argv,
                             const std::vector<std::string>& env, const std::string& log, const std::string& ready) {
    DaemonLaunch launch{argv, env, netns_, dir_.file(log)};
    if (!daemon->Start(launch)) return Fail("cannot start " + argv[0]);
    for (int tries = 0; tries < kReadySeconds * 10; ++tries) {
        bool up = ready.empty() ? access(dir_.file("state/dummy-ups-dummy").c_str(), F_OK) == 0
                                : dir_.Read(log).find(ready) != std::string::npos;
        if (up) return true;
        if (!daemon->Running()) return Fail(argv[0] + " exited");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return Fail(argv[0] + " is not ready after " + std::to_string(kReadySeconds) + " s");
}

// A new file with a newer time stamp: the driver reads a .dev file again when its time stamp changes.
bool NutFixture::SetStatus(const std::string& ups_status) {
    dir_.Write("dummy.dev.new", "ups.status: " + ups_status + "\n");
    dev_mtime_ = std::max(time(nullptr), dev_mtime_ + 1);
    struct timespec times[2] = {{dev_mtime_, 0}, {dev_mtime_, 0}};
    return utimensat(AT_FDCWD, dir_.file("dummy.dev.new").c_str(), times, 0) == 0 &&
           rename(dir_.file("dummy.dev.new").c_str(), dir_.file("dummy.dev").c_str()) == 0;
}

void NutFixture::Stop() {
    upsmon_.Stop();
    upsd_.Stop();
    driver_.Stop();
}

std::string NutFixture::Logs() const {
    return "driver:\n" + dir_.Read("driver.log") + "upsd:\n" + dir_.Read("upsd.log") + "upsmon:\n" +
           dir_.Read("upsmon.log");
}

namespace {

// `text` with its one `from` replaced by `to`; empty when `from` does not occur exactly once.
std::string ReplaceOnce(const std::string& text, const std::string& from, const std::string& to) {
    size_t at = text.find(from);
    if (at == std::string::npos || text.find(from, at + 1) != std::string::npos) return "";
    return text.substr(0, at) + to + text.substr(at + from.size());
}

}  // namespace

std::string ShippedUpsschedConf(const std::string& nut_dir, int delay_seconds) {
    std::string text = ReadFile(nut_dir + "upssched.conf");
    text = ReplaceOnce(text, "CMDSCRIPT /usr/local/sbin/vmnap-upssched-cmd",
                       "CMDSCRIPT " + nut_dir + "vmnap-upssched-cmd");
    return ReplaceOnce(text, "START-TIMER suspend 120", "START-TIMER suspend " + std::to_string(delay_seconds));
}
