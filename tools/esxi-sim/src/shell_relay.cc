#include "shell_relay.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "fd_text.h"
#include "shell_log.h"

namespace esxisim {

namespace {

const size_t kChunk = 4096;
const int kCheckMilliseconds = 500;
const int kEndedStatus = 1;

void CloseFd(int* fd) {
    if (*fd >= 0) close(*fd);
    *fd = -1;
}

double Monotonic() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// -1 when the kernel has no pidfds: the shell's end is then seen when its output ends.
int OpenPidFd(pid_t pid) { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); }

int ExitStatus(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

}  // namespace

ShellRelay::ShellRelay(std::string state_path, pid_t shell, int to_shell, int from_shell)
    : state_path_(std::move(state_path)), shell_(shell), to_shell_(to_shell), from_shell_(from_shell),
      shell_exit_(OpenPidFd(shell)) {}

ShellRelay::~ShellRelay() {
    CloseFd(&to_shell_);
    CloseFd(&from_shell_);
    CloseFd(&shell_exit_);
}

int ShellRelay::Run() {
    while (from_shell_ >= 0 && !shell_gone_) {
        struct pollfd fds[3] = {
            {input_open_ ? 0 : -1, POLLIN, 0}, {from_shell_, POLLIN, 0}, {shell_exit_, POLLIN, 0}};
        int ready = poll(fds, 3, gone_ ? kCheckMilliseconds : -1);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) break;
        if (TimeToAsk() && gone_()) {
            EndSession();
            return kEndedStatus;
        }
        if (fds[0].revents) ReadInput();
        if (fds[1].revents) ReadOutput();
        if (fds[2].revents) shell_gone_ = true;
    }
    WaitForShell();
    return status_;
}

void ShellRelay::ReadInput() {
    char buffer[kChunk];
    ssize_t n = read(0, buffer, sizeof(buffer));
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) return EndInput();
    pending_.append(buffer, static_cast<size_t>(n));
    for (size_t end; (end = pending_.find('\n')) != std::string::npos;) {
        std::string line = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        Forward(line);
    }
}

void ShellRelay::EndInput() {
    if (!pending_.empty()) Forward(pending_);
    pending_.clear();
    input_open_ = false;
    CloseFd(&to_shell_);
}

void ShellRelay::Forward(std::string line) {
    line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
    std::string error;
    if (!AppendShellLog(state_path_, shell_, line, &error)) {
        WriteWhole(2, kUnloggedCommand + error + "\n");
        line.clear();
    }
    if (to_shell_ >= 0) WriteWhole(to_shell_, line + "\n");
}

void ShellRelay::ReadOutput() {
    char buffer[kChunk];
    ssize_t n = read(from_shell_, buffer, sizeof(buffer));
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) {
        Show(greeting_.Flush());
        return CloseFd(&from_shell_);
    }
    Show(greeting_.Pass(std::string(buffer, static_cast<size_t>(n))));
}

void ShellRelay::Show(const std::string& text) const { WriteWhole(1, text); }

// At most twice a second, however busy the session.
bool ShellRelay::TimeToAsk() {
    if (!gone_) return false;
    double now = Monotonic();
    if (now - last_asked_ < kCheckMilliseconds / 1000.0) return false;
    last_asked_ = now;
    return true;
}

// Hangs up the shell's process group when this program leads it (the shell and its commands share it; under
// sshd and in tests it does), kills the shell, and reaps it; nothing it still prints is shown.
void ShellRelay::EndSession() {
    if (getpgrp() == getpid()) {
        signal(SIGHUP, SIG_IGN);
        kill(0, SIGHUP);
    }
    kill(shell_, SIGKILL);
    waitpid(shell_, nullptr, 0);
}

// Reaps the shell; what it (or a command it left running) printed before is passed on without waiting.
void ShellRelay::WaitForShell() {
    int status = 0;
    if (waitpid(shell_, &status, 0) == shell_) status_ = ExitStatus(status);
    if (from_shell_ < 0) return;
    fcntl(from_shell_, F_SETFL, fcntl(from_shell_, F_GETFL) | O_NONBLOCK);
    while (from_shell_ >= 0) {
        char buffer[kChunk];
        ssize_t n = read(from_shell_, buffer, sizeof(buffer));
        if (n > 0) Show(greeting_.Pass(std::string(buffer, static_cast<size_t>(n))));
        else if (n < 0 && errno == EINTR) continue;
        else CloseFd(&from_shell_);
    }
    Show(greeting_.Flush());
}

}  // namespace esxisim
