// What a client sees of the simulated host's faults, through the real plink and a real sshd: refused power
// operations, a reply that stops halfway, guest shutdowns, a host that powers off and boots, datastore time.
#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include <string>

#include "host_clock.h"
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

    // A plink login after the first (the host key is known by then): what came after the password, up to
    // the end of the session or `marker`, whichever first; `ended` says whether the session ended.
    std::string LogInAgain(PipedProcess* plink, const std::string& marker, bool* ended) {
        EXPECT_TRUE(plink->Start(sshd_.InNamespace({"/usr/bin/plink", "-ssh", sshd_.user() + "@127.0.0.1"}),
                                 sshd_.client_env()));
        std::string text;
        EXPECT_TRUE(plink->ReadUntil("password: ", kReadSeconds, &text)) << text;
        plink->Write(sshd_.password() + "\n");
        bool marked = plink->ReadUntil(marker, kReadSeconds, &text);
        *ended = !marked && plink->Wait(kReadSeconds) >= 0;
        return text;
    }

    static const int kReadSeconds = 20;
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

// Two suspends of 300 MB on one datastore of 300 MB/s, started together: each prints its progress line at
// once, and both end after 2 s, the datastore's speed shared; the host counts two operations at once.
TEST_F(EsxiSimFaultOverSshTest, SuspendsStartedTogetherShareTheirDatastoreAndAreCounted) {
    LogIn("hostname esx80\nesxi_version 8.0\ndatastore ds1 300 300\nmax_in_flight 0\n"
          "vm 1\nfile [ds1] a/a.vmx\npower on\nmemory_mb 300\nvm 2\nfile [ds1] b/b.vmx\npower on\nmemory_mb 300\n");
    const std::string line = "vim-cmd vmsvc/power.suspend 1 & vim-cmd vmsvc/power.suspend 2; wait";
    double start = Now();
    shell_.process().Write(line + "\n");
    const std::string both = Terminal("Suspending VM:\nSuspending VM:\n");
    EXPECT_EQ(Terminal(line + "\n") + both, shell_.Read(both));
    EXPECT_LT(Now() - start, 1.0);
    EXPECT_EQ(shell_.prompt(), shell_.Read(shell_.prompt()));
    EXPECT_GE(Now() - start, 2.0);
    EXPECT_LT(Now() - start, 2.8);
    esxisim::HostState host = Host();
    EXPECT_EQ(esxisim::PowerState::kSuspended, host.FindVm("1")->power);
    EXPECT_EQ(esxisim::PowerState::kSuspended, host.FindVm("2")->power);
    EXPECT_EQ(2, host.max_in_flight);
}

// The power-cut cycle: esxcli powers the host off, which drops the session and refuses logins; the test
// boots it again, and hostd answers a little after the SSH service.
TEST_F(EsxiSimFaultOverSshTest, HostPowersOffDropsTheSessionRefusesLoginsAndBootsAgain) {
    LogIn("hostname esx80\nesxi_version 8.0\nmaintenance yes\nvm 1\npower on\nvm 2\npower suspended\n");
    EXPECT_EQ(Terminal("esxcli system shutdown poweroff -d 1 -r \"UPS battery low\"\n"),
              shell_.Run("esxcli system shutdown poweroff -d 1 -r \"UPS battery low\""));
    double start = Now();
    EXPECT_GE(shell_.process().Wait(kReadSeconds), 0);
    EXPECT_LT(Now() - start, 3.0);
    EXPECT_EQ("", shell_.process().ReadFor(0.1)) << "no prompt after the cut";
    esxisim::HostState host = Host();
    EXPECT_TRUE(host.powered_off);
    EXPECT_TRUE(host.in_maintenance);
    EXPECT_EQ(esxisim::PowerState::kOff, host.FindVm("1")->power);
    EXPECT_EQ(esxisim::PowerState::kSuspended, host.FindVm("2")->power);

    bool ended = false;
    PipedProcess refused;
    // plink ends the password line itself; the host shows nothing.
    EXPECT_EQ("\n", LogInAgain(&refused, shell_.prompt(), &ended));
    EXPECT_TRUE(ended);

    std::string error;
    ASSERT_TRUE(esxisim::StateStore(state_path_).Update([](esxisim::HostState* booting) {
        booting->powered_off = false;
        booting->boot_ssh_at = esxisim::EpochNow() + 2;
        booting->boot_hostd_at = esxisim::EpochNow() + 5;
    }, &error)) << error;
    double boot = Now();
    PipedProcess early;
    EXPECT_EQ("\n", LogInAgain(&early, shell_.prompt(), &ended));
    EXPECT_TRUE(ended);
    while (Now() - boot < 2.1) usleep(100000);
    PipedProcess booted;
    std::string greeting = LogInAgain(&booted, shell_.prompt(), &ended);
    EXPECT_FALSE(ended);
    EXPECT_NE(std::string::npos, greeting.find("VMware offers powerful and supported automation tools.")) << greeting;
    booted.Write("vim-cmd vmsvc/power.getstate 2\n");
    std::string text;
    EXPECT_TRUE(booted.ReadUntil(shell_.prompt(), kReadSeconds, &text));
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.getstate 2\nConnect to localhost failed: Connection failure\n") +
                  shell_.prompt(),
              text);
    while (Now() - boot < 5.1) usleep(100000);
    booted.Write("vim-cmd vmsvc/power.getstate 2\n");
    EXPECT_TRUE(booted.ReadUntil(shell_.prompt(), kReadSeconds, &text));
    EXPECT_EQ(Terminal("vim-cmd vmsvc/power.getstate 2\nRetrieved runtime info\nSuspended\n") + shell_.prompt(),
              text);
    booted.Write("exit\n");
    EXPECT_EQ(0, booted.Wait(kReadSeconds));
}

}  // namespace
