// The exec engine's own prompt handling and the helpers that cut a command's
// output out of what the client printed.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "client_conversation.h"
#include "kel-tools-trace.h"
#include "shell_prompt.h"
#include "ssh_exec.h"

namespace {

const int kMaxPasswordAnswers = 3;
const int kLineSize = 100;

const char* const kMsgVerbose = "plink verbose information\n";
const char* const kMsgWrongPassword = "wrong password, terminate connection\n";
const char* const kMsgPassword = "enter password for system password request, %d time\n";

// Up to three password answers per process; the count is never reset.
int answer_password(char* sent, int max_sent, exec_context* cntx) {
    static int password_answers = 0;
    if (password_answers >= kMaxPasswordAnswers) {
        kel_trace(TRACE_DEBUG, kMsgWrongPassword);
        cntx->state = EXEC_TERMINATE;
        cntx->cli_result = SSH_CANNOT_CONNECT_ERR;
        return 0;
    }
    cntx->state = EXEC_LOGIN;
    snprintf(sent, max_sent, "%s%s", cntx->password, "\n");
    ++password_answers;
    kel_trace(TRACE_DEBUG, kMsgPassword, password_answers);
    return 1;
}

// A shell prompt belongs to the caller while logging in and working;
// anywhere else the engine ends the shell with "quit".
int answer_prompt(char* sent, int max_sent, exec_context* cntx) {
    if (cntx->state == EXEC_LOGIN || cntx->state == EXEC_REMOTE) return 0;
    if (cntx->state != EXEC_QUIT) {
        snprintf(sent, max_sent, "%s%s", "quit", "\n");
        cntx->state = EXEC_QUIT;
    }
    return 1;
}

// Drops characters from the end until the text ends in CR or LF.
void cut_to_line_end(char* text) {
    size_t n = strlen(text);
    while (n > 0 && text[n - 1] != '\r' && text[n - 1] != '\n') text[--n] = '\0';
}

// The host of " -ssh -v user@host": what follows the last '@'.
const char* host_of(const char* args) {
    const char* at = strrchr(args, '@');
    return at != NULL ? at + 1 : args;
}

// A changed host key is never trusted: Return cancels the connection and the
// client ends; the conversation then counts as one that could not connect.
// A later piece of the same warning is only cancelled again, not traced.
int refuse_changed_key(char* sent, int max_sent, exec_context* cntx) {
    snprintf(sent, max_sent, "%s", "\n");
    if (cntx->cli_result != SSH_CANNOT_CONNECT_ERR)
        trace_host_key_changed(NULL, host_of(cntx->ssh_args));
    cntx->state = EXEC_CONNECTING;
    cntx->cli_result = SSH_CANNOT_CONNECT_ERR;
    return 1;
}

const char* skip_line_ends(const char* p) {
    while (*p == '\r' || *p == '\n') ++p;
    return p;
}

// Ends the text before its first prompt: at the first '$' or '#' and back to a
// line end, or else at the first line that is a bracket prompt.
void cut_at_prompt(char* text) {
    char* prompt = strpbrk(text, "$#");
    if (prompt != NULL) {
        *prompt = '\0';
        cut_to_line_end(text);
        return;
    }
    for (char* line = text; line != NULL; line = strchr(line, '\n')) {
        if (*line == '\n') ++line;
        if (!is_bracket_prompt_line(line)) continue;
        *line = '\0';
        return;
    }
}

}  // namespace

int def_parser(const char* recv, char* sent, int max_sent, exec_context* cntx) {
    if (recv == NULL || sent == NULL || cntx == NULL || max_sent == 0) return 0;
    if (is_host_key_mismatch(recv)) return refuse_changed_key(sent, max_sent, cntx);
    if (is_host_key_question(recv)) {
        cntx->state = EXEC_KEY_EXCHANGE;
        snprintf(sent, max_sent, "y%s", "\n");
        return 1;
    }
    if (isVerboseInformation(recv)) {
        kel_trace(TRACE_DEBUG, kMsgVerbose);
        return 1;
    }
    if (has(recv, "password:") && !has(recv, "weak admin's password:"))
        return answer_password(sent, max_sent, cntx);
    if (has(recv, "$") || has(recv, "#") || has_shell_prompt(recv))
        return answer_prompt(sent, max_sent, cntx);
    if (is_logout(recv)) {
        cntx->state = EXEC_QUIT;
        return 1;
    }
    return answer_quit_question(recv, cntx->state == EXEC_QUIT, sent, max_sent);
}

void extract_response(char* recv, char* cmd, char* response, int size) {
    if (recv == NULL || cmd == NULL || response == NULL || size == 0) return;
    const char* start = strstr(recv, cmd);
    start = start != NULL ? skip_line_ends(start + strlen(cmd)) : recv;
    snprintf(response, size, "%s", start);
    cut_at_prompt(response);
    str_remove_ending(response);
}

void response_parser(char* response, exec_context* cntx, line_parser_handler parser) {
    if (response == NULL || parser == NULL) return;
    char* copy = strdup(response);
    if (copy == NULL) return;
    const char* p = copy;
    for (;;) {
        p = skip_line_ends(p);
        const char* cr = strchr(p, '\r');
        int length = cr != NULL ? static_cast<int>(cr - p) : static_cast<int>(strlen(p));
        char line[kLineSize];
        snprintf(line, sizeof(line), "%.*s", length, p);
        str_remove_ending(line);
        if (parser(line, cntx) == 0 || cr == NULL) break;
        p = cr;
    }
    free(copy);
}
