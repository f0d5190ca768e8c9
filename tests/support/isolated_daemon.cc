#include "isolated_daemon.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace {

// In the child: the network namespace (found under the machine's /run), then a mount namespace of its own
// with an empty /run.
bool Isolate(const DaemonLaunch& launch) {
    int netns = open(("/run/netns/" + launch.netns).c_str(), O_RDONLY | O_CLOEXEC);
    return netns >= 0 && setns(netns, CLONE_NEWNET) == 0 && unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/run", "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") == 0 &&
           mkdir("/run/nut", 0770) == 0;
}

[[noreturn]] void ExecDaemon(const DaemonLaunch& launch) {
    setsid();
    int log = open(launch.log_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    int null = open("/dev/null", O_RDONLY);
    if (log < 0 || null < 0 || !Isolate(launch)) _exit(126);
    dup2(null, 0);
    dup2(log, 1);
    dup2(log, 2);
    for (const std::string& entry : launch.env) putenv(const_cast<char*>(entry.c_str()));
    std::vector<char*> args;
    for (const std::string& arg : launch.argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
}

// Session id of a running process; -1 for a zombie or a process gone.
pid_t SessionOf(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    size_t end_of_name = text.rfind(')');
    if (end_of_name == std::string::npos) return -1;
    std::istringstream fields(text.substr(end_of_name + 1));
    std::string state;
    long ppid = 0, pgrp = 0, session = -1;
    fields >> state >> ppid >> pgrp >> session;
    return state == "Z" ? -1 : static_cast<pid_t>(session);
}

}  // namespace

std::vector<pid_t> ProcessesOfSession(pid_t sid) {
    std::vector<pid_t> found;
    DIR* proc = opendir("/proc");
    for (struct dirent* entry = proc ? readdir(proc) : nullptr; entry; entry = readdir(proc)) {
        pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
        if (pid > 0 && SessionOf(pid) == sid) found.push_back(pid);
    }
    if (proc) closedir(proc);
    return found;
}

IsolatedDaemon::~IsolatedDaemon() { Stop(); }

bool IsolatedDaemon::Start(const DaemonLaunch& launch) {
    pid_ = fork();
    if (pid_ == 0) ExecDaemon(launch);
    return pid_ > 0;
}

bool IsolatedDaemon::Running() {
    int status = 0;
    if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) pid_ = -1;
    return pid_ > 0;
}

void IsolatedDaemon::Stop() {
    const pid_t sid = pid_;  // stays the session of the others after the leader has gone
    if (sid <= 0) return;
    for (int round = 0; round < 40; ++round) {
        std::vector<pid_t> session = ProcessesOfSession(sid);
        Running();  // reaps the leader once it has exited
        if (session.empty() && pid_ <= 0) return;
        for (pid_t pid : session) kill(pid, round < 30 ? SIGTERM : SIGKILL);
        usleep(100 * 1000);
    }
    int status = 0;
    if (pid_ > 0) waitpid(pid_, &status, 0);
    pid_ = -1;
}
