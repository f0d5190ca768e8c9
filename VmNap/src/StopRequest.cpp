#include "StopRequest.h"

#include <signal.h>
#include <string.h>

namespace StopRequest {

namespace {

const int kStopSignals[] = {SIGTERM, SIGINT, SIGHUP};

volatile sig_atomic_t g_signal = 0;

extern "C" void on_stop_signal(int signal_number) {
    if (g_signal == 0) g_signal = signal_number;
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
