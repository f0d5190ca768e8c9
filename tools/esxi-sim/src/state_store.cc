#include "state_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "fd_text.h"
#include "host_clock.h"
#include "state_text.h"

namespace esxisim {

namespace {

const char kStateFileName[] = "esxi-sim.state";
const char kStateEnv[] = "ESXI_SIM_STATE";

// Holds an exclusive flock on "<state>.lock" while alive. The lock file is opened read-only so that a
// file created by another account still locks.
class FileLock {
public:
    explicit FileLock(const std::string& state_path) {
        fd_ = open((state_path + ".lock").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
        if (fd_ >= 0 && flock(fd_, LOCK_EX) != 0) Release();
    }
    ~FileLock() { Release(); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool held() const { return fd_ >= 0; }

private:
    void Release() {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }
    int fd_ = -1;
};

bool Fail(std::string* error, const std::string& text) {
    *error = text;
    return false;
}

std::string SystemError(const std::string& what, const std::string& path) {
    return what + " " + path + ": " + std::strerror(errno);
}

}  // namespace

bool StateStore::Read(HostState* host, std::string* error) const {
    FileLock lock(path_);
    if (!lock.held()) return Fail(error, SystemError("cannot lock", path_));
    return ReadUnlocked(host, error);
}

bool StateStore::Write(const HostState& host, std::string* error) const {
    FileLock lock(path_);
    if (!lock.held()) return Fail(error, SystemError("cannot lock", path_));
    return WriteUnlocked(host, error);
}

bool StateStore::Update(const std::function<void(HostState*)>& change, std::string* error) const {
    FileLock lock(path_);
    if (!lock.held()) return Fail(error, SystemError("cannot lock", path_));
    HostState host;
    if (!ReadUnlocked(&host, error)) return false;
    change(&host);
    return WriteUnlocked(host, error);
}

bool StateStore::ReadUnlocked(HostState* host, std::string* error) const {
    int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        *host = HostState();
        return true;
    }
    if (fd < 0) return Fail(error, SystemError("cannot open", path_));
    std::string text;
    bool read_ok = ReadWhole(fd, &text);
    close(fd);
    if (!read_ok) return Fail(error, SystemError("cannot read", path_));
    std::string reason;
    if (!ParseState(text, host, &reason)) return Fail(error, path_ + ": " + reason);
    SettleHost(host, EpochNow());
    return true;
}

bool StateStore::WriteUnlocked(const HostState& host, std::string* error) const {
    std::string temp = path_ + ".tmp." + std::to_string(getpid());
    int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return Fail(error, SystemError("cannot create", temp));
    bool written = fchmod(fd, 0644) == 0 && WriteWhole(fd, FormatState(host));
    written = close(fd) == 0 && written;
    if (written && rename(temp.c_str(), path_.c_str()) == 0) return true;
    std::string reason = SystemError("cannot write", path_);
    unlink(temp.c_str());
    return Fail(error, reason);
}

std::string DefaultStatePath() {
    const char* from_env = std::getenv(kStateEnv);
    if (from_env && *from_env) return from_env;
    char exe[4096];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (n <= 0) return kStateFileName;
    std::string path(exe, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/') + 1) + kStateFileName;
}

int ReportStateError(const std::string& error) {
    std::cerr << "esxi-sim: " << error << "\n";
    return 1;
}

}  // namespace esxisim
