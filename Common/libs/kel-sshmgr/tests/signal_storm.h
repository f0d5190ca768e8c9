// Signals sent at one thread of the test again and again, with a handler that
// does nothing and without SA_RESTART: every sleep, poll or read the thread is
// waiting in returns early with EINTR, as when the tool is asked to stop.
#ifndef KEL_SSHMGR_TESTS_SIGNAL_STORM_H
#define KEL_SSHMGR_TESTS_SIGNAL_STORM_H

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <thread>

class SignalStorm {
public:
    // Sends SIGUSR1 to the calling thread every `interval_ms` until destroyed.
    explicit SignalStorm(int interval_ms);
    ~SignalStorm();
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

    int sent() const { return sent_; }

private:
    struct sigaction previous_;
    pthread_t target_;
    std::atomic<bool> running_{true};
    std::atomic<int> sent_{0};
    std::thread sender_;
};

#endif
