// Several simulated ESXi hosts behind one SshdFixture: host i answers at 127.0.0.(i + 1), port 22, and
// keeps its state in a file of its own, which sshd names to the simulator (ESXI_SIM_STATE, per address).
//
//   SshdFixture sshd;
//   SimulatedHosts hosts(&sshd, {"esx01", "esx02"});  // before Start
//   ASSERT_TRUE(sshd.Start(ESXI_SIM_PATH)) << sshd.error();
//   ASSERT_TRUE(hosts.Prepare(&error)) << error;     // the state directory goes to the test account
//   ASSERT_TRUE(hosts.Set(0, simulated::Host("no", 1) + simulated::Vm("1", "web01", "on"), &error)) << error;
#ifndef VMNAP_TEST_SUPPORT_SIMULATED_HOSTS_H
#define VMNAP_TEST_SUPPORT_SIMULATED_HOSTS_H

#include <stddef.h>

#include <string>
#include <vector>

#include "sshd_fixture.h"
#include "temp_dir.h"

class SimulatedHosts {
public:
    SimulatedHosts(SshdFixture* sshd, const std::vector<std::string>& names);

    // After sshd's Start: hands the state directory to the test account, whose shells rewrite the files.
    bool Prepare(std::string* error);

    size_t size() const { return names_.size(); }
    const std::string& name(size_t i) const { return names_[i]; }
    std::string address(size_t i) const { return "127.0.0." + std::to_string(i + 1); }
    std::string state_path(size_t i) const { return dir_.file(names_[i] + ".state"); }

    // Writes host i's state; the text must be as the simulator writes it back (all keys, in order).
    bool Set(size_t i, const std::string& text, std::string* error) const;
    std::string Read(size_t i) const { return ReadFile(state_path(i)); }

private:
    const SshdFixture* sshd_;
    std::vector<std::string> names_;
    TempDir dir_;
};

#endif
