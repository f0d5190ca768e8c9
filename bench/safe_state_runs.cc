#include "safe_state_runs.h"

#include <unistd.h>

#include "bench_host.h"
#include "safe_state_host.h"
#include "shell_log.h"
#include "state_store.h"

namespace {

using esxisim::HostState;
using esxisim::PowerState;

const int kUsageError = 1;  // VmNap's status for a command line it does not take
const int kProbeVms = 2;
const int kProbeSuspendSeconds = 2;
const char kListFile[] = "vmlist.xml";

// The options of a run with K at once, the list file named.
std::vector<std::string> RunOptions(int k) {
    std::vector<std::string> options = ParallelOptions(k);
    options.push_back(std::string("ListFile=") + kListFile);
    return options;
}

bool WriteHost(BenchSession* b, const HostState& host) {
    std::string error;
    return esxisim::StateStore(b->state_path).Write(host, &error) || b->Fail(error);
}

bool ReadHost(BenchSession* b, HostState* host) {
    std::string error;
    return esxisim::StateStore(b->state_path).Read(host, &error) || b->Fail(error);
}

// Starts counting the operations under way anew, the host otherwise as it is.
bool ResetInFlight(BenchSession* b) {
    std::string error;
    return esxisim::StateStore(b->state_path).Update([](HostState* host) { host->max_in_flight = 0; }, &error) ||
           b->Fail(error);
}

// Each cycle starts from no list file, as on a host suspended for the first time.
void RemoveListFile(BenchSession* b) {
    unlink(b->work.file(kListFile).c_str());
    unlink(b->work.file(std::string(kListFile) + ".bak").c_str());
}

std::string LogName(const std::string& mode, const std::string& what, int k) {
    return mode + "-" + what + "-k" + std::to_string(k) + ".log";
}

size_t ShellCommands(const BenchSession& b) { return esxisim::ReadShellLogCommands(b.state_path).size(); }

// VmNap with -parallel ended as on a command line it does not take: status 1, and no command reached the
// host's shell (it never logged in).
bool RefusedOption(const BenchSession& b, int k, const Measured& run, size_t commands_before) {
    return k > 1 && run.exit_status == kUsageError && !b.stop.requested() && ShellCommands(b) == commands_before;
}

// Runs VmNap in `mode` with K at once and checks the host afterwards against `power` and `in_maintenance`.
Outcome MeasuredRun(BenchSession* b, const std::string& mode, const std::string& what, int k, PowerState power,
                    bool in_maintenance, Sample* sample) {
    size_t commands_before = ShellCommands(*b);
    Measured run = RunVmNap(b, mode, RunOptions(k), LogName(mode, what, k));
    if (RefusedOption(*b, k, run, commands_before)) return Outcome::kNoParallel;
    HostState host;
    if (!ReadHost(b, &host)) return Outcome::kFailed;
    std::string what_run = "VmNap " + mode + " (" + what + ", K=" + std::to_string(k) + ")";
    if (!Checked(b, run, CheckHost(host, power, in_maintenance), what_run)) return Outcome::kFailed;
    sample->wall_s = run.wall_s;
    sample->in_flight = host.max_in_flight;
    return Outcome::kMeasured;
}

Outcome Cycle(BenchSession* b, int k, const std::string& what, PowerState start, CycleSamples* samples) {
    RemoveListFile(b);
    if (!WriteHost(b, SafeStateHost(start))) return Outcome::kFailed;
    PowerState stopped = start == PowerState::kOn ? PowerState::kSuspended : start;
    Outcome outcome = MeasuredRun(b, "suspend_vms", what, k, stopped, true, &samples->suspend);
    if (outcome != Outcome::kMeasured) return outcome;
    if (!ResetInFlight(b)) return Outcome::kFailed;
    return MeasuredRun(b, "reboot_vms", what, k, start, false, &samples->reboot);
}

std::vector<std::string> SuspendLoop(const HostState& host) {
    std::vector<std::string> commands = {ListCommand()};
    for (size_t id = 1; id <= host.vms.size(); ++id) {
        commands.push_back(SuspendCommand(static_cast<int>(id)));
        commands.push_back(StateCommand(static_cast<int>(id)));
    }
    commands.push_back(EnterMaintenanceCommand());
    return commands;
}

std::vector<std::string> PowerOnLoop(const HostState& host) {
    std::vector<std::string> commands = {ExitMaintenanceCommand()};
    for (size_t id = 1; id <= host.vms.size(); ++id) commands.push_back(PowerOnCommand(static_cast<int>(id)));
    return commands;
}

bool LoopRun(BenchSession* b, const std::vector<std::string>& commands, PowerState power, bool in_maintenance,
             const std::string& what, Sample* sample) {
    Measured loop = RunLoop(b, commands);
    HostState host;
    if (!ReadHost(b, &host)) return false;
    if (!Checked(b, loop, CheckHost(host, power, in_maintenance), what)) return false;
    sample->wall_s = loop.wall_s;
    sample->in_flight = host.max_in_flight;
    return true;
}

}  // namespace

std::vector<std::string> ParallelOptions(int k) {
    if (k <= 1) return {};
    return {"-parallel", std::to_string(k)};
}

Outcome ProbeParallel(BenchSession* b) {
    RemoveListFile(b);
    std::string error;
    bool written = WriteRunningHost(b->state_path, kProbeVms, &error) &&
                   esxisim::StateStore(b->state_path).Update([](HostState* host) {
                       host->max_in_flight = 0;
                       for (esxisim::VmState& vm : host->vms) vm.suspend_seconds = kProbeSuspendSeconds;
                   }, &error);
    if (!written) {
        b->Fail(error);
        return Outcome::kFailed;
    }
    size_t commands_before = ShellCommands(*b);
    Measured run = RunVmNap(b, "suspend_vms", RunOptions(kProbeVms), "probe-parallel.log");
    if (RefusedOption(*b, kProbeVms, run, commands_before)) return Outcome::kNoParallel;
    HostState host;
    if (!ReadHost(b, &host)) return Outcome::kFailed;
    if (!Checked(b, run, CheckSuspended(b->state_path, kProbeVms), "VmNap suspend_vms -parallel 2 (probe)"))
        return Outcome::kFailed;
    return host.max_in_flight < kProbeVms ? Outcome::kNoParallel : Outcome::kMeasured;
}

Outcome RunCycle(BenchSession* b, int k, CycleSamples* samples) {
    return Cycle(b, k, "vms", PowerState::kOn, samples);
}

Outcome RunFixedCycle(BenchSession* b, int k, CycleSamples* samples) {
    return Cycle(b, k, "fixed", PowerState::kOff, samples);
}

bool RunLoopCycle(BenchSession* b, CycleSamples* samples, LoopCommands* commands) {
    HostState host = SafeStateHost(PowerState::kOn);
    if (!WriteHost(b, host)) return false;
    std::vector<std::string> suspend = SuspendLoop(host);
    std::vector<std::string> power_on = PowerOnLoop(host);
    commands->suspend = suspend.size();
    commands->power_on = power_on.size();
    if (!LoopRun(b, suspend, PowerState::kSuspended, true, "suspend loop", &samples->suspend)) return false;
    if (!ResetInFlight(b)) return false;
    return LoopRun(b, power_on, PowerState::kOn, false, "power-on loop", &samples->reboot);
}
