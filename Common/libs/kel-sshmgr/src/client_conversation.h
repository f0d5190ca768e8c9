// Pieces of the client conversation shared by the interactive session and the
// one-shot exec engine: recognising the client's questions, answering the
// questions of a logging-out system, and ending a client.
#ifndef KEL_SSHMGR_CLIENT_CONVERSATION_H
#define KEL_SSHMGR_CLIENT_CONVERSATION_H

#include <string.h>
#include <sys/types.h>

#include "ssh_io.h"

// `needle` occurs in `text` (case-sensitive).
inline bool has(const char* text, const char* needle) { return strstr(text, needle) != NULL; }

// Fills `path` with the working directory + "/plink"; true when that file exists.
// The client is looked for only there, never on the search path.
bool locate_client(char* path, int size);

// The client asks whether to trust an unknown host key.
bool is_host_key_question(const char* text);
// The client warns that the host's key differs from the one it has cached
// (any part of the warning). Such a key is never accepted.
bool is_host_key_mismatch(const char* text);
// The one ERROR trace of a refused changed key; `caller` may be NULL.
void trace_host_key_changed(const char* caller, const char* host);
// The client or the remote system asks for a password (not the host's
// "weak admin's password:" notice).
bool is_password_prompt(const char* text);
// The remote side logs out or dropped the connection.
bool is_logout(const char* text);
// `line` is plink's own report that the connection dropped ("FATAL ERROR: ...
// connection abort").
bool is_connection_lost(const char* line);

// The questions and notices of a system that is logging out (unsaved changes,
// "Configuration Saved", a bare y or n). Returns 1 when the text is handled,
// which is only while `quitting`; `answer` then may hold "y\n".
int answer_quit_question(const char* text, bool quitting, char* answer, int answer_size);

// Up to five polls of the client, one second apart unless it ends sooner;
// SIGTERM once, after the third poll that finds it alive. Returns as soon as
// the client is gone. Nothing is written to the client first.
void terminate_client(pid_t pid);

// Closes the five pipe descriptors and puts the three saved standard
// descriptors back onto 1, 0 and 2, closing the copies.
void release_client_fds(fd_handle& stdin_def, fd_handle& stdout_def, fd_handle& stderr_def,
                        fd_handle& stdout_r, fd_handle& stdout_w, fd_handle& stdout_e,
                        fd_handle& stdin_r, fd_handle& stdin_w);

#endif
