// A daemon run the way the NUT end-to-end tests need it: in a given network namespace, with an empty
// /run of its own (a tmpfs in a private mount namespace, holding an empty /run/nut, where NUT's programs
// keep PID files and sockets: nothing of the machine's /run is seen or changed, syslog's socket included),
// in a session of its own, its output appended to a log file. Stop() ends every process of that session
// (the daemon and whatever it started and left running there), one PID at a time.
#ifndef VMNAP_TEST_SUPPORT_ISOLATED_DAEMON_H
#define VMNAP_TEST_SUPPORT_ISOLATED_DAEMON_H

#include <sys/types.h>

#include <string>
#include <vector>

struct DaemonLaunch {
    std::vector<std::string> argv;  // argv[0]: full path
    std::vector<std::string> env;   // NAME=value entries added to ours
    std::string netns;              // name under /run/netns
    std::string log_path;
};

class IsolatedDaemon {
public:
    IsolatedDaemon() = default;
    ~IsolatedDaemon();  // Stop()
    IsolatedDaemon(const IsolatedDaemon&) = delete;
    IsolatedDaemon& operator=(const IsolatedDaemon&) = delete;

    bool Start(const DaemonLaunch& launch);
    bool Running();  // the session leader has not exited
    void Stop();     // SIGTERM to the session, up to three seconds' grace, then SIGKILL; reaps the leader

    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

// The processes (not zombies) whose session is `sid`.
std::vector<pid_t> ProcessesOfSession(pid_t sid);

#endif
