// Pipe set-up for the client and the conversation helpers shared by the
// interactive session and the one-shot exec engine.
#ifndef SSH_EXEC_H
#define SSH_EXEC_H

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

#endif
