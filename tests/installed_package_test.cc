// The installed package at work against the simulated ESXi host behind a real sshd, through the real
// plink: the command /usr/sbin/vmnap, and the command lines of the systemd units with the example host
// configuration. The package is the one the build made, unpacked by the package tests (dpkg -x) into
// VMNAP_PACKAGE_ROOT; tests/support/with-package-root lays it over the system in a private mount
// namespace, so the command runs unchanged at its real path, and what it writes to /var/lib lands in the
// test's scratch directory.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "simulated_host.h"
#include "sshd_fixture.h"
#include "temp_dir.h"
#include "unit_command.h"

namespace {

using simulated::Host;
using simulated::ListFile;
using simulated::Row;
using simulated::Vm;

const char kIp[] = "/usr/sbin/ip";
const char kCommand[] = "/usr/sbin/vmnap";
const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";
const char kExampleConf[] = "/usr/share/doc/vmnap/examples/esx01.conf";
const char kUnitDir[] = "/lib/systemd/system/";
const int kRunTimeoutSeconds = 55;

const std::string kHostBefore = Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "backup", "off");

// web01's row after the units' runs: the example configuration's -onrefusal poweroff records how each VM
// the suspend stopped was stopped.
std::string Web01Row(const std::string& status, const std::string& mark) {
    return "<virtualmachineserver id=\"1\" name=\"web01\" rebootstatus=\"" + mark + "\" status=\"" + status +
           "\" stopped=\"suspended\" timeout=\"300\"></virtualmachineserver>";
}

class InstalledPackage : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
    }

    void SetHost(const std::string& text) {
        std::string error;
        ASSERT_TRUE(simulated::WriteState(StatePath(), text, &error)) << error;
    }
    std::string StatePath() const { return sshd_.shell_dir() + "/esxi-sim.state"; }
    std::string HostNow() const { return ReadFile(StatePath()); }
    // A file of the package's state directory, as the runs left it.
    std::string StateDirFile(const std::string& name) const { return scratch_.path() + "/var-lib/vmnap/" + name; }

    // Runs `argv` with the package installed, inside the sshd's namespace, from a directory of its own
    // (without plink), with the sshd's HOME for plink and `env` on top.
    ProgramResult Run(const std::vector<std::string>& argv, const std::vector<std::string>& env) {
        ProgramRun run;
        run.path = kIp;
        run.args = {"netns", "exec", sshd_.netns(), WITH_PACKAGE_ROOT, VMNAP_PACKAGE_ROOT, scratch_.path()};
        run.args.insert(run.args.end(), argv.begin(), argv.end());
        run.cwd = elsewhere_.path();
        run.env = sshd_.client_env();
        run.env.insert(run.env.end(), env.begin(), env.end());
        run.timeout_seconds = kRunTimeoutSeconds;
        ProgramResult result = RunProgram(run);
        result.out = NormalizeStamps(result.out);
        return result;
    }

    ProgramResult RunCommand(const std::vector<std::string>& args) {
        std::vector<std::string> argv = {kCommand, "-host", "127.0.0.1", "-usr", sshd_.user()};
        argv.insert(argv.end(), args.begin(), args.end());
        return Run(argv, {"VMNAP_PASSWORD=" + sshd_.password()});
    }

    // The example configuration as an operator fills it in for the host at 127.0.0.1.
    UnitEnvironment HostConfiguration() const {
        UnitEnvironment env = ReadEnvironmentFile(ReadFile(std::string(VMNAP_PACKAGE_ROOT) + kExampleConf));
        EXPECT_EQ(1u, env.count("VMNAP_HOST"));
        EXPECT_EQ(1u, env.count("VMNAP_USER"));
        EXPECT_EQ(1u, env.count("VMNAP_PASSWORD"));
        EXPECT_EQ("-onrefusal poweroff -shutdownminutes 3 -parallel 4", env["VMNAP_OPTIONS"]);
        env["VMNAP_HOST"] = "127.0.0.1";
        env["VMNAP_USER"] = sshd_.user();
        env["VMNAP_PASSWORD"] = sshd_.password();
        return env;
    }

    // Runs the ExecStart= line of `unit` for the instance esx01, with the configuration in its environment.
    ProgramResult RunUnit(const std::string& unit, const UnitEnvironment& conf) {
        std::vector<std::string> argv, env;
        std::string error;
        std::string text = ReadFile(std::string(VMNAP_PACKAGE_ROOT) + kUnitDir + unit);
        EXPECT_TRUE(UnitCommand(text, "esx01", conf, &argv, &error)) << error << "\n" << text;
        if (argv.empty()) return ProgramResult();
        for (const auto& entry : conf) env.push_back(entry.first + "=" + entry.second);
        return Run(argv, env);
    }

    std::string Explain(const ProgramResult& r) const {
        return "stdout:\n" + r.out + "\nstderr:\n" + r.err + "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" +
               HostNow();
    }

    SshdFixture sshd_;
    TempDir scratch_;    // the writable layer over /var/lib
    TempDir elsewhere_;  // where the operator stands
};

