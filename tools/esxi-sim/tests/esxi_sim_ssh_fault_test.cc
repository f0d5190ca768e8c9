// What a client sees of the simulated host's faults, through the real plink and a real sshd: refused power
// operations, a reply that stops halfway, guest shutdowns, a host that powers off and boots, datastore time.
#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include <string>

#include "simulated_shell.h"
#include "sshd_fixture.h"
#include "state_store.h"
#include "temp_dir.h"

namespace {

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// Under sshd the terminal echoes each line and turns line feeds into CR LF.
std::string Terminal(const std::string& text) {
    std::string shown;
    for (char c : text) shown += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return shown;
}

class EsxiSimFaultOverSshTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        state_path_ = sshd_.shell_dir() + "/esxi-sim.state";
    }

    std::string LogIn(const std::string& state) {
        EXPECT_TRUE(WriteWholeFile(state_path_, state));
        return shell_.LogIn(sshd_);
    }

    esxisim::HostState Host() const {
        esxisim::HostState host;
        std::string error;
        EXPECT_TRUE(esxisim::StateStore(state_path_).Read(&host, &error)) << error;
        return host;
    }

    SshdFixture sshd_;
    SimulatedShell shell_{"[root@esx80:~] "};
    std::string state_path_;
};

TEST_F(EsxiSimFaultOverSshTest, RefusedPowerOnOfAn80HostNamesTheFaultAfterPowerOnFailed) {
    LogIn("hostname esx80\nesxi_version 8.0\nvm 1\npower off\nrefuse_power_on yes\n");
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.on 1\n"
                       "Powering on VM:\n"
                       "Power on failed: (vim.fault.InvalidState) {\n"
                       "   faultCause = (vmodl.MethodFault) null,\n"
                       "   msg = \"The operation is not allowed in the current state.\"\n"
                       "}\n"),
              shell_.Run("vim-cmd vmsvc/power.on 1"));
    EXPECT_EQ(esxisim::PowerState::kOff, Host().FindVm("1")->power);
}

TEST_F(EsxiSimFaultOverSshTest, StalledTableStopsHalfwayAndThePromptComesOnlyAfterTheStall) {
    const std::string vms = "vm 1\nname web\nfile [ds] web/web.vmx\nvm 2\nname db\nfile [ds] db/db.vmx\n";
    LogIn("hostname esx80\nesxi_version 8.0\n" + vms);
    std::string whole = shell_.Run("vim-cmd vmsvc/getallvms");
    std::string table = whole.substr(whole.find('\n') + 1);
    std::string error;
    ASSERT_TRUE(esxisim::StateStore(state_path_).Update([](esxisim::HostState* host) {
        host->stalls.push_back("vmsvc/getallvms");
        host->stall_seconds = 3;
    }, &error)) << error;
    std::string raw_table;
    for (size_t i = 0; i < table.size(); ++i) {
        if (table[i] != '\r') raw_table += table[i];
    }
    std::string half = Terminal(raw_table.substr(0, raw_table.size() / 2));
    double start = Now();
    shell_.process().Write("vim-cmd vmsvc/getallvms\n");
    EXPECT_EQ(Terminal("vim-cmd vmsvc/getallvms\n") + half, shell_.Read(half));
    EXPECT_EQ("", shell_.process().ReadFor(1.5));
    EXPECT_EQ(shell_.prompt(), shell_.Read(shell_.prompt()));
    EXPECT_GE(Now() - start, 3.0);
}

TEST_F(EsxiSimFaultOverSshTest, GuestShutdownPrintsNothingAndTheVmIsOffLaterUnlessToolsAreMissing) {
    LogIn("hostname esx80\nesxi_version 8.0\nvm 1\npower on\nshutdown_seconds 2\nvm 2\npower on\ntools no\n");
    double start = Now();
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.shutdown 1\n"), shell_.Run("vim-cmd vmsvc/power.shutdown 1"));
    EXPECT_LT(Now() - start, 1.5);
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.getstate 1\nRetrieved runtime info\nPowered on\n"),
              shell_.Run("vim-cmd vmsvc/power.getstate 1"));
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.shutdown 2\n"
                       "(vim.fault.ToolsUnavailable) {\n"
                       "   dynamicType = <unset>, \n"
                       "   faultCause = (vmodl.MethodFault) null, \n"
                       "   msg = \"Cannot complete operation because VMware Tools is not running in this virtual "
                       "machine.\", \n"
                       "}\n"),
              shell_.Run("vim-cmd vmsvc/power.shutdown 2"));
    while (Now() - start < 2.1) usleep(100000);
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.getstate 1\nRetrieved runtime info\nPowered off\n"),
              shell_.Run("vim-cmd vmsvc/power.getstate 1"));
    EXPECT_EQ(esxisim::PowerState::kOn, Host().FindVm("2")->power);
}

}  // namespace
