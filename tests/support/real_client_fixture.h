// The VmNap executable against the simulated ESXi host behind a real sshd, through the real plink: each
// test starts its own server in a private network namespace, sets the host up in the simulator's state
// file, runs the tool there as a child without a controlling terminal, and checks the exit status, the
// list file and the host's state afterwards.
#ifndef VMNAP_TEST_SUPPORT_REAL_CLIENT_FIXTURE_H
#define VMNAP_TEST_SUPPORT_REAL_CLIENT_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host_state.h"
#include "run_program.h"
#include "simulated_host.h"
#include "sshd_fixture.h"
#include "temp_dir.h"
#include "vmnap_over_ssh.h"

extern const char kListFile[];  // "esxi_vms.xml", in the working directory
extern const char kBanner[];    // what a quiet run prints, stamps normalised

// The state-file and list-file texts (simulated_host.h), by their short names.
using simulated::Host;
using simulated::HostOfVersion;
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
    RealClient();
    void SetUp() override;  // skips without root; starts sshd with the simulated host, links ./plink

    std::string StatePath() const { return remote_.StatePath(); }
    void SetHost(const std::string& text) { WriteTextFile(StatePath(), text); }
    // The same for a state text in any key order: written as the simulator writes it back.
    void SetHostInAnyOrder(const std::string& text);
    std::string HostNow() const { return ReadFile(StatePath()); }
    std::string ListNow() const { return remote_.ListNow(kListFile); }
    std::string HostKeyCache() const { return sshd_.host_key_cache(); }
    // The host as the simulator sees it now (what was due has happened), and one VM's power state there.
    esxisim::HostState Settled() const;
    bool PowerIs(const std::string& id, esxisim::PowerState power) const;

    static void WriteTextFile(const std::string& path, const std::string& text);

    // The tool's command line and its run (vmnap_over_ssh.h), against host_.
    ProgramRun Command(const std::string& mode, const std::vector<std::string>& extra = {},
                       const std::string& password = "");
    ProgramResult Run(const std::string& mode, const std::vector<std::string>& extra = {},
                      const std::string& password = "");

    std::string Explain(const ProgramResult& r) const { return remote_.Explain(r); }

    VmNapOverSsh remote_;
    SshdFixture& sshd_ = remote_.sshd();
    TempDir& work_ = remote_.work();
    std::string host_ = "127.0.0.1";
};

#endif
