#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "kel-tools-trace.h"
#include "ssh_io.h"

namespace {

const int kMaxArgs = 50;

// The client's files (plink's host-key cache and random seed) are private to
// the user who runs the tool, whatever mask the tool was started with.
const mode_t kClientFileMask = 077;

const char* const kMsgWaitProcess = "wait_process\n";
const char* const kMsgProcessExists = "wait_process: process exists\n";
const char* const kMsgProcessGone = "wait_process: process doesn't exist\n";
const char* const kMsgExited = "exited, status=%d\n";
const char* const kMsgKilled = "killed by signal %d\n";
const char* const kMsgStopped = "stopped by signal %d\n";
const char* const kMsgContinued = "continued\n";

// Splits `args` on single spaces into heap copies; consecutive spaces give
// empty words. At most kMaxArgs - 1 words are kept so the vector stays
// terminated by a null pointer.
void split_args(const char* args, char** argv) {
    char* work = strdup(args);
    if (work == NULL) return;
    int count = 0;
    char* word = work;
    char* space;
    while ((space = strchr(word, ' ')) != NULL) {
        *space = '\0';
        if (count < kMaxArgs - 1) argv[count++] = strdup(word);
        *space = ' ';
        word = space + 1;
    }
    if (*word != '\0' && count < kMaxArgs - 1) argv[count++] = strdup(word);
    free(work);
    argv[count] = NULL;
}

void free_args(char** argv) {
    for (int i = kMaxArgs - 1; i >= 0; --i) {
        free(argv[i]);
        argv[i] = NULL;
    }
}

// Marks every descriptor above 2 close-on-exec, whoever opened it. Without
// close_range (kernels before 5.11) the open ones are found in /proc/self/fd.
void close_on_exec_above_std() {
    if (close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) == 0) return;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == NULL) return;
    while (struct dirent* entry = readdir(dir)) {
        int fd = atoi(entry->d_name);
        if (fd > 2 && fd != dirfd(dir)) fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    closedir(dir);
}

// Sleeps the whole time, also when signals come in between (a stop request
// is looked at by the caller afterwards).
void sleep_ms(int ms) {
    struct timespec left = {ms / 1000, static_cast<long>(ms % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

long long now_ms() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// The child: keeps descriptors 0, 1, 2 (the pipes) and nothing else, leaves
// the caller's terminal session, gets the default SIGPIPE back (the tool
// ignores it), creates its files without group or world access, and becomes
// the client. Never returns.
void exec_child(fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                const char* filepath, const char* args, char** argv) {
    split_args(args, argv);
    close_fdhandle(stdout_def);
    close_fdhandle(stderr_def);
    close_fdhandle(stdin_def);
    close_on_exec_above_std();
    signal(SIGPIPE, SIG_DFL);
    umask(kClientFileMask);
    setsid();  // no controlling terminal: the client must read its answers from the pipe
    execv(filepath, argv);
    free_args(argv);
    _exit(0);  // no stdio buffer inherited from the parent may be flushed into the pipe
}

void restore_std(fd_handle saved, int std_fd) {
    if (saved != -1) dup2(saved, std_fd);
}

void trace_status(int status) {
    if (WIFEXITED(status))
        kel_trace(TRACE_DEBUG, kMsgExited, WEXITSTATUS(status));
    else if (WIFSIGNALED(status))
        kel_trace(TRACE_DEBUG, kMsgKilled, WTERMSIG(status));
    else if (WIFSTOPPED(status))
        kel_trace(TRACE_DEBUG, kMsgStopped, WSTOPSIG(status));
    else if (status == 0xFFFF)
        kel_trace(TRACE_DEBUG, kMsgContinued);
}

// -1 when there is none for `pid`.
int open_process_fd(pid_t pid) {
#ifdef SYS_pidfd_open
    if (pid > 0) return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#endif
    (void)pid;
    return -1;
}

}  // namespace

pid_t run_ssh_process(fd_handle& fd_in, fd_handle& fd_out, fd_handle& fd_err,
                      fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                      const char* filepath, const char* args) {
    pid_t pid = start_ssh_process(fd_in, fd_out, fd_err, stdin_def, stdout_def, stderr_def,
                                  filepath, args);
    if (pid != 0) client_start_pause();
    return pid;
}

void client_start_pause() { sleep_ms(1000); }

pid_t start_ssh_process(fd_handle& fd_in, fd_handle& fd_out, fd_handle& fd_err,
                        fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                        const char* filepath, const char* args) {
    char* argv[kMaxArgs];
    memset(argv, 0, sizeof(argv));
    if (filepath == NULL || args == NULL) return 0;
    pid_t pid = fork();
    if (pid < 0) return 0;
    if (pid == 0) exec_child(stdin_def, stdout_def, stderr_def, filepath, args, argv);
    close_fdhandle(fd_out);
    close_fdhandle(fd_in);
    close_fdhandle(fd_err);
    restore_std(stdout_def, STD_OUTPUT_HANDLE);
    restore_std(stdin_def, STD_INPUT_HANDLE);
    restore_std(stderr_def, STD_ERROR_HANDLE);
    close_fdhandle(stdout_def);
    close_fdhandle(stdin_def);
    close_fdhandle(stderr_def);
    return pid;
}

int check_process(pid_t pid) {
    kel_trace(TRACE_DEBUG, kMsgWaitProcess);
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == 0) {
        kel_trace(TRACE_DEBUG, kMsgProcessExists);
        return 0;
    }
    kel_trace(TRACE_DEBUG, kMsgProcessGone);
    trace_status(status);
    return 1;
}

int wait_process(pid_t pid) {
    if (check_process(pid) != 0) return 1;
    sleep_ms(1000);
    return 0;
}

// A process descriptor becomes readable when the child ends. Without one (a
// kernel older than 5.3) the whole time is slept, as wait_process does.
void wait_for_exit(pid_t pid, int ms) {
    if (ms <= 0) return;
    int pidfd = open_process_fd(pid);
    if (pidfd == -1) {
        sleep_ms(ms);
        return;
    }
    struct pollfd watched = {pidfd, POLLIN, 0};
    long long deadline = now_ms() + ms;
    for (long long left = ms; left > 0; left = deadline - now_ms())
        if (poll(&watched, 1, static_cast<int>(left)) >= 0 || errno != EINTR) break;
    close(pidfd);
}
