// vmnap-sweep: removes what test fixtures of processes that no longer run left behind (network namespaces
// vmnap-PID-N, accounts vmnapPIDuN, directories /tmp/vmnap-sshd-PID-* and /tmp/vmnap-test-PID-*), and
// nothing that a running process owns.
//
//   vmnap-sweep              every such leftover; one line per leftover; exit 1 when one stays
//   vmnap-sweep --guard PID  waits for end of input (the pipe of leftover_guard.h), then until PID has
//                            ended, then removes PID's leftovers
#include <errno.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <string>

#include "leftover_names.h"
#include "leftover_sweep.h"

namespace {

const int kOwnerEndTenths = 600;

void WaitForEndOfInput() {
    char buffer[64];
    for (;;) {
        ssize_t n = read(0, buffer, sizeof(buffer));
        if (n == 0 || (n < 0 && errno != EINTR)) return;
    }
}

int Guard(pid_t owner) {
    WaitForEndOfInput();
    for (int tenth = 0; ProcessAlive(owner) && tenth < kOwnerEndTenths; ++tenth) usleep(100 * 1000);
    if (ProcessAlive(owner)) return 1;
    return SweepLeftovers(owner, std::cerr) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--guard") == 0) return Guard(static_cast<pid_t>(std::atoi(argv[2])));
    if (argc != 1) {
        std::cerr << "usage: vmnap-sweep [--guard PID]\n";
        return 2;
    }
    int failed = SweepLeftovers(0, std::cout);
    std::cout << (failed == 0 ? "no leftovers of earlier runs remain\n" : "some leftovers remain\n");
    return failed == 0 ? 0 : 1;
}
