#include "apccontrol_fixture.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "processes.h"
#include "run_program.h"

namespace {

const char kUps[] = "ups0";
const char kScriptDirLine[] = "\nSCRIPTDIR=/etc/apcupsd\n";
const char kConfigHook[] = "if [ -f $SCRIPTDIR/config ]; then . $SCRIPTDIR/config ; fi";

// Appends what apccontrol does itself: `wall` with its message on standard input, `shutdown` with its
// arguments.
const char kRecorder[] =
    "#!/bin/sh\n"
    "if [ \"$1\" = wall ]; then text=\"wall: $(cat)\"; else text=\"$*\"; fi\n"
    "printf 'apccontrol: %s\\n' \"$text\" >>\"$0.log\"\n";

// The names in `dir` that `keep` accepts, sorted.
template <typename Keep>
std::vector<std::string> NamesIn(const std::string& dir, Keep keep) {
    std::vector<std::string> names;
    DIR* listing = opendir(dir.c_str());
    for (struct dirent* entry = listing ? readdir(listing) : nullptr; entry; entry = readdir(listing)) {
        if (keep(entry->d_name)) names.push_back(entry->d_name);
    }
    if (listing) closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

bool IsPackage(const std::string& name) {
    return name.rfind("apcupsd_", 0) == 0 && name.size() > 4 && name.compare(name.size() - 4, 4, ".deb") == 0;
}

bool IsExecutableFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & S_IXUSR);
}

}  // namespace

bool ApccontrolFixture::Fail(const std::string& message) {
    error_ = message;
    return false;
}

bool ApccontrolFixture::Prepare(const std::string& packages_dir, const std::string& scripts_dir) {
    std::vector<std::string> debs = NamesIn(packages_dir, IsPackage);
    if (debs.empty()) return Fail("no apcupsd_*.deb in " + packages_dir + " (scripts/test fetches it)");
    ProgramRun unpack;
    unpack.path = "/usr/bin/dpkg-deb";
    unpack.args = {"-x", packages_dir + "/" + debs.back(), package_.path()};
    ProgramResult unpacked = RunProgram(unpack);
    if (unpacked.exit_status != 0) return Fail("dpkg-deb -x " + debs.back() + ": " + unpacked.err);
    return CopyApccontrol() && LinkScripts(scripts_dir);
}

bool ApccontrolFixture::CopyApccontrol() {
    std::string text = ReadFile(package_.file("etc/apcupsd/apccontrol"));
    if (text.find(kConfigHook) == std::string::npos) return Fail("this apccontrol has no config hook");
    size_t at = text.find(kScriptDirLine);
    if (at == std::string::npos || text.find(kScriptDirLine, at + 1) != std::string::npos)
        return Fail("apccontrol no longer sets SCRIPTDIR=/etc/apcupsd once");
    text.replace(at, sizeof(kScriptDirLine) - 1, "\nSCRIPTDIR=" + scripts_.path() + "\n");
    std::string recorder = tools_.file("record");
    if (!WriteWholeFile(tools_.file("apccontrol"), text) || !WriteWholeFile(recorder, kRecorder) ||
        chmod(tools_.file("apccontrol").c_str(), 0755) != 0 || chmod(recorder.c_str(), 0755) != 0)
        return Fail("cannot write apccontrol's copy or the recorder");
    scripts_.Write("config", "WALL=\"" + recorder + " wall\"\nSHUTDOWN=\"" + recorder + " shutdown\"\n");
    return true;
}

bool ApccontrolFixture::LinkScripts(const std::string& scripts_dir) {
    std::vector<std::string> names =
        NamesIn(scripts_dir, [&](const std::string& name) { return IsExecutableFile(scripts_dir + "/" + name); });
    if (names.empty()) return Fail("no event scripts in " + scripts_dir);
    for (const std::string& name : names) {
        if (symlink((scripts_dir + "/" + name).c_str(), scripts_.file(name).c_str()) != 0)
            return Fail("cannot link " + name);
    }
    return true;
}

bool ApccontrolFixture::Run(const std::string& event, const std::string& netns,
                            const std::vector<std::string>& env, int seconds) {
    DaemonLaunch launch{{"/bin/sh", "-c", "\"$0\" \"$@\"; echo \"apccontrol $1 exit status $?\"",
                         tools_.file("apccontrol"), event, kUps, "1", "1"},
                        env, netns, tools_.file("apccontrol.log")};
    runs_.push_back(std::make_unique<IsolatedDaemon>());
    if (!runs_.back()->Start(launch)) return false;
    pid_t pid = runs_.back()->pid();
    for (int tenths = 0; tenths < seconds * 10; ++tenths) {
        if (HasEnded(pid)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

bool ApccontrolFixture::JobsEnded(int seconds) const {
    for (int tenths = 0;; ++tenths) {
        bool running = false;
        for (const auto& run : runs_) running = running || !ProcessesOfSession(run->pid()).empty();
        if (!running) return true;
        if (tenths >= seconds * 10) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}
