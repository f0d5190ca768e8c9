// Runs a program as a child process and collects what it printed.
#ifndef VMNAP_TEST_SUPPORT_RUN_PROGRAM_H
#define VMNAP_TEST_SUPPORT_RUN_PROGRAM_H

#include <string>
#include <vector>

struct ProgramRun {
    std::string path;                // program to execute
    std::vector<std::string> args;   // arguments after the program's name
    std::string cwd;                 // working directory; empty keeps ours
    std::vector<std::string> env;    // extra NAME=value entries
    bool new_session = true;         // setsid(): no controlling terminal
    bool merge_stderr = false;       // stderr into the stdout capture
    int timeout_seconds = 120;       // SIGKILL after this long
};

struct ProgramResult {
    int exit_status = -1;  // exit code, or 128 + signal
    std::string out;
    std::string err;
};

ProgramResult RunProgram(const ProgramRun& run);

// Replaces every hh:mm:ss time stamp at the start of a line by "hh:mm:ss".
std::string NormalizeStamps(const std::string& text);

#endif
