// The table of the "time to a safe state" benchmark: per mode and K, the median and spread of the runs'
// wall times beside the tool's fixed cost and the floor the datastore model allows, and their ratio.
#ifndef VMNAP_BENCH_SAFE_STATE_TABLE_H
#define VMNAP_BENCH_SAFE_STATE_TABLE_H

#include <string>
#include <vector>

#include "safe_state_host.h"
#include "safe_state_runs.h"

struct Spread {
    size_t runs = 0;
    double median = 0;
    double min = 0;
    double max = 0;
    long in_flight = 0;  // the most operations under way at once in any of the runs
};

// Median (of an even number: the mean of the middle two), least and greatest wall time.
Spread Summarize(const std::vector<Sample>& samples);

// The host, its model times and the table's header.
void PrintPreamble(const std::string& vmnap, const esxisim::HostState& host, int repeat);

// One row: the runs of `mode` with K at once, the fixed cost's runs and the model's floor.
void PrintRow(const std::string& mode, int k, const std::vector<Sample>& runs, const std::vector<Sample>& fixed,
              double floor_s);

// A row whose K the tool cannot run, and why.
void PrintUnavailable(const std::string& mode, int k, const std::string& why);

// The loop of one-shot plink commands.
void PrintLoop(const std::string& what, const Sample& loop, size_t commands, double floor_s);

#endif
