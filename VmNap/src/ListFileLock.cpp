#include "ListFileLock.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "StopRequest.h"
#include "kel-tools-trace.h"

namespace {

const char kTraceName[] = "ListFileLock";
const char kCantOpen[] = "can't open lock file %s: %s\n";
const char kNotRegular[] = "lock file is not a regular file: %s\n";
const char kWaiting[] = "another run holds %s, waiting up to %d s\n";
const char kLockSuffix[] = ".lock";
const mode_t kLockFileMode = 0600;

long long now_ms() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void pause_ms(int ms) {
    struct timespec pause = {ms / 1000, static_cast<long>(ms % 1000) * 1000000L};
    nanosleep(&pause, nullptr);  // a signal ends it early: the caller looks at the stop flag
}

// The lock file for writing, created when missing; an existing one in a
// directory that cannot be written is still good for reading, which is
// all flock needs. Never follows a symbolic link, never blocks on a FIFO.
int open_lock_file(const std::string& path) {
    const int flags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int fd = open(path.c_str(), O_RDWR | O_CREAT | flags, kLockFileMode);
    if (fd < 0 && (errno == EROFS || errno == EACCES)) fd = open(path.c_str(), O_RDONLY | flags);
    return fd;
}

bool try_lock(int fd) {
    for (;;) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
        if (errno != EINTR) return false;
    }
}

}  // namespace

ListFileLock::ListFileLock(const std::string& listfile) : path_(LockPathOf(listfile)) {}

ListFileLock::~ListFileLock() {
    if (fd_ != -1) close(fd_);
}

bool ListFileLock::Open() {
    if (fd_ != -1) return true;
    int fd = open_lock_file(path_);
    if (fd < 0) {
        KelTrace(TRACE_DEBUG, kTraceName, kCantOpen, path_.c_str(), strerror(errno));
        return false;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        KelTrace(TRACE_DEBUG, kTraceName, kNotRegular, path_.c_str());
        close(fd);
        return false;
    }
    if ((st.st_mode & 07777) != kLockFileMode && st.st_uid == geteuid()) fchmod(fd, kLockFileMode);
    fd_ = fd;
    return true;
}

ListFileLock::Result ListFileLock::Take(int wait_seconds) {
    if (!Open()) return kFailed;
    if (try_lock(fd_)) return kTaken;
    KelTrace(TRACE_INFO, kTraceName, kWaiting, path_.c_str(), wait_seconds);
    long long deadline = now_ms() + static_cast<long long>(wait_seconds) * 1000;
    for (;;) {
        if (StopRequest::Requested()) return kStopped;
        long long left = deadline - now_ms();
        if (left <= 0) return kBusy;
        pause_ms(left < kPollMs ? static_cast<int>(left) : kPollMs);
        if (try_lock(fd_)) return kTaken;
    }
}

std::string LockPathOf(const std::string& listfile) { return listfile + kLockSuffix; }

int LockWaitSeconds(int timeout_seconds) { return timeout_seconds > 0 ? timeout_seconds : 0; }
