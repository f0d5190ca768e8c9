#include "signal_storm.h"

#include <string.h>

#include <chrono>

namespace {

extern "C" void ignore_signal(int) {}

}  // namespace

SignalStorm::SignalStorm(int interval_ms) : target_(pthread_self()) {
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    action.sa_handler = ignore_signal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    sigaction(SIGUSR1, &action, &previous_);
    sender_ = std::thread([this, interval_ms] {
        while (running_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(interval_ms));
            if (running_ && pthread_kill(target_, SIGUSR1) == 0) ++sent_;
        }
    });
}

SignalStorm::~SignalStorm() {
    running_ = false;
    sender_.join();
    sigaction(SIGUSR1, &previous_, nullptr);
}
