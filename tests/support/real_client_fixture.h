// The VmNap executable against the simulated ESXi host behind a real sshd, through the real plink: each
// test starts its own server in a private network namespace, sets the host up in the simulator's state
// file, runs the tool there as a child without a controlling terminal, and checks the exit status, the
// list file and the host's state afterwards.
#ifndef VMNAP_TEST_SUPPORT_REAL_CLIENT_FIXTURE_H
#define VMNAP_TEST_SUPPORT_REAL_CLIENT_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "simulated_host.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

extern const char kListFile[];  // "esxi_vms.xml", in the working directory
extern const char kBanner[];    // what a quiet run prints, stamps normalised

// The state-file and list-file texts (simulated_host.h), by their short names.
using simulated::Host;
using simulated::ListFile;
using simulated::Row;
using simulated::Vm;

// One running and one stopped VM, before suspend_vms and after it (maintenance task 1 ran), and the list
// file that suspend_vms writes for them.
extern const std::string kHostBeforeSuspend;
extern const std::string kHostAfterSuspend;
std::string SuspendedList();

bool Exists(const std::string& path);

class RealClient : public testing::Test {
protected:
    void SetUp() override;

    std::string StatePath() const { return sshd_.shell_dir() + "/esxi-sim.state"; }
    void SetHost(const std::string& text) { WriteTextFile(StatePath(), text); }
    std::string HostNow() const { return ReadFile(StatePath()); }
    std::string ListNow() const { return work_.Read(kListFile); }
    std::string HostKeyCache() const { return sshd_.host_key_cache(); }

    static void WriteTextFile(const std::string& path, const std::string& text);

    // The VmNap command line inside the namespace, in the working directory, with plink's private
    // environment; preceded by the words of $VMNAP_TEST_WRAPPER when it is set, e.g.
    //   VMNAP_TEST_WRAPPER="/usr/bin/valgrind --leak-check=full --log-file=/tmp/vg.%p" ctest -R RealClient
    ProgramRun Command(const std::string& mode, const std::vector<std::string>& extra = {},
                       const std::string& password = "") const;

    // Runs Command() to its end; stamps normalised, seconds measured.
    ProgramResult Run(const std::string& mode, const std::vector<std::string>& extra = {},
                      const std::string& password = "");

    std::string Explain(const ProgramResult& r) const;

    SshdFixture sshd_;
    TempDir work_;
    std::string host_ = "127.0.0.1";
    int last_seconds_ = 0;
};

#endif
