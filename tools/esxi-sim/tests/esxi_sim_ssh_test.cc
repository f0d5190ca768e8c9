// esxi-sim as the login shell behind a real sshd, reached with the real plink over pipes, as the tool does.
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "sshd_fixture.h"
#include "sshd_fixture_process.h"
#include "state_store.h"

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kHostKeyQuestion[] = "Store key in cache? (y/n, Return cancels connection, i for more info) ";
const int kReadSeconds = 20;

class EsxiSimOverSshTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        state_path_ = sshd_.shell_dir() + "/esxi-sim.state";
    }

    std::string Read(const std::string& marker) {
        std::string text;
        EXPECT_TRUE(plink_.ReadUntil(marker, kReadSeconds, &text))
            << "waited for \"" << marker << "\", got \"" << text << "\"\nsshd: " << sshd_.ReadSshdLog();
        return text;
    }

    void LogIn() {
        ASSERT_TRUE(plink_.Start(sshd_.InNamespace({kPlink, "-ssh", sshd_.user() + "@127.0.0.1"}),
                                 sshd_.client_env()));
        Read(kHostKeyQuestion);
        plink_.Write("y\n");
        Read("password: ");
        plink_.Write(sshd_.password() + "\n");
    }

    SshdFixture sshd_;
    PipedProcess plink_;
    std::string state_path_;
};

TEST_F(EsxiSimOverSshTest, LoginShowsBannerAndPromptThenAnswersVimCmdWithCrLf) {
    std::string error;
    esxisim::HostState host;
    host.vms.emplace_back();
    host.vms.back().id = "3";
    host.vms.back().power = esxisim::PowerState::kOn;
    ASSERT_TRUE(esxisim::StateStore(state_path_).Write(host, &error)) << error;
    LogIn();
    EXPECT_EQ(
        "\n"
        "The time and date of this login have been sent to the system logs.\r\n"
        "\r\n"
        "VMware offers supported, powerful system administration tools.  Please\r\n"
        "see www.vmware.com/go/sysadmintools for details.\r\n"
        "\r\n"
        "The ESXi Shell can be disabled by an administrative user. See the\r\n"
        "vSphere Security documentation for more information.\r\n"
        "~ # ",
        Read("~ # "));
    plink_.Write("vim-cmd vmsvc/power.suspend 3\n");
    EXPECT_EQ("vim-cmd vmsvc/power.suspend 3\r\nSuspending VM:\r\n~ # ", Read("~ # "));
    plink_.Write("vim-cmd hostsvc/hostsummary | grep inMaintenanceMode\n");
    EXPECT_EQ("vim-cmd hostsvc/hostsummary | grep inMaintenanceMode\r\n      inMaintenanceMode = false,\r\n~ # ",
              Read("~ # "));
    plink_.Write("exit\n");
    EXPECT_EQ(0, plink_.Wait(kReadSeconds));
    ASSERT_TRUE(esxisim::StateStore(state_path_).Read(&host, &error)) << error;
    EXPECT_EQ(esxisim::PowerState::kSuspended, host.vms[0].power);
}

}  // namespace
