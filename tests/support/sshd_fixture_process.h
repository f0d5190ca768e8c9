// A child process driven over pipes: its standard input is ours to write, its standard output and error
// are merged and collected. Used to talk to a real plink (or the simulated host) the way the tool does.
//
//   PipedProcess plink;
//   plink.Start(sshd.InNamespace({"/usr/bin/plink", "-ssh", sshd.user() + "@127.0.0.1"}), sshd.client_env());
//   std::string text;
//   plink.ReadUntil("(y/n", 15, &text);
//   plink.Write("y\n");
#ifndef VMNAP_TEST_SUPPORT_SSHD_FIXTURE_PROCESS_H
#define VMNAP_TEST_SUPPORT_SSHD_FIXTURE_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "run_program.h"

class PipedProcess {
public:
    PipedProcess() = default;
    ~PipedProcess();  // Stop()
    PipedProcess(const PipedProcess&) = delete;
    PipedProcess& operator=(const PipedProcess&) = delete;

    // Starts argv[0] (a full path) in a session of its own (no controlling terminal). `env` holds
    // NAME=value entries added to (or replacing in) our environment.
    bool Start(const std::vector<std::string>& argv, const std::vector<std::string>& env = {},
               const std::string& cwd = "");

    bool Write(const std::string& text);
    void CloseInput();

    // Reads until the output not yet returned holds `marker`; `text` gets that output up to and including
    // the marker. On time-out or end of output returns false, and `text` gets what there was.
    bool ReadUntil(const std::string& marker, int timeout_seconds, std::string* text);

    // Reads for `seconds` (or until the output ends) and returns the output not yet returned.
    std::string ReadFor(double seconds);

    // Waits for the exit; returns the exit status (128 + signal when killed), or -1 after the time-out.
    int Wait(int timeout_seconds);

    // SIGTERM, up to two seconds' grace, then SIGKILL; reaps the child. Harmless when not running.
    void Stop();

    pid_t pid() const { return pid_; }
    bool running() const { return pid_ > 0; }
    const std::string& output() const { return output_; }  // everything read so far

private:
    bool ReadSome(int timeout_ms);  // false once the output has ended
    bool Reap(int options);

    pid_t pid_ = -1;
    int in_fd_ = -1;
    int out_fd_ = -1;
    int status_ = -1;
    std::string output_;
    size_t returned_ = 0;
};

// Starts `run` (its program, arguments, environment and directory; always in a session of its own) as
// `process`, for a test that watches it while it runs.
bool StartRun(PipedProcess& process, const ProgramRun& run);

#endif
