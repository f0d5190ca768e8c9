// Runs a program as a child and measures it: wall time, its own CPU time, the CPU time of the children
// it waited for (VmNap's plink), its own peak resident set size and the peak of the whole tree.
#ifndef VMNAP_BENCH_MEASURED_RUN_H
#define VMNAP_BENCH_MEASURED_RUN_H

#include <string>
#include <vector>

struct Measured {
    int exit_status = -1;    // exit code, or 128 + signal
    double wall_s = 0;       // from fork to exit
    double own_cpu_s = 0;    // the program's own time on a CPU (user + system)
    double tree_cpu_s = 0;   // user + system of the program and the children it reaped
    long own_peak_kib = 0;   // the program's own VmHWM, sampled every 10 ms while it runs
    long tree_peak_kib = 0;  // largest peak RSS of the program and the children it reaped
};

// Runs `argv` (argv[0] is the path) in `cwd` with HOME=`home`, in a session of its own, without a
// terminal; its output goes to `log_path`.
Measured RunMeasured(const std::vector<std::string>& argv, const std::string& cwd, const std::string& home,
                     const std::string& log_path);

#endif
