// The runs of the "time to a safe state" benchmark on its host (safe_state_host.h): VmNap's suspend_vms and
// reboot_vms with K VM operations at once, the same runs with nothing to act on (the tool's fixed cost),
// and the loop of one-shot plink commands doing one VM at a time.
#ifndef VMNAP_BENCH_SAFE_STATE_RUNS_H
#define VMNAP_BENCH_SAFE_STATE_RUNS_H

#include <string>
#include <vector>

#include "bench_session.h"

// One measured run: its wall time and the most VM operations the host saw under way at once.
struct Sample {
    double wall_s = 0;
    long in_flight = 0;
};

// A suspend_vms and the reboot_vms after it.
struct CycleSamples {
    Sample suspend;
    Sample reboot;
};

enum class Outcome { kMeasured, kNoParallel, kFailed };

// "-parallel K" for K > 1; nothing for K = 1, which is the tool's behaviour without the option.
std::vector<std::string> ParallelOptions(int k);

// Finds out once whether the tool acts on -parallel: a usage error (status 1 before any command reached the
// host), or a run of "-parallel 2" on a host of two slow suspends that still does one at a time (a tool that
// ignores options it does not know), is kNoParallel.
Outcome ProbeParallel(BenchSession* b);

// suspend_vms on the benchmark's host of running VMs, then reboot_vms, both with K at once; each run checked
// (every VM suspended and the host in maintenance; every VM running and the host out of it). kNoParallel
// when a run with -parallel ended with a usage error (status 1, no command sent to the host).
Outcome RunCycle(BenchSession* b, int k, CycleSamples* samples);

// The same on the host with every VM off: suspend_vms has nothing to suspend, and reboot_vms finds no VM
// marked in the list file it wrote. What a run costs besides the VMs' own time.
Outcome RunFixedCycle(BenchSession* b, int k, CycleSamples* samples);

// One-shot "plink -batch" commands: list the VMs, suspend each one and read its state, enter maintenance;
// then leave maintenance and power each one on. How many commands each loop ran in `commands`.
struct LoopCommands {
    size_t suspend = 0;
    size_t power_on = 0;
};
bool RunLoopCycle(BenchSession* b, CycleSamples* samples, LoopCommands* commands);

#endif
