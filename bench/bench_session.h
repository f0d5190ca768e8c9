// What every benchmark here sets up: a real sshd in a private network namespace whose test account's shell
// is the simulated host, a work directory with ./plink and the password file, and the runs of VmNap and of
// one-shot "plink -batch" commands against that host.
#ifndef VMNAP_BENCH_BENCH_SESSION_H
#define VMNAP_BENCH_BENCH_SESSION_H

#include <string>
#include <vector>

#include "measured_run.h"
#include "sshd_fixture.h"
#include "stop_signals.h"
#include "temp_dir.h"

struct BenchSession {
    std::string vmnap = VMNAP_EXE;
    StopSignals stop{"VmNap"};  // VmNap and its plink are stopped at once; the rest ends after its run
    SshdFixture sshd;
    TempDir work;
    std::string state_path;
    std::string failure;   // the first thing that went wrong
    std::string last_log;  // output of the last run

    bool Fail(const std::string& what) {
        if (failure.empty()) failure = what;
        return false;
    }
};

// Starts sshd with the simulated host, enters its namespace and prepares the work directory.
bool SetUpSession(BenchSession* b);

// Logs in once with VmNap's account_check on an empty host, which caches the host key for the loops.
bool FirstLogin(BenchSession* b);

// Runs VmNap with the login options, "-mode MODE" and `extra`; its output goes to LOG_NAME in the work
// directory.
Measured RunVmNap(BenchSession* b, const std::string& mode, const std::vector<std::string>& extra,
                  const std::string& log_name);

// Runs each command with a one-shot "plink -batch", one after the other: the wall time of the whole loop;
// 0 exit status only when every command exited 0.
Measured RunLoop(BenchSession* b, const std::vector<std::string>& commands);

// False (with the failure set) when the run was stopped, failed or left the host other than `check` wants.
bool Checked(BenchSession* b, const Measured& run, const std::string& check, const std::string& what);

// The output of the last run, to show why it failed.
std::string LastLog(const BenchSession& b);

#endif
