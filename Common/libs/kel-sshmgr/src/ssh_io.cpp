#include "ssh_io.h"

#include <fcntl.h>
#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

const int STD_INPUT_HANDLE = 0;
const int STD_OUTPUT_HANDLE = 1;
const int STD_ERROR_HANDLE = 2;

// The tool's own copies are never inherited by the client.
fd_handle dup_fdhandle(fd_handle oldfd) { return fcntl(oldfd, F_DUPFD_CLOEXEC, 0); }

fd_handle dup2_std_fdhandle(fd_handle oldfd, int newfd) { return dup2(oldfd, newfd); }

void close_fdhandle(fd_handle& fd) {
    if (fd == -1) return;
    close(fd);
    fd = -1;
}

int create_pipe(fd_handle* fds) {
    if (fds == NULL) return -1;
    return pipe2(fds, O_CLOEXEC);
}

int get_bytes_avail(fd_handle fd_r) {
    int count = 0;
    ioctl(fd_r, FIONREAD, &count);
    return count;
}

// A signal that comes in while a read or write waits does not fail it.
int read_fdhandle(fd_handle fd_r, char* recv, int recv_size, int b_avail) {
    if (fd_r == -1 || recv == NULL) return -1;
    int wanted = std::min(recv_size, b_avail);
    ssize_t got;
    do got = read(fd_r, recv, wanted);
    while (got < 0 && errno == EINTR);
    return static_cast<int>(got);
}

int write_fdhandle(fd_handle fd_w, const char* send) {
    if (fd_w == -1 || send == NULL) return -1;
    ssize_t written;
    do written = write(fd_w, send, strlen(send));
    while (written < 0 && errno == EINTR);
    return static_cast<int>(written);
}

int wait_fdhandle(fd_handle fd_r, int ms) {
    struct pollfd watched = {fd_r, POLLIN, 0};
    int ready = poll(&watched, 1, ms < 0 ? 0 : ms);
    if (ready < 0) return errno == EINTR ? 0 : -1;
    return ready > 0 ? 1 : 0;
}
