#include "leftover_guard.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <string>

namespace {

std::mutex g_mutex;
int g_pipe_to_guard = -1;  // never written; its closing at our end is the guard's signal
pid_t g_guard_pid = -1;

[[noreturn]] void ExecGuard(int read_end, int report_fd, const char* owner) {
    setsid();
    int null = open("/dev/null", O_RDWR);
    dup2(read_end, 0);
    dup2(null, 1);
    dup2(null, 2);
    for (int fd = 3; fd < 1024; ++fd) {
        if (fd != report_fd) close(fd);
    }
    pid_t me = getpid();
    if (write(report_fd, &me, sizeof(me)) != static_cast<ssize_t>(sizeof(me))) _exit(1);
    close(report_fd);
    if (chdir("/") != 0) _exit(1);
    execl(VMNAP_SWEEP_PATH, "vmnap-sweep", "--guard", owner, static_cast<char*>(nullptr));
    _exit(127);
}

// Forks twice: the middle process exits at once, so the guard is adopted by init (or a subreaper).
pid_t StartDetached(int read_end) {
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) return -1;
    std::string owner = std::to_string(getpid());
    pid_t middle = fork();
    if (middle == 0) {
        if (fork() == 0) ExecGuard(read_end, report[1], owner.c_str());
        _exit(0);
    }
    close(report[1]);
    int status = 0;
    if (middle > 0) waitpid(middle, &status, 0);
    pid_t guard = -1;
    if (middle < 0 || read(report[0], &guard, sizeof(guard)) != static_cast<ssize_t>(sizeof(guard))) guard = -1;
    close(report[0]);
    return guard;
}

}  // namespace

bool GuardLeftovers() {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_guard_pid > 0) return true;
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return false;
    g_guard_pid = StartDetached(fds[0]);
    close(fds[0]);
    if (g_guard_pid > 0) {
        g_pipe_to_guard = fds[1];
    } else {
        close(fds[1]);
    }
    return g_guard_pid > 0;
}

pid_t LeftoverGuardPid() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_guard_pid;
}
