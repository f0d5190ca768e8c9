#include "safe_state_table.h"

#include <stdio.h>

#include <algorithm>

namespace {

void PrintModel(const char* kind, const ModelTimes& model) {
    printf("  %-7s floor %6.2f s (%s: %.0f MB / %.0f MB/s + one pause); one VM at a time %6.2f s\n", kind,
           model.floor_s, model.busiest.c_str(), model.busiest_mb, model.busiest_mbps, model.one_at_a_time_s);
}

}  // namespace

Spread Summarize(const std::vector<Sample>& samples) {
    Spread spread;
    spread.runs = samples.size();
    if (samples.empty()) return spread;
    std::vector<double> walls;
    for (const Sample& sample : samples) {
        walls.push_back(sample.wall_s);
        spread.in_flight = std::max(spread.in_flight, sample.in_flight);
    }
    std::sort(walls.begin(), walls.end());
    size_t middle = walls.size() / 2;
    spread.median = walls.size() % 2 ? walls[middle] : (walls[middle - 1] + walls[middle]) / 2;
    spread.min = walls.front();
    spread.max = walls.back();
    return spread;
}

void PrintPreamble(const std::string& vmnap, const esxisim::HostState& host, int repeat) {
    printf("VmNap: %s\n", vmnap.c_str());
    printf("Host: %zu running VMs; a pause of %d s before every suspend and resume moves the VM's memory\n%s",
           host.vms.size(), host.op_pause_seconds, DescribeHost(host).c_str());
    printf("Model (suspends write, resumes read; a datastore's speed shared by the transfers under way on it):\n");
    PrintModel("suspend", ComputeModelTimes(host, esxisim::OperationKind::kSuspend));
    PrintModel("resume", ComputeModelTimes(host, esxisim::OperationKind::kResume));
    printf("\nWall times in seconds, %d runs each: median, least-greatest. \"fixed\": the median of the same\n"
           "runs on the host with no VM to act on. ratio = (median - fixed) / floor. \"in flight\": the most\n"
           "suspends or resumes the host saw under way at once.\n\n",
           repeat);
    printf("mode          K  runs   median     min-max      fixed   floor   ratio  in flight\n");
    fflush(stdout);
}

void PrintRow(const std::string& mode, int k, const std::vector<Sample>& runs, const std::vector<Sample>& fixed,
              double floor_s) {
    Spread tool = Summarize(runs);
    Spread base = Summarize(fixed);
    printf("%-12s %2d  %4zu  %7.2f  %6.2f-%-6.2f  %6.2f  %6.2f  %6.2f  %9ld\n", mode.c_str(), k, tool.runs,
           tool.median, tool.min, tool.max, base.median, floor_s, (tool.median - base.median) / floor_s,
           tool.in_flight);
    fflush(stdout);
}

void PrintUnavailable(const std::string& mode, int k, const std::string& why) {
    printf("%-12s %2d  n/a (%s)\n", mode.c_str(), k, why.c_str());
    fflush(stdout);
}

void PrintLoop(const std::string& what, const Sample& loop, size_t commands, double floor_s) {
    printf("%-12s  plink -batch loop, %zu commands, one VM at a time: %.2f s (%.2f x floor), in flight %ld\n",
           what.c_str(), commands, loop.wall_s, loop.wall_s / floor_s, loop.in_flight);
    fflush(stdout);
}
