// The one-shot exec engine: start a verbose client, let the parsers hold the
// whole conversation, then end the client and restore the descriptors.
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "client_conversation.h"
#include "kel-tools-trace.h"
#include "ssh_exec.h"

namespace {

const int kBufSize = 4096;
const double kQuitTimeout = 10;  // seconds of silence left to a logging-out client

const char* const kMsgPreparing = "preparing to execute ssh client...\n";
const char* const kMsgExecuted = "ssh client is executed:\n";
const char* const kMsgCommandLine = "%s%s\n";
const char* const kMsgLoop = "read ssh session output loop\n";
const char* const kMsgCannotRead = "cannot read data\n";
const char* const kMsgCannotParse = "cannot parse output.\n";
const char* const kMsgCannotWrite = "cannot write data.\n";
const char* const kMsgNotEmpty = "ssh process output buffer not empty\n";
const char* const kMsgTimeout = "client canceled by timeout\n";

// The eight descriptors of one client connection.
struct ClientFds {
    fd_handle stdin_def = -1, stdout_def = -1, stderr_def = -1;
    fd_handle stdout_r = -1, stdout_w = -1, stdout_e = -1, stdin_r = -1, stdin_w = -1;

    bool Create() {
        return create_pipes(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e,
                            stdin_r, stdin_w) != 0;
    }
    pid_t Start(const char* path, const char* args) {
        return run_ssh_process(stdin_r, stdout_w, stdout_e, stdin_def, stdout_def, stderr_def,
                               path, args);
    }
    void Release() {
        release_client_fds(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e,
                           stdin_r, stdin_w);
    }
};

// One running conversation: the client, its output pipe and the time-out.
struct Conversation {
    exec_context* cntx;
    parser_handler parser;
    ClientFds& fds;
    pid_t pid;
    double poll_timeout;
    time_t check_time;
    char recv[kBufSize];
    char sent[kBufSize];
};

// Offers the text to the engine, the caller, and the engine again (which then
// sees any state the caller set), until one of them handles it.
void offer(Conversation& c) {
    if (def_parser(c.recv, c.sent, kBufSize, c.cntx) == 0 &&
        c.parser(c.recv, c.sent, kBufSize, c.cntx) == 0 &&
        def_parser(c.recv, c.sent, kBufSize, c.cntx) == 0)
        kel_trace(TRACE_ERROR, kMsgCannotParse);
}

// Writes the prepared answer; false when the conversation must end.
bool write_answer(Conversation& c) {
    if (c.sent[0] == '\0') return true;
    int written = write_fdhandle(c.fds.stdin_w, c.sent);
    if (written > 0) {
        trace_sent(c.sent, written);
        return true;
    }
    if (c.cntx->state == EXEC_QUIT) return true;
    kel_trace(TRACE_ERROR, kMsgCannotWrite);
    c.cntx->state = EXEC_TERMINATED;
    return false;
}

// Reads one block once its size was the same on two polls in a row and
// hands it on. False when the conversation must end.
bool read_round(Conversation& c, int& b_avail_prev) {
    kel_trace(TRACE_DEBUG, kMsgLoop);
    if (c.cntx->state == EXEC_QUIT) c.poll_timeout = kQuitTimeout;
    memset(c.recv, 0, sizeof(c.recv));
    memset(c.sent, 0, sizeof(c.sent));
    int b_avail = get_bytes_avail(c.fds.stdout_r);
    if (b_avail > 0) c.check_time = time(NULL);
    if (b_avail != b_avail_prev) {
        b_avail_prev = b_avail;
        return true;
    }
    if (b_avail <= 0) return true;
    if (read_fdhandle(c.fds.stdout_r, c.recv, kBufSize - 1, b_avail) <= 0) {
        kel_trace(TRACE_ERROR, kMsgCannotRead);
        c.cntx->state = EXEC_TERMINATED;
        return false;
    }
    str_remove_single_cr(c.recv, kBufSize);
    trace_recv(c.recv);
    str_remove_ending(c.recv);
    if (c.recv[0] == '\0') return true;
    offer(c);
    if (c.cntx->state == EXEC_TERMINATE) return false;
    return write_answer(c);
}

bool in_time(const Conversation& c) {
    return difftime(time(NULL), c.check_time) <= c.poll_timeout;
}

// Output left when the loop ended is only traced.
void drain(Conversation& c) {
    int b_avail = get_bytes_avail(c.fds.stdout_r);
    if (b_avail <= 0) return;
    kel_trace(TRACE_DEBUG, kMsgNotEmpty);
    memset(c.recv, 0, sizeof(c.recv));
    if (read_fdhandle(c.fds.stdout_r, c.recv, kBufSize - 1, b_avail) <= 0) return;
    str_remove_single_cr(c.recv, kBufSize);
    trace_recv(c.recv);
}

void converse(Conversation& c) {
    kel_trace(TRACE_DEBUG, kMsgExecuted);
    kel_trace(TRACE_DEBUG, kMsgCommandLine, c.cntx->ssh_path, c.cntx->ssh_args);
    c.cntx->state = EXEC_CONNECTING;
    c.check_time = time(NULL);
    int b_avail_prev = 0;
    while (wait_process(c.pid) == 0 && in_time(c))
        if (!read_round(c, b_avail_prev)) break;
    drain(c);
    ExecState state = c.cntx->state;
    if (!in_time(c) && state != EXEC_TERMINATED && state != EXEC_QUIT) {
        kel_trace(TRACE_DEBUG, kMsgTimeout);
        c.cntx->state = EXEC_CANCELED_BY_TIMEOUT;
    }
    terminate_client(c.pid);
}

}  // namespace

