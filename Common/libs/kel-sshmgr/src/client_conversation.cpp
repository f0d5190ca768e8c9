#include "client_conversation.h"

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "kel-tools-trace.h"

namespace {

const int kClosePolls = 5;
const int kPollsBeforeTerm = 3;
const int kPollMs = 1000;
const char* const kFatalError = "FATAL ERROR:";
const char* const kMsgTerminated = "client terminated forcibly\n";
const char* const kMsgHostKeyChanged =
    "the host key of %s has changed: connection cancelled, no password sent\n";

// plink's warning about a changed key: its title, its first sentence and its question.
const char* const kMismatchMarks[] = {"POTENTIAL SECURITY BREACH", "host key does not match",
                                      "Update cached key?"};

void restore_and_close(fd_handle& saved, int std_fd) {
    if (saved != -1) dup2(saved, std_fd);
    close_fdhandle(saved);
}

}  // namespace

bool locate_client(char* path, int size) {
    char directory[4096];
    memset(directory, 0, sizeof(directory));
    if (getcwd(directory, sizeof(directory)) == NULL) directory[0] = '\0';
    int length = snprintf(path, size, "%s%s%s", directory, "/", "plink");
    (void)length;  // a path cut at the buffer's end is simply not found
    return access(path, F_OK) == 0;
}

bool is_host_key_question(const char* text) {
    return has(text, "host key") && has(text, "fingerprint") &&
           (has(text, "y/n") || has(text, "yes/no"));
}

bool is_host_key_mismatch(const char* text) {
    for (const char* mark : kMismatchMarks)
        if (has(text, mark)) return true;
    return false;
}

void trace_host_key_changed(const char* caller, const char* host) {
    if (caller != NULL)
        KelTrace(TRACE_ERROR, caller, kMsgHostKeyChanged, host);
    else
        kel_trace(TRACE_ERROR, kMsgHostKeyChanged, host);
}

bool is_password_prompt(const char* text) {
    return (has(text, "password:") || has(text, "Password:")) &&
           !has(text, "weak admin's password:");
}

bool is_logout(const char* text) { return has(text, "logout") || has(text, "connection abort"); }

bool is_connection_lost(const char* line) {
    return strncmp(line, kFatalError, strlen(kFatalError)) == 0 && has(line, "connection abort");
}

int answer_quit_question(const char* text, bool quitting, char* answer, int answer_size) {
    bool unsaved = has(text, "system has unsaved changes");
    if (unsaved && !has(text, "y/n")) return quitting;
    if (unsaved && has(text, "you like to save")) {
        if (quitting) snprintf(answer, answer_size, "y%s", "\n");
        return quitting;
    }
    if (has(text, "Configuration Saved") || has(text, "Configuration Not Saved")) return quitting;
    if (strcasecmp(text, "y") == 0 || strcasecmp(text, "n") == 0) return quitting;
    return 0;
}

// Each poll that finds the client alive gives it up to a second to end, so a
// client that ends by itself is waited for only as long as it takes.
void terminate_client(pid_t pid) {
    if (pid == 0) return;
    int alive = 0;
    for (int i = 0; i < kClosePolls; ++i) {
        if (check_process(pid) != 0) return;
        wait_for_exit(pid, kPollMs);
        if (++alive == kPollsBeforeTerm) {
            kel_trace(TRACE_WARNING, kMsgTerminated);
            kill(pid, SIGTERM);
        }
    }
}

void release_client_fds(fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                        fd_handle& stdout_r, fd_handle& stdout_w, fd_handle& stdout_e,
                        fd_handle& stdin_r, fd_handle& stdin_w) {
    close_fdhandle(stdout_r);
    close_fdhandle(stdout_w);
    close_fdhandle(stdout_e);
    close_fdhandle(stdin_r);
    close_fdhandle(stdin_w);
    restore_and_close(stdout_def, STD_OUTPUT_HANDLE);
    restore_and_close(stdin_def, STD_INPUT_HANDLE);
    restore_and_close(stderr_def, STD_ERROR_HANDLE);
}
