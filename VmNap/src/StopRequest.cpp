#include "StopRequest.h"

#include <signal.h>
#include <string.h>

#include <atomic>

namespace StopRequest {

namespace {

const int kStopSignals[] = {SIGTERM, SIGINT, SIGHUP};

// Read by the workers of a run with several sessions as well: an atomic
// without a lock, so the handler may set it.
std::atomic<int> g_signal(0);
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free flag");

extern "C" void on_stop_signal(int signal_number) {
    int none = 0;
    g_signal.compare_exchange_strong(none, signal_number);
}

}  // namespace

void Install() {
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    action.sa_handler = on_stop_signal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal_number : kStopSignals) sigaction(signal_number, &action, nullptr);
}

bool Requested() { return g_signal != 0; }

int Signal() { return g_signal; }

void Clear() { g_signal = 0; }

}  // namespace StopRequest
