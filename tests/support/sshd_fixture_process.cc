#include "sshd_fixture_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

namespace {

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

[[noreturn]] void ExecChild(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                            const std::string& cwd, int in_fd, int out_fd) {
    setsid();
    dup2(in_fd, 0);
    dup2(out_fd, 1);
    dup2(out_fd, 2);
    for (int fd = 3; fd < 1024; ++fd) close(fd);
    if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
    for (const std::string& entry : env) putenv(const_cast<char*>(entry.c_str()));
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
}

int Decode(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

}  // namespace

PipedProcess::~PipedProcess() { Stop(); }

bool PipedProcess::Start(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                         const std::string& cwd) {
    int in[2], out[2];
    if (argv.empty() || running() || pipe2(in, O_CLOEXEC) != 0) return false;
    if (pipe2(out, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return false;
    }
    pid_ = fork();
    if (pid_ == 0) ExecChild(argv, env, cwd, in[0], out[1]);
    close(in[0]);
    close(out[1]);
    in_fd_ = in[1];
    out_fd_ = out[0];
    return pid_ > 0;
}

bool PipedProcess::Write(const std::string& text) {
    size_t done = 0;
    while (in_fd_ >= 0 && done < text.size()) {
        ssize_t n = write(in_fd_, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return done == text.size();
}

void PipedProcess::CloseInput() {
    if (in_fd_ >= 0) close(in_fd_);
    in_fd_ = -1;
}

bool PipedProcess::ReadSome(int timeout_ms) {
    if (out_fd_ < 0) return false;
    struct pollfd pfd = {out_fd_, POLLIN, 0};
    if (poll(&pfd, 1, timeout_ms) <= 0) return true;
    char buffer[4096];
    ssize_t n = read(out_fd_, buffer, sizeof(buffer));
    if (n < 0 && errno == EINTR) return true;
    if (n > 0) output_.append(buffer, static_cast<size_t>(n));
    return n > 0;
}

bool PipedProcess::ReadUntil(const std::string& marker, int timeout_seconds, std::string* text) {
    double deadline = Now() + timeout_seconds;
    size_t found = std::string::npos;
    bool open = true;
    while ((found = output_.find(marker, returned_)) == std::string::npos && open && Now() < deadline) {
        open = ReadSome(100);
    }
    size_t end = found == std::string::npos ? output_.size() : found + marker.size();
    *text = output_.substr(returned_, end - returned_);
    returned_ = end;
    return found != std::string::npos;
}

std::string PipedProcess::ReadFor(double seconds) {
    double deadline = Now() + seconds;
    while (Now() < deadline && ReadSome(50)) {
    }
    std::string text = output_.substr(returned_);
    returned_ = output_.size();
    return text;
}

bool PipedProcess::Reap(int options) {
    if (pid_ <= 0) return true;
    int status = 0;
    pid_t done = waitpid(pid_, &status, options);
    if (done == 0) return false;
    if (done == pid_) status_ = Decode(status);
    pid_ = -1;
    return true;
}

int PipedProcess::Wait(int timeout_seconds) {
    double deadline = Now() + timeout_seconds;
    while (!Reap(WNOHANG)) {
        if (Now() >= deadline) return -1;
        ReadSome(50);
    }
    return status_;
}

void PipedProcess::Stop() {
    CloseInput();
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        if (Wait(2) < 0 && pid_ > 0) {
            kill(pid_, SIGKILL);
            Reap(0);
        }
    }
    if (out_fd_ >= 0) close(out_fd_);
    out_fd_ = -1;
}

bool StartRun(PipedProcess& process, const ProgramRun& run) {
    std::vector<std::string> argv = {run.path};
    argv.insert(argv.end(), run.args.begin(), run.args.end());
    return process.Start(argv, run.env, run.cwd);
}
