#include "leftover_names.h"

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <cctype>
#include <fstream>

namespace {

const char kNetnsDir[] = "/run/netns";
const char kTmp[] = "/tmp";
const char kPasswd[] = "/etc/passwd";
const char* const kDirPrefixes[] = {"vmnap-sshd-", "vmnap-test-"};
const size_t kMkdtempSuffix = 6;

// Reads the decimal number at `text[*pos]` onwards; -1 when there is none.
long Number(const std::string& text, size_t* pos) {
    size_t start = *pos;
    while (*pos < text.size() && std::isdigit(static_cast<unsigned char>(text[*pos]))) ++*pos;
    if (*pos == start || *pos - start > 9) return -1;
    return std::stol(text.substr(start, *pos - start));
}

// "PREFIX<pid>SEP<n>" with nothing after; the pid or -1.
pid_t PidThenNumber(const std::string& name, const std::string& prefix, char separator) {
    if (name.compare(0, prefix.size(), prefix) != 0) return -1;
    size_t pos = prefix.size();
    long pid = Number(name, &pos);
    if (pid <= 0 || pos >= name.size() || name[pos] != separator) return -1;
    ++pos;
    return Number(name, &pos) >= 0 && pos == name.size() ? static_cast<pid_t>(pid) : -1;
}

// "/tmp/PREFIX<pid>-XXXXXX"; the pid or -1.
pid_t DirectoryPid(const std::string& path) {
    std::string base = std::string(kTmp) + "/";
    for (const char* prefix : kDirPrefixes) {
        std::string start = base + prefix;
        if (path.compare(0, start.size(), start) != 0) continue;
        size_t pos = start.size();
        long pid = Number(path, &pos);
        bool tail = pos < path.size() && path[pos] == '-' && path.size() - pos - 1 == kMkdtempSuffix;
        return pid > 0 && tail ? static_cast<pid_t>(pid) : -1;
    }
    return -1;
}

std::vector<std::string> DirectoryEntries(const char* dir) {
    std::vector<std::string> names;
    DIR* handle = opendir(dir);
    for (struct dirent* entry = handle ? readdir(handle) : nullptr; entry; entry = readdir(handle)) {
        names.push_back(entry->d_name);
    }
    if (handle) closedir(handle);
    return names;
}

std::vector<std::string> AccountNames() {
    std::vector<std::string> names;
    std::ifstream passwd(kPasswd);
    for (std::string line; std::getline(passwd, line);) names.push_back(line.substr(0, line.find(':')));
    return names;
}

void Collect(Owned::Kind kind, const std::vector<std::string>& names, const std::string& prefix,
             std::vector<Owned>* found) {
    for (const std::string& name : names) {
        pid_t owner = OwnerOf(kind, prefix + name);
        if (owner > 0) found->push_back({kind, prefix + name, owner});
    }
}

}  // namespace

std::string NetnsName(pid_t pid, int n) { return "vmnap-" + std::to_string(pid) + "-" + std::to_string(n); }

std::string AccountName(pid_t pid, int n) { return "vmnap" + std::to_string(pid) + "u" + std::to_string(n); }

std::string SshdDirPattern() { return std::string(kTmp) + "/vmnap-sshd-" + std::to_string(getpid()) + "-XXXXXX"; }

std::string TestDirPattern() { return std::string(kTmp) + "/vmnap-test-" + std::to_string(getpid()) + "-XXXXXX"; }

pid_t OwnerOf(Owned::Kind kind, const std::string& name) {
    switch (kind) {
        case Owned::kNetns: return PidThenNumber(name, "vmnap-", '-');
        case Owned::kAccount: return PidThenNumber(name, "vmnap", 'u');
        case Owned::kDirectory: return DirectoryPid(name);
    }
    return -1;
}

std::vector<Owned> FindOwned() {
    std::vector<Owned> found;
    Collect(Owned::kNetns, DirectoryEntries(kNetnsDir), "", &found);
    Collect(Owned::kAccount, AccountNames(), "", &found);
    Collect(Owned::kDirectory, DirectoryEntries(kTmp), std::string(kTmp) + "/", &found);
    return found;
}

bool ProcessAlive(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    size_t end_of_name = text.rfind(')');
    return end_of_name != std::string::npos && text.compare(end_of_name, 3, ") Z") != 0 &&
           text.compare(end_of_name, 3, ") X") != 0;
}