TEST_F(InstalledPackage, CommandPassesOptionsAndExitStatusThrough) {
    ProgramResult help = Run({kCommand, "-h"}, {});
    EXPECT_EQ(0, help.exit_status) << Explain(help);
    EXPECT_EQ(0u, help.out.find("VmNap. ver.1.1.0.0\n\nUsage:\n")) << help.out;
    ProgramResult wrong = RunCommand({"-mode", "reboot"});
    EXPECT_EQ(1, wrong.exit_status) << Explain(wrong);
    ProgramResult missing = RunCommand({"-mode", "reboot_vms", "ListFile=none.xml"});
    EXPECT_EQ(2, missing.exit_status) << Explain(missing);
}

TEST_F(InstalledPackage, AccountCheckFromAnyDirectoryWithThePasswordFromTheEnvironment) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on"));
    ProgramResult r = RunCommand({"-mode", "account_check"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    ProgramResult wrong = Run({kCommand, "-host", "127.0.0.1", "-usr", sshd_.user(), "-mode", "account_check"},
                              {"VMNAP_PASSWORD=not-" + sshd_.password()});
    EXPECT_EQ(6, wrong.exit_status) << Explain(wrong);
}

// A host without VMs: suspend_vms logs in, lists nothing and enters maintenance.
TEST_F(InstalledPackage, SuspendVmsKeepsTheDefaultListFileInTheStateDirectory) {
    SetHost(Host("no", 1));
    ProgramResult r = RunCommand({"-mode", "suspend_vms"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(Host("yes", 2), HostNow());
    EXPECT_EQ(ListFile("true", "true", ""), ReadFile(StateDirFile("esxi_vms.xml")));
    struct stat st;
    ASSERT_EQ(0, stat(StateDirFile("").c_str(), &st));
    EXPECT_EQ(0700u, st.st_mode & 07777);
    EXPECT_FALSE(elsewhere_.Exists("esxi_vms.xml"));
}

TEST_F(InstalledPackage, UnitsSuspendAndResumeTheHostNamedByTheirInstance) {
    SetHost(kHostBefore);
    UnitEnvironment conf = HostConfiguration();
    ProgramResult suspend = RunUnit("vmnap-suspend@.service", conf);
    ASSERT_EQ(0, suspend.exit_status) << Explain(suspend);
    EXPECT_EQ(Host("yes", 2) + Vm("1", "web01", "suspended") + Vm("2", "backup", "off"), HostNow());
    EXPECT_EQ(ListFile("true", "true", Web01Row("Suspended", "to reboot") + Row("2", "backup", "Powered off")),
              ReadFile(StateDirFile("esx01.xml")));

    ProgramResult resume = RunUnit("vmnap-resume@.service", conf);
    ASSERT_EQ(0, resume.exit_status) << Explain(resume);
    EXPECT_EQ(Host("no", 3) + Vm("1", "web01", "on") + Vm("2", "backup", "off"), HostNow());
    EXPECT_EQ(ListFile("false", "false", Web01Row("Powered on", "rebooted") + Row("2", "backup", "Powered off")),
              ReadFile(StateDirFile("esx01.xml")));
}

// After a power cut the resume unit may start before the host has booted: it waits for the host's login
// and hostd, then powers the VMs on.
TEST_F(InstalledPackage, TheResumeUnitWaitsForAHostThatIsStillBooting) {
    SetHost(kHostBefore);
    UnitEnvironment conf = HostConfiguration();
    ProgramResult suspend = RunUnit("vmnap-suspend@.service", conf);
    ASSERT_EQ(0, suspend.exit_status) << Explain(suspend);
    time_t now = time(nullptr);
    ASSERT_TRUE(WriteWholeFile(StatePath(), HostNow() + "boot_ssh_at " + std::to_string(now + 8) +
                                                "\nboot_hostd_at " + std::to_string(now + 14) + "\n"));
    ProgramResult resume = RunUnit("vmnap-resume@.service", conf);
    ASSERT_EQ(0, resume.exit_status) << Explain(resume);
    EXPECT_GE(time(nullptr) - now, 14) << "the VMs were powered on once hostd answered";
    EXPECT_EQ(Host("no", 3) + Vm("1", "web01", "on") + Vm("2", "backup", "off"), HostNow());
}

}  // namespace
