#include <signal.h>

#include "StopRequest.h"
#include "main.h"

// A client that has gone must not end the tool: a write into it fails with
// EPIPE and takes the write-error path, and the list file is still saved.
// The client itself starts with the default action again. SIGTERM, SIGINT
// and SIGHUP ask the run to stop at its next step (StopRequest.h).
int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    StopRequest::Install();
    return RunTool(argc, argv);
}
