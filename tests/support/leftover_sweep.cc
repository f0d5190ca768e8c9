#include "leftover_sweep.h"

#include <dirent.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

#include "admin_command.h"

namespace {

const char kNetnsDir[] = "/run/netns/";
const int kGraceTenths = 20;

using ProcessTest = std::function<bool(const std::string& proc_dir)>;

std::set<pid_t> Matching(const ProcessTest& belongs) {
    std::set<pid_t> pids;
    DIR* proc = opendir("/proc");
    for (struct dirent* entry = proc ? readdir(proc) : nullptr; entry; entry = readdir(proc)) {
        pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
        if (pid > 0 && pid != getpid() && belongs("/proc/" + std::string(entry->d_name))) pids.insert(pid);
    }
    if (proc) closedir(proc);
    return pids;
}

// SIGTERM, up to two seconds' grace, then SIGKILL for what is left.
void StopMatching(const ProcessTest& belongs) {
    std::set<pid_t> pids = Matching(belongs);
    for (int tenth = 0; !pids.empty() && tenth < 2 * kGraceTenths; ++tenth) {
        for (pid_t pid : pids) kill(pid, tenth < kGraceTenths ? SIGTERM : SIGKILL);
        usleep(100 * 1000);
        pids = Matching(belongs);
        for (auto it = pids.begin(); it != pids.end();) it = ProcessAlive(*it) ? std::next(it) : pids.erase(it);
    }
}

bool SameFile(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

bool Inside(const std::string& path, const std::string& dir) {
    return path == dir || path.compare(0, dir.size() + 1, dir + "/") == 0;
}

// Working directory or a word of the command line inside `dir`.
bool UsesDirectory(const std::string& proc_dir, const std::string& dir) {
    std::error_code error;
    if (Inside(std::filesystem::read_symlink(proc_dir + "/cwd", error).string(), dir)) return true;
    std::ifstream cmdline(proc_dir + "/cmdline");
    for (std::string word; std::getline(cmdline, word, '\0');) {
        if (word.find(dir + "/") != std::string::npos || word == dir) return true;
    }
    return false;
}

bool RemoveNetns(const std::string& name) {
    std::string path = kNetnsDir + name;
    StopMatching([&](const std::string& proc) { return SameFile(proc + "/ns/net", path); });
    std::string output;
    RunAdmin({IpPath(), "netns", "del", name}, "", &output);
    return access(path.c_str(), F_OK) != 0;
}

bool RemoveAccount(const std::string& name) {
    struct passwd* account = getpwnam(name.c_str());
    if (!account) return true;
    uid_t uid = account->pw_uid;
    struct stat st;
    StopMatching([&](const std::string& proc) { return stat(proc.c_str(), &st) == 0 && st.st_uid == uid; });
    std::string output;
    RunAdminRetryingLocks({"/usr/sbin/userdel", "-r", "-f", name}, "", &output);
    return getpwnam(name.c_str()) == nullptr;
}

bool RemoveDirectory(const std::string& path) {
    StopMatching([&](const std::string& proc) { return UsesDirectory(proc, path); });
    std::error_code error;
    std::filesystem::remove_all(path, error);
    return !std::filesystem::exists(path, error);
}

const char* KindName(Owned::Kind kind) {
    switch (kind) {
        case Owned::kNetns: return "namespace";
        case Owned::kAccount: return "account";
        case Owned::kDirectory: return "directory";
    }
    return "?";
}

}  // namespace

bool RemoveOwned(const Owned& owned) {
    switch (owned.kind) {
        case Owned::kNetns: return RemoveNetns(owned.name);
        case Owned::kAccount: return RemoveAccount(owned.name);
        case Owned::kDirectory: return RemoveDirectory(owned.name);
    }
    return false;
}

int SweepLeftovers(pid_t owner, std::ostream& log) {
    int failed = 0;
    for (const Owned& owned : FindOwned()) {
        if ((owner > 0 && owned.owner != owner) || ProcessAlive(owned.owner)) continue;
        bool removed = RemoveOwned(owned);
        log << (removed ? "removed " : "could not remove ") << KindName(owned.kind) << " " << owned.name
            << " of process " << owned.owner << ", which no longer runs\n";
        if (!removed) ++failed;
    }
    return failed;
}
