// What the test fixtures create is named after the process that created it, so that what a killed process
// left behind can be told apart from what a running one (another test, another suite) still uses:
//
//   network namespace  vmnap-PID-N
//   account            vmnapPIDuN
//   directories        /tmp/vmnap-sshd-PID-XXXXXX (sshd fixture), /tmp/vmnap-test-PID-XXXXXX (TempDir)
//
// A leftover is such a thing whose process no longer runs.
#ifndef VMNAP_TEST_SUPPORT_LEFTOVER_NAMES_H
#define VMNAP_TEST_SUPPORT_LEFTOVER_NAMES_H

#include <sys/types.h>

#include <string>
#include <vector>

std::string NetnsName(pid_t pid, int n);
std::string AccountName(pid_t pid, int n);

// mkdtemp patterns carrying this process's pid.
std::string SshdDirPattern();
std::string TestDirPattern();

struct Owned {
    enum Kind { kNetns, kAccount, kDirectory };
    Kind kind;
    std::string name;  // the namespace's name, the account's name or the directory's full path
    pid_t owner;
};

// The pid a name of this kind carries; -1 when the name is none of the above.
pid_t OwnerOf(Owned::Kind kind, const std::string& name);

// Every namespace, account and directory named as above, in that order.
std::vector<Owned> FindOwned();

// True while `pid` runs (a zombie no longer does).
bool ProcessAlive(pid_t pid);

#endif
