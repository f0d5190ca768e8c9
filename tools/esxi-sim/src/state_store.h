// The state file on disk: read, replaced atomically, and changed under an exclusive lock, so that several
// shells of the simulated host (and the tests driving them) see one consistent host.
#ifndef ESXI_SIM_STATE_STORE_H
#define ESXI_SIM_STATE_STORE_H

#include <functional>
#include <string>

#include "host_state.h"

namespace esxisim {

class StateStore {
public:
    explicit StateStore(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }

    // A missing file reads as the default host without machines. What was due by now has happened
    // (host_clock.h): the host is read as it is at this moment, though the file is not rewritten.
    bool Read(HostState* host, std::string* error) const;
    bool Write(const HostState& host, std::string* error) const;

    // Reads, lets `change` edit the host, and writes it back, all under one lock.
    bool Update(const std::function<void(HostState*)>& change, std::string* error) const;

private:
    bool ReadUnlocked(HostState* host, std::string* error) const;
    bool WriteUnlocked(const HostState& host, std::string* error) const;

    std::string path_;
};

// Where the simulator keeps its state when no --state option is given: $ESXI_SIM_STATE, else the file
// "esxi-sim.state" in the directory of the running executable.
std::string DefaultStatePath();

// Prints "esxi-sim: <error>" on standard error and returns the failure status 1.
int ReportStateError(const std::string& error);

}  // namespace esxisim

#endif
