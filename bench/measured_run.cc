#include "measured_run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>

namespace {

const int kSampleMs = 10;

double Seconds(const timeval& tv) { return tv.tv_sec + tv.tv_usec / 1e6; }

[[noreturn]] void ExecChild(const std::vector<std::string>& argv, const std::string& cwd,
                            const std::string& home, const std::string& log_path) {
    setsid();
    int null_fd = open("/dev/null", O_RDONLY);
    int log_fd = open(log_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (null_fd < 0 || log_fd < 0 || chdir(cwd.c_str()) != 0) _exit(126);
    dup2(null_fd, 0);
    dup2(log_fd, 1);
    dup2(log_fd, 2);
    setenv("HOME", home.c_str(), 1);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
}

// VmHWM of a running process in KiB; 0 when it cannot be read.
long PeakKib(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
    return 0;
}

// Time the (exited, not yet reaped) process spent on a CPU, from the scheduler's own count.
double OwnCpuSeconds(pid_t pid) {
    std::ifstream schedstat("/proc/" + std::to_string(pid) + "/schedstat");
    double ns = 0;
    schedstat >> ns;
    return ns / 1e9;
}

bool Exited(pid_t pid) {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == pid;
}

// Samples the peak RSS until the child has exited (it stays unreaped).
void WatchUntilExit(pid_t pid, Measured* m) {
    int pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    while (!Exited(pid)) {
        long peak = PeakKib(pid);
        if (peak > m->own_peak_kib) m->own_peak_kib = peak;
        struct pollfd watched = {pidfd, POLLIN, 0};
        if (pidfd < 0 || poll(&watched, 1, kSampleMs) < 0) usleep(kSampleMs * 1000);
    }
    if (pidfd >= 0) close(pidfd);
}

}  // namespace

Measured RunMeasured(const std::vector<std::string>& argv, const std::string& cwd, const std::string& home,
                     const std::string& log_path) {
    Measured m;
    auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid < 0) return m;
    if (pid == 0) ExecChild(argv, cwd, home, log_path);
    WatchUntilExit(pid, &m);
    m.wall_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    m.own_cpu_s = OwnCpuSeconds(pid);
    int status = 0;
    struct rusage usage = {};
    wait4(pid, &status, 0, &usage);
    m.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    m.tree_cpu_s = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    m.tree_peak_kib = usage.ru_maxrss;
    return m;
}
