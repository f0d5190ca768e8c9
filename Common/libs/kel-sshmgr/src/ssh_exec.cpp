#include "ssh_exec.h"

#include <string.h>
#include <unistd.h>

#include "client_conversation.h"
#include "kel-tools-trace.h"
#include "shell_prompt.h"

namespace {

const char* const kMsgRecv =
    "\n============== received data begin ==============\n%s\n"
    "============== received data ended ==============\n\n";
const char* const kMsgSent =
    "\n======= sent data begin == %4d bytes to write ==\n%s\n"
    "======= sent data ended == %4d bytes was sent ==\n\n";

// Prompts besides the ESXi shell's own (shell_prompt.h).
const char* const kOtherPrompts[] = {"~]#", "password:"};
const char* const kClientProgress[] = {
    "Looking up host", "Server version",          "Using SSH protocol", "Doing Diffie-Hellman",
    "Host key fingerprint is", "ssh-rsa",         "Using username"};

template <size_t N>
bool contains_any(const char* text, const char* const (&needles)[N]) {
    for (const char* needle : needles)
        if (strstr(text, needle) != NULL) return true;
    return false;
}

// The four ends of the two new pipes; -1 until created.
struct PipePair {
    fd_handle out[2] = {-1, -1};
    fd_handle in[2] = {-1, -1};

    void CloseAll() {
        close_fdhandle(in[1]);
        close_fdhandle(in[0]);
        close_fdhandle(out[1]);
        close_fdhandle(out[0]);
    }
};

bool save_std(fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def) {
    stdout_def = dup_fdhandle(STD_OUTPUT_HANDLE);
    stdin_def = dup_fdhandle(STD_INPUT_HANDLE);
    stderr_def = dup_fdhandle(STD_ERROR_HANDLE);
    return stdout_def != -1 && stdin_def != -1 && stderr_def != -1;
}

bool install_pipes(PipePair& pipes, fd_handle& stdout_r, fd_handle& stdout_w,
                   fd_handle& stdout_e, fd_handle& stdin_r, fd_handle& stdin_w) {
    if (create_pipe(pipes.out) == -1 || create_pipe(pipes.in) == -1) return false;
    stdout_w = dup2_std_fdhandle(pipes.out[1], STD_OUTPUT_HANDLE);
    if (stdout_w == -1) return false;
    stdout_r = dup_fdhandle(pipes.out[0]);
    stdin_r = dup2_std_fdhandle(pipes.in[0], STD_INPUT_HANDLE);
    if (stdin_r == -1) return false;
    stdin_w = dup_fdhandle(pipes.in[1]);
    stdout_e = dup2_std_fdhandle(stdout_w, STD_ERROR_HANDLE);
    return stdout_e != -1;
}

}  // namespace

int create_pipes(fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                 fd_handle& stdout_r, fd_handle& stdout_w, fd_handle& stdout_e,
                 fd_handle& stdin_r, fd_handle& stdin_w) {
    stdin_def = stdout_def = stderr_def = -1;
    stdout_r = stdout_w = stdout_e = stdin_r = stdin_w = -1;
    PipePair pipes;
    if (save_std(stdin_def, stdout_def, stderr_def) &&
        install_pipes(pipes, stdout_r, stdout_w, stdout_e, stdin_r, stdin_w)) {
        pipes.CloseAll();
        return 1;
    }
    pipes.CloseAll();
    release_client_fds(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e, stdin_r,
                       stdin_w);
    return 0;
}

bool isVerboseInformation(const char* recv) {
    if (recv == NULL || has_shell_prompt(recv) || contains_any(recv, kOtherPrompts)) return false;
    return contains_any(recv, kClientProgress);
}

void trace_recv(char* recv) { kel_trace(TRACE_DEBUG, kMsgRecv, recv); }

void trace_sent(const char* sent, int b_written) {
    if (sent == NULL) return;
    kel_trace(TRACE_DEBUG, kMsgSent, static_cast<int>(strlen(sent)), sent, b_written);
}
