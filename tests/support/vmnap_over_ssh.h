// VmNap run against a shell behind a real sshd (usually the simulated ESXi host), through the real plink:
// starts the server in a private network namespace, gives VmNap a working directory holding
// ./plink -> /usr/bin/plink, and runs it there inside the namespace without a controlling terminal, with
// plink's private environment (plink_home.h).
//
//   VmNapOverSsh remote(VMNAP_EXE);
//   remote.sshd().UseKeyboardInteractive();  // server options before Start
//   ASSERT_TRUE(remote.Start(ESXI_SIM_PATH)) << remote.error();
//   // write remote.StatePath(), then
//   ProgramResult r = remote.Run("suspend_vms");
//   EXPECT_EQ(0, r.exit_status) << remote.Explain(r);
//
// VMNAP_TEST_WRAPPER in the environment runs the tool under another program, e.g.
//   VMNAP_TEST_WRAPPER="/usr/bin/valgrind --leak-check=full --log-file=/tmp/vg.%p" ctest -R RealClient
#ifndef VMNAP_TEST_SUPPORT_VMNAP_OVER_SSH_H
#define VMNAP_TEST_SUPPORT_VMNAP_OVER_SSH_H

#include <string>
#include <vector>

#include "run_program.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

class VmNapOverSsh {
public:
    explicit VmNapOverSsh(std::string vmnap_exe) : vmnap_exe_(std::move(vmnap_exe)) {}

    // Starts sshd with `shell_program` as the account's login shell and links ./plink; false and error().
    bool Start(const std::string& shell_program);
    const std::string& error() const { return error_; }

    // Puts a script in place of the ./plink link that notes each start in plink.starts and then becomes
    // the real plink (same process), so a test can tell whether the tool started its client at all.
    bool CountPlinkStarts();
    int PlinkStarts() const;  // lines in plink.starts

    // "VmNap -host HOST -usr USER -pwd PASSWORD -mode MODE EXTRA..." (the account's password unless
    // `password` is given) inside the namespace, preceded by the words of $VMNAP_TEST_WRAPPER.
    ProgramRun Command(const std::string& mode, const std::vector<std::string>& extra = {},
                       const std::string& password = "") const;
    // Runs Command() to its end; time stamps normalised, the run's length in last_seconds().
    ProgramResult Run(const std::string& mode, const std::vector<std::string>& extra = {},
                      const std::string& password = "");

    // The state file of the simulated host installed as the login shell.
    std::string StatePath() const { return sshd_.shell_dir() + "/esxi-sim.state"; }
    // The list file in the working directory.
    std::string ListNow(const std::string& name = "esxi_vms.xml") const { return work_.Read(name); }
    // The run's length, its output, sshd's log and the host's state file, for failure messages.
    std::string Explain(const ProgramResult& result) const;

    void set_host(const std::string& host) { host_ = host; }
    void set_timeout_seconds(int seconds) { timeout_seconds_ = seconds; }
    int last_seconds() const { return last_seconds_; }
    SshdFixture& sshd() { return sshd_; }
    const SshdFixture& sshd() const { return sshd_; }
    TempDir& work() { return work_; }
    const TempDir& work() const { return work_; }

private:
    std::string vmnap_exe_;
    SshdFixture sshd_;
    TempDir work_;
    std::string error_;
    std::string host_ = "127.0.0.1";
    int timeout_seconds_ = 55;
    int last_seconds_ = 0;
};

#endif
