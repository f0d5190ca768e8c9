// Looking at other processes through /proc: who a process is, what it waits in, and its children.
#ifndef VMNAP_TEST_SUPPORT_PROCESSES_H
#define VMNAP_TEST_SUPPORT_PROCESSES_H

#include <sys/types.h>

#include <string>
#include <vector>

// The short name of `pid` (its comm, e.g. "plink"); empty when it does not exist.
std::string ProcessName(pid_t pid);

// The processes whose parent is `parent`, zombies included.
std::vector<pid_t> ChildProcesses(pid_t parent);

// True when `pid` no longer runs: it has exited (a zombie not yet reaped) or does not exist.
bool HasEnded(pid_t pid);

// True while `pid` is blocked in a sleep (nanosleep or clock_nanosleep). Needs root for other users.
bool IsSleeping(pid_t pid);

// The first of `pids` named `name` that satisfies IsSleeping (when `sleeping`), polled every 50 ms for up
// to `seconds`; 0 when none. `pids` is asked for afresh on every poll.
template <typename ListPids>
pid_t WaitForProcess(ListPids list_pids, const std::string& name, bool sleeping, double seconds);

// Implementation of the template above.
pid_t FindProcess(const std::vector<pid_t>& pids, const std::string& name, bool sleeping);
void SleepSeconds(double seconds);

template <typename ListPids>
pid_t WaitForProcess(ListPids list_pids, const std::string& name, bool sleeping, double seconds) {
    for (double waited = 0; waited <= seconds; waited += 0.05) {
        pid_t pid = FindProcess(list_pids(), name, sleeping);
        if (pid != 0) return pid;
        SleepSeconds(0.05);
    }
    return 0;
}

#endif
