// The one-shot exec engine: one verbose client run whose whole conversation
// is driven by a caller-supplied parser; also the pipe set-up and the
// conversation helpers that the interactive session shares with it.
#ifndef SSH_EXEC_H
#define SSH_EXEC_H

#include <string>

#include "ssh_defines.h"
#include "ssh_io.h"

// Saves the caller's descriptors 0, 1, 2 and points them at two new pipes:
// afterwards stdin_r is 0, stdout_w is 1, stdout_e is 2, and the caller keeps
// stdout_r (client output) and stdin_w (client input). 1 on success; on
// failure everything is undone and 0 is returned.
int create_pipes(fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                 fd_handle& stdout_r, fd_handle& stdout_w, fd_handle& stdout_e,
                 fd_handle& stdin_r, fd_handle& stdin_w);

// True for the client's own progress lines, false for shell and password prompts.
bool isVerboseInformation(const char* recv);

// Debug traces of one received block and one written text.
void trace_recv(char* recv);
void trace_sent(const char* sent, int b_written);

// Result code and progress of one conversation, with what the client needs.
// Contexts are heap objects, released with release_cntx.
struct exec_context {
    SshCodes cli_result;
    ExecState state;
    char ssh_path[4096];
    char ssh_args[4096];
    char password[64];
    char cmd[512];  // the command the caller's parser is to send

    exec_context();  // everything cleared, state EXEC_INIT
    ~exec_context() {}
    void SetCommand(const char* command);  // at most 511 characters are kept
    void SetCommand(const std::string& command);
    void ClearCmd();
};

// Offered each block of client output; returns non-zero when it handled the
// text, and may write an answer of at most max_sent bytes into `sent`.
typedef int (*parser_handler)(const char* recv, char* sent, int max_sent, exec_context* cntx);
// Called once per line by response_parser; 0 stops the walk.
typedef int (*line_parser_handler)(char* line, exec_context* cntx);

// ssh_path = working directory + "/plink", ssh_args = " -ssh -v user@host".
SshCodes get_ssh_cmd(exec_context* cntx, const char* username, const char* host);
// Runs the whole conversation; the outcome is in cntx->state and cli_result.
SshCodes ssh_exec(exec_context* cntx, parser_handler parser, int timeout);
// The code that says how far a conversation in `state` got.
SshCodes execstate_to_exit_code(SshCodes curr_code, ExecState state);
// The engine's own handling of the client's prompts and chatter.
int def_parser(const char* recv, char* sent, int max_sent, exec_context* cntx);
// The command's output cut out of a received block: no echo, no prompt line.
void extract_response(char* recv, char* cmd, char* response, int size);
// Calls `parser` for each CR-separated line of `response` (cut to 99 characters).
void response_parser(char* response, exec_context* cntx, line_parser_handler parser);
// Destroys and frees *pp_cntx and sets it to null.
void release_cntx(exec_context** pp_cntx);

#endif
