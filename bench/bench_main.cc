// vmnap-bench: VmNap against the simulated ESXi host (tools/esxi-sim) behind a real sshd in a private
// network namespace, through the real plink, beside a loop of one-shot "plink -batch" commands doing the
// same work on the same host. For each host size it prints the wall time of both, VmNap's own CPU time and
// peak resident set size, and the ratio VmNap/loop. Needs root; bench/run builds and starts it.
//
//   vmnap-bench [--vmnap PATH] [VMS ...]
//
// VMS: host sizes, default 1 10 50. --vmnap: another VmNap executable to measure (an older build, say)
// instead of the one built beside the benchmark.
#include <stdio.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench_host.h"
#include "bench_session.h"

namespace {

Measured RunVmNapSize(BenchSession* b, const std::string& mode, int vms) {
    return RunVmNap(b, mode, {}, mode + "-" + std::to_string(vms) + ".log");
}

std::vector<std::string> SuspendCommands(int vms) {
    std::vector<std::string> commands = {ListCommand()};
    for (int id = 1; id <= vms; ++id) commands.push_back(StateCommand(id));
    for (int id = 1; id <= vms; ++id) commands.push_back(SuspendCommand(id));
    commands.push_back(EnterMaintenanceCommand());
    return commands;
}

std::vector<std::string> RebootCommands(int vms) {
    std::vector<std::string> commands = {ExitMaintenanceCommand()};
    for (int id = 1; id <= vms; ++id) commands.push_back(PowerOnCommand(id));
    return commands;
}

void PrintRow(int vms, const std::string& mode, const Measured& tool, const Measured& loop, size_t commands) {
    printf("%4d  %-11s %8.2f %8.2f %6.2f  %9.3f %6.2f%%  %7.2f  %7.2f  %4zu\n", vms, mode.c_str(), tool.wall_s,
           loop.wall_s, tool.wall_s / loop.wall_s, tool.own_cpu_s, 100 * tool.own_cpu_s / tool.wall_s,
           tool.own_peak_kib / 1024.0, tool.tree_peak_kib / 1024.0, commands);
    fflush(stdout);
}

bool RunSize(BenchSession* b, int vms) {
    std::string error;
    if (!WriteRunningHost(b->state_path, vms, &error)) return b->Fail(error);
    Measured suspend = RunVmNapSize(b, "suspend_vms", vms);
    if (!Checked(b, suspend, CheckSuspended(b->state_path, vms), "VmNap suspend_vms")) return false;
    Measured reboot = RunVmNapSize(b, "reboot_vms", vms);
    if (!Checked(b, reboot, CheckRunning(b->state_path, vms), "VmNap reboot_vms")) return false;
    if (!WriteRunningHost(b->state_path, vms, &error)) return b->Fail(error);
    Measured loop_suspend = RunLoop(b, SuspendCommands(vms));
    if (!Checked(b, loop_suspend, CheckSuspended(b->state_path, vms), "suspend loop")) return false;
    Measured loop_reboot = RunLoop(b, RebootCommands(vms));
    if (!Checked(b, loop_reboot, CheckRunning(b->state_path, vms), "power-on loop")) return false;
    PrintRow(vms, "suspend_vms", suspend, loop_suspend, SuspendCommands(vms).size());
    PrintRow(vms, "reboot_vms", reboot, loop_reboot, RebootCommands(vms).size());
    return true;
}

void PrintHeader() {
    printf("Wall times in seconds; CPU is VmNap's own time on a CPU (its plink not counted), RSS its own peak\n"
           "(VmHWM), \"+plink\" the larger of VmNap's and its plink's peak. \"loop\" runs one plink -batch per\n"
           "command (\"cmds\" of them) and needs the host key cached, which a first VmNap run does.\n\n");
    printf(" VMs  mode           VmNap     loop  ratio  VmNap CPU  CPU/wall  RSS MiB  +plink  cmds\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (geteuid() != 0) {
        fprintf(stderr, "vmnap-bench: needs root (it creates an account, a network namespace and an sshd)\n");
        return 1;
    }
    BenchSession b;
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--vmnap" && i + 1 < argc) b.vmnap = argv[++i];
        else sizes.push_back(std::atoi(argv[i]));
    }
    if (sizes.empty()) sizes = {1, 10, 50};
    if (!SetUpSession(&b) || !FirstLogin(&b)) {
        fprintf(stderr, "vmnap-bench: %s\n", b.failure.c_str());
        return 1;
    }
    printf("VmNap: %s\n", b.vmnap.c_str());
    PrintHeader();
    for (int vms : sizes)
        if (vms < 1 || !RunSize(&b, vms)) break;
    if (!b.failure.empty()) fprintf(stderr, "vmnap-bench: %s\n%s", b.failure.c_str(), LastLog(b).c_str());
    return b.failure.empty() ? 0 : 1;
}
