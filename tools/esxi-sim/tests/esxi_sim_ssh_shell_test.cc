// The simulated host's busybox ash behind a real sshd, through the real plink as the tool reaches it: what
// a real host's shell does with command lines, the command log, and the login of a 5.5 and an 8.0 host.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "shell_log.h"
#include "simulated_shell.h"
#include "sshd_fixture.h"
#include "state_store.h"
#include "temp_dir.h"
#include "text_wait.h"

namespace {

const char kHost[] =
    "vm 1\nname web\npower on\n"
    "vm 2\nname slow\npower on\nsuspend_seconds 2\n";

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// Under sshd the terminal echoes each line and turns line feeds into CR LF.
std::string Echoed(const std::string& line, const std::string& output) {
    std::string text = line + "\r\n";
    for (char c : output) text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return text;
}

class EsxiSimShellOverSshTest : public ::testing::Test {
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

    // Sends `line` and checks that the echo and then `output` came back before the prompt.
    void Expect(const std::string& line, const std::string& output) {
        sent_.push_back(line);
        EXPECT_EQ(Echoed(line, output), shell_.Run(line)) << "sshd: " << sshd_.ReadSshdLog();
    }

    esxisim::PowerState PowerOf(size_t index) const {
        esxisim::HostState host;
        std::string error;
        EXPECT_TRUE(esxisim::StateStore(state_path_).Read(&host, &error)) << error;
        return host.vms.size() > index ? host.vms[index].power : esxisim::PowerState::kOff;
    }

    SshdFixture sshd_;
    SimulatedShell shell_;
    std::string state_path_;
    std::vector<std::string> sent_;
};

TEST_F(EsxiSimShellOverSshTest, CommandAfterASemicolonReallyRuns) {
    LogIn(kHost);
    std::string touched = sshd_.shell_dir() + "/touched-" + std::to_string(getpid());
    Expect("vim-cmd vmsvc/power.getstate 1;touch${IFS}" + touched, "Retrieved runtime info\nPowered on\n");
    struct stat st;
    EXPECT_EQ(0, stat(touched.c_str(), &st)) << touched;
}

TEST_F(EsxiSimShellOverSshTest, ParenthesisGivesAshsSyntaxErrorAndTheShellGoesOn) {
    LogIn(kHost);
    Expect("vim-cmd vmsvc/power.getstate (c) 2023 ACME", "sh: syntax error: unexpected \"(\"\n");
    Expect("vim-cmd vmsvc/power.getstate 1", "Retrieved runtime info\nPowered on\n");
}

TEST_F(EsxiSimShellOverSshTest, PipeToGrep) {
    LogIn(kHost);
    Expect("vim-cmd vmsvc/power.getstate 1 | grep Pow", "Powered on\n");
}

TEST_F(EsxiSimShellOverSshTest, BackgroundSuspendAndWait) {
    LogIn(kHost);
    double start = Now();
    Expect("vim-cmd vmsvc/power.suspend 2 & sleep 0.5", "Suspending VM:\n");
    EXPECT_LT(Now() - start, 1.8);
    EXPECT_EQ(esxisim::PowerState::kOn, PowerOf(1));
    Expect("wait", "");
    EXPECT_GE(Now() - start, 2.0);
    EXPECT_EQ(esxisim::PowerState::kSuspended, PowerOf(1));
}

TEST_F(EsxiSimShellOverSshTest, CommandLogHoldsExactlyTheLinesSent) {
    LogIn(kHost);
    Expect("vim-cmd vmsvc/power.getstate 1", "Retrieved runtime info\nPowered on\n");
    Expect("", "");
    Expect("vim-cmd vmsvc/power.getstate 1;touch${IFS}/nonexistent/x",
           "Retrieved runtime info\nPowered on\ntouch: /nonexistent/x: No such file or directory\n");
    Expect("vim-cmd  vmsvc/getallvms | grep -c web ", "1\n");
    EXPECT_EQ(sent_, esxisim::ReadShellLogCommands(state_path_));
    std::string log = ReadFile(esxisim::ShellLogPath(state_path_));
    EXPECT_EQ(sent_.size(), CountOf(log, "]: [" + sshd_.user() + "]: ")) << log;
}

TEST_F(EsxiSimShellOverSshTest, HostOf55KeepsItsBannerAndPromptWithoutAGreeting) {
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
        LogIn(std::string("esxi_version 5.5\n") + kHost));
    Expect("vmware -v", "VMware ESXi 5.5.0 build-1623387\n");
}

TEST_F(EsxiSimShellOverSshTest, HostOf80KeepsItsBannerAndPromptWithoutAGreeting) {
    shell_.set_prompt("[root@esx80:~] ");
    EXPECT_EQ(
        "\n"
        "The time and date of this login have been sent to the system logs.\r\n"
        "\r\n"
        "WARNING:\r\n"
        "   All commands run on the ESXi shell are logged and may be included in\r\n"
        "   support bundles. Do not provide passwords directly on the command line.\r\n"
        "   Most tools can prompt for secrets or accept them from standard input.\r\n"
        "\r\n"
        "VMware offers powerful and supported automation tools. Please\r\n"
        "see https://developer.vmware.com for details.\r\n"
        "\r\n"
        "The ESXi Shell can be disabled by an administrative user. See the\r\n"
        "vSphere Security documentation for more information.\r\n"
        "[root@esx80:~] ",
        LogIn(std::string("hostname esx80\nesxi_version 8.0\n") + kHost));
    Expect("vmware -v", "VMware ESXi 8.0.3 build-24022510\n");
    Expect("hostname", "esx80\n");
}

}  // namespace
