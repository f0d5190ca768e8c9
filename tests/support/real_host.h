// The VmNap executable against the simulated ESXi host behind a real sshd, through the real plink: each
// test starts its own server in a private network namespace, sets the host up in the simulator's state
// file, runs the tool there as a child without a controlling terminal, and checks the exit status, the
// list file and the host's state afterwards.
//
//   class MyTest : public RealHostTest {};
//   TEST_F(MyTest, Suspends) {
//       SetHost(realhost::Host("no", 1) + realhost::Vm("1", "web01", "on"));
//       ProgramResult r = Run("suspend_vms");
//       EXPECT_EQ(0, r.exit_status) << Explain(r);
//   }
//
// VMNAP_TEST_WRAPPER in the environment runs the tool under another program, e.g.
//   VMNAP_TEST_WRAPPER="/usr/bin/valgrind --leak-check=full --log-file=/tmp/vg.%p" ctest -R RealClient
#ifndef VMNAP_TEST_SUPPORT_REAL_HOST_H
#define VMNAP_TEST_SUPPORT_REAL_HOST_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

namespace realhost {

extern const char kListFile[];  // "esxi_vms.xml", in the working directory
extern const char kBanner[];    // what the tool prints first, stamps normalised

// One VM of the simulator's state file, every key spelt out as the simulator writes it back.
std::string Vm(const std::string& id, const std::string& name, const std::string& power,
               const std::string& refuse_suspend = "no", int suspend_seconds = 0);

// The host part of the state file; `task_counter` counts the maintenance tasks run so far, from 1.
std::string Host(const std::string& maintenance, int task_counter, const std::string& refuse = "no",
                 const std::string& prompt = "busybox");

// One row of the list file, as the tool writes it.
std::string Row(const std::string& id, const std::string& name, const std::string& status,
                const std::string& mark = "");

std::string ListFile(const std::string& maintenance, const std::string& reboot, const std::string& rows);

}  // namespace realhost

class RealHostTest : public testing::Test {
protected:
    void SetUp() override;  // skips without root; starts sshd, links ./plink to /usr/bin/plink

    std::string StatePath() const { return sshd_.shell_dir() + "/esxi-sim.state"; }
    void SetHost(const std::string& text) { WriteStateFile(StatePath(), text); }
    std::string HostNow() const { return ReadFile(StatePath()); }
    std::string ListNow() const { return work_.Read(realhost::kListFile); }
    std::string HostKeyCache() const { return sshd_.client_home() + "/.putty/sshhostkeys"; }

    // Writes `text` as the state file, after checking that the simulator reads it and writes it back the same.
    static void WriteStateFile(const std::string& path, const std::string& text);

    // The VmNap command line inside the namespace, in the working directory, HOME the private key cache;
    // preceded by the words of $VMNAP_TEST_WRAPPER when it is set.
    ProgramRun Command(const std::string& mode, const std::vector<std::string>& extra = {},
                       const std::string& password = "") const;

    // Runs VmNap to its end; stamps normalised, seconds measured.
    ProgramResult Run(const std::string& mode, const std::vector<std::string>& extra = {},
                      const std::string& password = "");

    std::string Explain(const ProgramResult& r) const;

    SshdFixture sshd_;
    TempDir work_;
    std::string host_ = "127.0.0.1";
    int last_seconds_ = 0;
};

#endif