exec_context::exec_context() {
    memset(ssh_path, 0, sizeof(ssh_path));
    memset(ssh_args, 0, sizeof(ssh_args));
    memset(password, 0, sizeof(password));
    cli_result = SSH_SUCCESS;
    state = EXEC_INIT;
    ClearCmd();
}

void exec_context::SetCommand(const char* command) {
    snprintf(cmd, sizeof(cmd), "%s", command != NULL ? command : "");
}

void exec_context::SetCommand(const std::string& command) { SetCommand(command.c_str()); }

void exec_context::ClearCmd() { memset(cmd, 0, sizeof(cmd)); }

SshCodes get_ssh_cmd(exec_context* cntx, const char* username, const char* host) {
    if (cntx == NULL || username == NULL || host == NULL) return SSH_INTERNAL_ERR;
    if (!locate_client(cntx->ssh_path, sizeof(cntx->ssh_path))) return SSH_CLIENT_NOT_FOUND_ERR;
    snprintf(cntx->ssh_args, sizeof(cntx->ssh_args), " -ssh -v %s@%s", username, host);
    return SSH_SUCCESS;
}

SshCodes ssh_exec(exec_context* cntx, parser_handler parser, int timeout) {
    kel_trace(TRACE_DEBUG, kMsgPreparing);
    if (cntx == NULL || parser == NULL) return SSH_INTERNAL_ERR;
    ClientFds fds;
    cntx->state = EXEC_INIT;
    if (!fds.Create()) return SSH_INTERNAL_ERR;
    cntx->state = EXEC_STARTING;
    pid_t pid = fds.Start(cntx->ssh_path, cntx->ssh_args);
    if (pid != 0) {
        Conversation c = {cntx, parser, fds, pid, static_cast<double>(timeout), 0, {0}, {0}};
        converse(c);
    }
    fds.Release();
    return SSH_SUCCESS;
}

SshCodes execstate_to_exit_code(SshCodes curr_code, ExecState state) {
    switch (state) {
        case EXEC_INIT:
        case EXEC_STARTING:
            return SSH_CLIENT_ERR;
        case EXEC_CONNECTING:
            return SSH_CANNOT_CONNECT_ERR;
        case EXEC_KEY_EXCHANGE:
        case EXEC_LOGIN:
            return SSH_AUTH_ERR;
        case EXEC_REMOTE:
        case EXEC_TERMINATED:
            return SSH_REMOTE_PARSER_ERR;
        case EXEC_CANCELED_BY_TIMEOUT:
            return SSH_REMOTE_TIMEOUT_ERR;
        default:
            return curr_code;
    }
}

void release_cntx(exec_context** pp_cntx) {
    if (pp_cntx == NULL || *pp_cntx == NULL) return;
    delete *pp_cntx;
    *pp_cntx = NULL;
}
