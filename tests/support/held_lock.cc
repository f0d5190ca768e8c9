#include "held_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

HeldLock::HeldLock(const std::string& path) : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    held_ = fd_ >= 0 && flock(fd_, LOCK_EX | LOCK_NB) == 0;
}

HeldLock::~HeldLock() { Release(); }

void HeldLock::Release() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    held_ = false;
}
