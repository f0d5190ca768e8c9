// One run per list file: a run that writes the list file holds an exclusive
// flock on "<listfile>.lock" from before its client starts until it has ended.
// The lock file is created beside the list file (mode 0600) and never removed:
// removing it could let a third run lock a new file while the second still
// waits on the old one.
#ifndef VMNAP_LIST_FILE_LOCK_H
#define VMNAP_LIST_FILE_LOCK_H

#include <string>

class ListFileLock {
public:
    enum Result {
        kTaken,    // this run holds the lock
        kBusy,     // another run held it for the whole wait
        kStopped,  // a stop was asked for while waiting
        kFailed    // the lock file cannot be opened or created
    };

    explicit ListFileLock(const std::string& listfile);
    ~ListFileLock();  // releases the lock
    ListFileLock(const ListFileLock&) = delete;
    ListFileLock& operator=(const ListFileLock&) = delete;

    // Tries at once, then again every kPollMs until `wait_seconds` are over
    // (0: one try only); a stop request ends the wait.
    Result Take(int wait_seconds);

    const std::string& path() const { return path_; }

    static const int kPollMs = 100;

private:
    bool Open();

    std::string path_;
    int fd_ = -1;
};

// The lock file of `listfile`.
std::string LockPathOf(const std::string& listfile);

// How long a run waits for the lock of its list file: as long as it would
// wait for one VM (-timeoutminutes, in seconds here); never negative.
int LockWaitSeconds(int timeout_seconds);

#endif
