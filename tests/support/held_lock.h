// An exclusive flock held on a file by the test itself, the way another run of the tool holds the lock of
// its list file ("<listfile>.lock"): a second open file of it cannot take the lock until Release().
#ifndef VMNAP_TEST_SUPPORT_HELD_LOCK_H
#define VMNAP_TEST_SUPPORT_HELD_LOCK_H

#include <string>

class HeldLock {
public:
    explicit HeldLock(const std::string& path);  // creates the file (0600) when missing, takes the lock
    ~HeldLock();                                 // Release()
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;

    bool held() const { return held_; }  // false when the file could not be opened or locked at once
    void Release();

private:
    int fd_ = -1;
    bool held_ = false;
};

#endif
