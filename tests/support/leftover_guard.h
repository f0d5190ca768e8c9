// A guard that cleans up after this process however it ends, SIGKILL included (as when CTest stops a test
// at its time limit).
#ifndef VMNAP_TEST_SUPPORT_LEFTOVER_GUARD_H
#define VMNAP_TEST_SUPPORT_LEFTOVER_GUARD_H

#include <sys/types.h>

// Starts the guard, once per process: "vmnap-sweep --guard PID" in a session of its own and not a child of
// this process (so that no wait() of ours reaps it and no signal to our process group reaches it). It
// holds the read end of a pipe whose only writer is this process; when this process has ended, it
// removes what this process's pid names (leftover_names.h). False when it could not be started.
bool GuardLeftovers();

// The guard's pid, once started; -1 before.
pid_t LeftoverGuardPid();

#endif
