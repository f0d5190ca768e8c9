#include "host_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "busybox.h"
#include "host_programs.h"

namespace esxisim {

namespace {

namespace fs = std::filesystem;

// Everyday text, file and process tools of the busybox on an ESXi host. Nothing that reboots, mounts,
// changes accounts or reaches the network; "hostname" is the host's own program. ESXi's busybox also has
// nohup, which Debian's lacks: whatever "busybox --list" does not name is left out.
const std::vector<std::string> kHostApplets = {
    "[", "[[", "ash", "awk", "basename", "cat", "chmod", "cp", "cut", "date", "dd", "df", "dirname", "du",
    "echo", "egrep", "env", "expr", "false", "fgrep", "find", "grep", "head", "hexdump", "kill", "ln", "ls",
    "md5sum", "mkdir", "mkfifo", "mktemp", "more", "mv", "nohup", "od", "printf", "readlink", "rm", "rmdir",
    "sed", "seq", "setsid", "sh", "sha1sum", "sha256sum", "sleep", "sort", "stat", "tail", "tee", "test", "time",
    "timeout", "touch", "tr", "true", "uname", "uniq", "usleep", "wc", "which", "xargs",
};

// Read by the interactive shell at its start (ENV). Busybox ash has no "logout" of its own.
const char kShellRc[] =
    "# The simulated ESXi host's interactive shell reads this at its start (ENV).\n"
    "logout() { exit \"$@\"; }\n";

bool Fail(std::string* error, const std::string& text) {
    *error = text;
    return false;
}

bool Link(const fs::path& target, const fs::path& link, std::string* error) {
    std::error_code code;
    fs::create_symlink(target, link, code);
    return !code || Fail(error, "cannot link " + link.string() + ": " + code.message());
}

bool LinkHostPrograms(const std::string& program, const fs::path& bin, std::string* error) {
    fs::path target = fs::path("..") / ".." / fs::path(program).filename();
    for (const std::string& name : HostProgramNames()) {
        if (!Link(target, bin / name, error)) return false;
    }
    return true;
}

bool LinkApplets(const std::string& busybox, const fs::path& bin, std::string* error) {
    std::vector<std::string> present;
    if (!BusyboxApplets(busybox, &present, error)) return false;
    for (const std::string& name : kHostApplets) {
        if (std::find(present.begin(), present.end(), name) == present.end()) continue;
        if (!Link(busybox, bin / name, error)) return false;
    }
    return true;
}

bool WriteShellRc(const std::string& path, std::string* error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << kShellRc;
    out.close();
    return static_cast<bool>(out) || Fail(error, "cannot write " + path);
}

}  // namespace

std::string HostFilesDir(const std::string& program) { return program + ".d"; }

std::string HostBinDir(const std::string& program) { return HostFilesDir(program) + "/bin"; }

std::string ShellRcPath(const std::string& program) { return HostFilesDir(program) + "/shrc"; }

const std::vector<std::string>& HostApplets() { return kHostApplets; }

bool InstallHostFiles(const std::string& program, const std::string& busybox, std::string* error) {
    std::error_code code;
    fs::remove_all(HostFilesDir(program), code);
    if (code) return Fail(error, "cannot remove " + HostFilesDir(program) + ": " + code.message());
    fs::create_directories(HostBinDir(program), code);
    for (const std::string& dir : {HostFilesDir(program), HostBinDir(program)}) {
        if (!code) fs::permissions(dir, fs::perms(0755), code);
    }
    if (code) return Fail(error, "cannot create " + HostBinDir(program) + ": " + code.message());
    std::string bin = HostBinDir(program);
    return LinkHostPrograms(program, bin, error) && LinkApplets(busybox, bin, error) &&
           WriteShellRc(ShellRcPath(program), error);
}

}  // namespace esxisim
