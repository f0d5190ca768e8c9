// Descriptor wrappers, child-process control and text helpers of the SSH
// session manager. A "handle" here is a plain POSIX file descriptor.
#ifndef SSH_IO_H
#define SSH_IO_H

#include <sys/types.h>

typedef int fd_handle;  // -1: no descriptor

extern const int STD_INPUT_HANDLE;   // 0
extern const int STD_OUTPUT_HANDLE;  // 1
extern const int STD_ERROR_HANDLE;   // 2

// --- ssh_io: descriptor wrappers -------------------------------------------

// A copy of oldfd on the lowest free number, close-on-exec; -1 on failure.
fd_handle dup_fdhandle(fd_handle oldfd);
// dup2(oldfd, newfd): newfd on success, -1 on failure.
fd_handle dup2_std_fdhandle(fd_handle oldfd, int newfd);
// Closes fd unless it is -1 and sets it to -1.
void close_fdhandle(fd_handle& fd);
// A pipe whose two ends are close-on-exec; -1 for a null array or on failure.
// fds[0] reads, fds[1] writes. (dup2 onto 0, 1 or 2 gives a copy without the flag.)
int create_pipe(fd_handle* fds);
// Bytes waiting to be read; 0 when the query fails.
int get_bytes_avail(fd_handle fd_r);
// One read of min(recv_size, b_avail) bytes (resumed after a signal); never terminates the text.
int read_fdhandle(fd_handle fd_r, char* recv, int recv_size, int b_avail);
// One write of strlen(send) bytes (resumed after a signal); -1 for a -1 descriptor or null text.
int write_fdhandle(fd_handle fd_w, const char* send);
// Waits at most `ms` milliseconds, without spinning, until `fd_r` has output or its writing end is
// closed: 1 then, 0 when the time ran out (or a signal came), -1 on error. A -1 descriptor just waits.
int wait_fdhandle(fd_handle fd_r, int ms);

// --- ssh_process: the child client -------------------------------------------

// Starts `filepath` with the words of `args` (split on single spaces) as its
// argument vector and fd_in/fd_out/fd_err as its standard descriptors (the
// client gets no other descriptor, SIGPIPE at its default and the
// file-creation mask 077; the caller's mask is left alone), sleeps one
// second, signals or not, with the caller's own standard descriptors
// restored from the saved copies. Returns the child's pid, 0 on failure.
pid_t run_ssh_process(fd_handle& fd_in, fd_handle& fd_out, fd_handle& fd_err,
                      fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                      const char* filepath, const char* args);
// The same without the second's sleep: the caller's standard descriptors are
// its own again when it returns, so that the sleep (client_start_pause) may
// come after whatever kept other threads off them.
pid_t start_ssh_process(fd_handle& fd_in, fd_handle& fd_out, fd_handle& fd_err,
                        fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                        const char* filepath, const char* args);
// The second a new client is given before it is talked to, signals or not.
void client_start_pause();
// One non-blocking poll: 1 when the child is gone, 0 (after sleeping one
// whole second) while it runs.
int wait_process(pid_t pid);
// The same poll without the pause: 1 when the child is gone (reaped, its status traced), 0 while it runs.
int check_process(pid_t pid);
// Waits at most `ms` milliseconds for the child to end, returning as soon as it has (a signal does not end
// the wait early); it is not reaped.
void wait_for_exit(pid_t pid, int ms);

// --- misc: text helpers and portability shims ---------------------------------

// Removes every trailing CR and LF.
void str_remove_ending(char* str);
// Removes every CR that is not directly followed by LF; keeps at most len - 1 characters.
void str_remove_single_cr(char* str, int len);
// strerror(err); buf and len are ignored.
char* get_last_error_str(unsigned long err, char* buf, int len);
// 0 when dup2 succeeded, -1 otherwise.
int _dup2(int oldfd, int newfd);
// pipe(pfds); psize and textmode are ignored.
int _pipe(int* pfds, unsigned int psize, int textmode);

#endif
