#include "run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <regex>

namespace {

void exec_child(const ProgramRun& run, int out_fd, int err_fd) {
    if (run.new_session) setsid();
    int devnull = open("/dev/null", O_RDONLY);
    dup2(devnull, 0);
    dup2(out_fd, 1);
    dup2(run.merge_stderr ? out_fd : err_fd, 2);
    if (!run.cwd.empty() && chdir(run.cwd.c_str()) != 0) _exit(126);
    for (const std::string& e : run.env) putenv(const_cast<char*>(e.c_str()));
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(run.path.c_str()));
    for (const std::string& a : run.args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(run.path.c_str(), argv.data());
    _exit(127);
}

bool drain(int fd, std::string& into) {
    char buf[4096];
    ssize_t n = read(fd, buf, sizeof(buf));
    if (n > 0) into.append(buf, static_cast<size_t>(n));
    return n > 0;
}

int decode(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

}  // namespace

ProgramResult RunProgram(const ProgramRun& run) {
    ProgramResult result;
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0) return result;
    pid_t pid = fork();
    if (pid == 0) {
        close(out[0]);
        close(err[0]);
        exec_child(run, out[1], err[1]);
    }
    close(out[1]);
    close(err[1]);
    time_t deadline = time(nullptr) + run.timeout_seconds;
    bool out_open = true, err_open = true;
    while (out_open || err_open) {
        struct pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
        poll(fds, 2, 200);
        if (fds[0].revents) out_open = drain(out[0], result.out);
        if (fds[1].revents) err_open = drain(err[0], result.err);
        if (time(nullptr) > deadline) {
            kill(pid, SIGKILL);
            break;
        }
    }
    int status = 0;
    waitpid(pid, &status, 0);
    close(out[0]);
    close(err[0]);
    result.exit_status = decode(status);
    return result;
}

std::string NormalizeStamps(const std::string& text) {
    static const std::regex stamp("(^|\n)[0-2][0-9]:[0-5][0-9]:[0-6][0-9]: ");
    return std::regex_replace(text, stamp, "$1hh:mm:ss: ");
}
