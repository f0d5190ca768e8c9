// vmnap-bench-safe-state: the time VmNap takes to bring every VM of a host to a safe state (suspended, the
// host in maintenance mode) and back, against the simulated host's datastore model, with K VM operations
// at once (-parallel K; K = 1 runs without the option). Each K is run several times on a host of 20 VMs
// on two datastores (safe_state_host.h) and shown beside the floor the model allows, the tool's fixed cost
// and a loop of one-shot plink commands. Needs root; "bench/run safe-state" builds and starts it.
//
//   vmnap-bench-safe-state [--vmnap PATH] [--repeat N] [K ...]
//
// K: default 1 2 4 8. --repeat: runs of each K, default 3. --vmnap: another VmNap executable to measure.
#include <stdio.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench_session.h"
#include "safe_state_host.h"
#include "safe_state_runs.h"
#include "safe_state_table.h"
#include "state_store.h"

namespace {

const char kNoParallel[] = "tool without -parallel";
const char kRefusedK[] = "status 1, a usage error, for -parallel ";

struct Options {
    std::vector<int> ks;
    int repeat = 3;
};

struct Floors {
    double suspend = 0;
    double resume = 0;
};

// The floors from the host description as the benchmark wrote it and reads it back.
bool ReadFloors(BenchSession* b, Floors* floors) {
    esxisim::StateStore store(b->state_path);
    esxisim::HostState host;
    std::string error;
    if (!store.Write(SafeStateHost(esxisim::PowerState::kOn), &error) || !store.Read(&host, &error))
        return b->Fail(error);
    floors->suspend = ComputeModelTimes(host, esxisim::OperationKind::kSuspend).floor_s;
    floors->resume = ComputeModelTimes(host, esxisim::OperationKind::kResume).floor_s;
    return floors->suspend > 0 && floors->resume > 0 ? true : b->Fail("the host has no memory to move");
}

void PrintUnavailableK(int k, const std::string& why) {
    PrintUnavailable("suspend_vms", k, why);
    PrintUnavailable("reboot_vms", k, why);
}

// `repeat` cycles of `run`; the outcome of the first that was not measured, else kMeasured.
template <typename Run>
Outcome Repeat(int repeat, Run run, std::vector<Sample>* suspends, std::vector<Sample>* reboots) {
    for (int i = 0; i < repeat; ++i) {
        CycleSamples samples;
        Outcome outcome = run(&samples);
        if (outcome != Outcome::kMeasured) return outcome;
        suspends->push_back(samples.suspend);
        reboots->push_back(samples.reboot);
    }
    return Outcome::kMeasured;
}

// The fixed cost, then the runs of K; false when the benchmark cannot go on.
bool RunK(BenchSession* b, int k, int repeat, const Floors& floors) {
    std::vector<Sample> fixed_suspend, fixed_reboot, suspend, reboot;
    Outcome outcome = Repeat(repeat, [&](CycleSamples* s) { return RunFixedCycle(b, k, s); }, &fixed_suspend,
                             &fixed_reboot);
    if (outcome == Outcome::kMeasured)
        outcome = Repeat(repeat, [&](CycleSamples* s) { return RunCycle(b, k, s); }, &suspend, &reboot);
    // Only a K > 1 the probe let through ends so: the tool knows -parallel but not this K.
    if (outcome == Outcome::kNoParallel) PrintUnavailableK(k, std::string(kRefusedK) + std::to_string(k));
    if (outcome != Outcome::kMeasured) return outcome == Outcome::kNoParallel;
    PrintRow("suspend_vms", k, suspend, fixed_suspend, floors.suspend);
    PrintRow("reboot_vms", k, reboot, fixed_reboot, floors.resume);
    return true;
}

bool RunLoops(BenchSession* b, const Floors& floors) {
    CycleSamples loop;
    LoopCommands commands;
    if (!RunLoopCycle(b, &loop, &commands)) return false;
    printf("\n");
    PrintLoop("suspend", loop.suspend, commands.suspend, floors.suspend);
    PrintLoop("power on", loop.reboot, commands.power_on, floors.resume);
    return true;
}

bool RunAll(BenchSession* b, const Options& options) {
    Floors floors;
    if (!ReadFloors(b, &floors)) return false;
    esxisim::HostState host;
    std::string error;
    if (!esxisim::StateStore(b->state_path).Read(&host, &error)) return b->Fail(error);
    PrintPreamble(b->vmnap, host, options.repeat);
    bool parallel_known = true;
    bool probed = false;
    for (int k : options.ks) {
        if (k > 1 && !probed) {
            Outcome probe = ProbeParallel(b);
            if (probe == Outcome::kFailed) return false;
            parallel_known = probe == Outcome::kMeasured;
            probed = true;
        }
        if (k > 1 && !parallel_known) PrintUnavailableK(k, kNoParallel);
        else if (!RunK(b, k, options.repeat, floors)) return false;
    }
    return RunLoops(b, floors);
}

bool ParseOptions(int argc, char** argv, BenchSession* b, Options* options) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--vmnap" && i + 1 < argc) b->vmnap = argv[++i];
        else if (arg == "--repeat" && i + 1 < argc) options->repeat = std::atoi(argv[++i]);
        else options->ks.push_back(std::atoi(argv[i]));
    }
    if (options->ks.empty()) options->ks = {1, 2, 4, 8};
    for (int k : options->ks)
        if (k < 1) return false;
    return options->repeat >= 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (geteuid() != 0) {
        fprintf(stderr, "vmnap-bench-safe-state: needs root (it creates an account, a network namespace and "
                        "an sshd)\n");
        return 1;
    }
    BenchSession b;
    Options options;
    if (!ParseOptions(argc, argv, &b, &options)) {
        fprintf(stderr, "usage: vmnap-bench-safe-state [--vmnap PATH] [--repeat N] [K ...]\n");
        return 1;
    }
    if (!SetUpSession(&b) || !FirstLogin(&b)) {
        fprintf(stderr, "vmnap-bench-safe-state: %s\n", b.failure.c_str());
        return 1;
    }
    RunAll(&b, options);
    if (!b.failure.empty())
        fprintf(stderr, "vmnap-bench-safe-state: %s\n%s", b.failure.c_str(), LastLog(b).c_str());
    return b.failure.empty() ? 0 : 1;
}
