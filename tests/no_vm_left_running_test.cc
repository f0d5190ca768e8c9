// A suspend that meets VMs which will not suspend, through the real plink and sshd against simulated 5.5
// and 8.0 hosts: -onrefusal poweroff shuts the guest of a passthrough VM down and powers off one without
// VMware Tools, so the host still enters maintenance mode and the resume brings all four back; skip tries
// every VM and leaves the two running; stop is what it always was; -last and -skip are obeyed; -dryrun
// changes nothing.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "real_client_fixture.h"
#include "shell_log.h"

namespace {

// A list-file row with the way the run stopped the VM.
std::string StoppedRow(const std::string& id, const std::string& name, const std::string& status,
                       const std::string& mark, const std::string& stopped) {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\" name=\"" + name + "\"" + reboot + " status=\"" + status +
           "\" stopped=\"" + stopped + "\" timeout=\"300\"></virtualmachineserver>";
}

class NoVmLeftRunning : public RealClient, public testing::WithParamInterface<const char*> {
protected:
    // web01 and app01 suspend; storage has a passthrough device and Tools (its guest takes 2 s to shut
    // down); gpu has a passthrough device and no Tools.
    void SetFourVms() {
        SetHostInAnyOrder(HostOfVersion(GetParam(), "no", 1) + Vm("1", "web01", "on") + Vm("2", "storage", "on") +
                          "passthrough yes\nshutdown_seconds 2\n" + Vm("3", "gpu", "on") +
                          "passthrough yes\ntools no\n" + Vm("4", "app01", "on"));
    }
    std::vector<std::string> ShellLog() const { return esxisim::ReadShellLogCommands(StatePath()); }
    // The power and maintenance commands the shell received, in order, without "vim-cmd vmsvc/".
    std::string Changes() const {
        std::string changes;
        for (const std::string& line : ShellLog())
            if (line.find("getstate") == std::string::npos && line.find("getallvms") == std::string::npos &&
                line.find("hostsummary") == std::string::npos && line != "vim-cmd")
                changes += std::regex_replace(line, std::regex("^vim-cmd (vmsvc/)?"), "") + "; ";
        return changes;
    }
    bool PowerIs(const std::string& id, const std::string& power) const {
        std::string host = HostNow();
        size_t vm = host.find("vm " + id + "\n");
        return vm != std::string::npos && host.find("power " + power + "\n", vm) == host.find("power ", vm);
    }
};

TEST_P(NoVmLeftRunning, PowerOffStopsEveryVmEntersMaintenanceAndTheResumeBringsAllBack) {
    SetFourVms();
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "poweroff"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(PowerIs("1", "suspended") && PowerIs("2", "off") && PowerIs("3", "off") &&
                PowerIs("4", "suspended"))
        << HostNow();
    EXPECT_NE(std::string::npos, HostNow().find("maintenance yes"));
    EXPECT_EQ(ListFile("true", "true",
                       StoppedRow("1", "web01", "Suspended", "to reboot", "suspended") +
                           StoppedRow("2", "storage", "Powered off", "to reboot", "shut down") +
                           StoppedRow("3", "gpu", "Powered off", "to reboot", "powered off") +
                           StoppedRow("4", "app01", "Suspended", "to reboot", "suspended")),
              ListNow());
    EXPECT_EQ("power.suspend 1; power.suspend 2; power.shutdown 2; power.suspend 3; power.shutdown 3; "
              "power.off 3; power.suspend 4; hostsvc/maintenance_mode_enter; ",
              Changes());

    ProgramResult resume = Run("reboot_vms");
    ASSERT_EQ(0, resume.exit_status) << Explain(resume);
    for (const char* id : {"1", "2", "3", "4"}) EXPECT_TRUE(PowerIs(id, "on")) << id << "\n" << HostNow();
    EXPECT_NE(std::string::npos, HostNow().find("maintenance no"));
}

TEST_P(NoVmLeftRunning, SkipTriesEveryVmLeavesTheTwoRunningAndIs18) {
    SetFourVms();
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "skip"});
    EXPECT_EQ(18, r.exit_status) << Explain(r);
    EXPECT_TRUE(PowerIs("1", "suspended") && PowerIs("2", "on") && PowerIs("3", "on") &&
                PowerIs("4", "suspended"))
        << HostNow();
    EXPECT_NE(std::string::npos, HostNow().find("maintenance no"));
    EXPECT_EQ("power.suspend 1; power.suspend 2; power.suspend 3; power.suspend 4; ", Changes());
    const std::string left = "left running: the suspend was refused";
    EXPECT_EQ(ListFile("false", "false",
                       StoppedRow("1", "web01", "Suspended", "to reboot", "suspended") +
                           StoppedRow("2", "storage", "Powered on", "", left) +
                           StoppedRow("3", "gpu", "Powered on", "", left) +
                           StoppedRow("4", "app01", "Suspended", "to reboot", "suspended")),
              ListNow());
}

// The default: the first refusal ends the run, as it always has; the file has no word of how VMs stopped.
TEST_P(NoVmLeftRunning, StopEndsTheRunAtTheFirstRefusalAsAlways) {
    SetFourVms();
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(11, r.exit_status) << Explain(r);
    EXPECT_EQ("power.suspend 1; power.suspend 2; ", Changes());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "storage", "Powered on") +
                           Row("3", "gpu", "Powered on") + Row("4", "app01", "Powered on")),
              ListNow());
}

TEST_P(NoVmLeftRunning, LastAndSkipAreObeyed) {
    SetFourVms();
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "poweroff", "-last", "web01,3", "-skip", "app01"});
    EXPECT_EQ(18, r.exit_status) << Explain(r);
    EXPECT_EQ("power.suspend 2; power.shutdown 2; power.suspend 1; power.suspend 3; power.shutdown 3; "
              "power.off 3; ",
              Changes());
    EXPECT_TRUE(PowerIs("4", "on")) << HostNow();
}

TEST_P(NoVmLeftRunning, ANameThatMatchesNoVmIs1AndNothingChanges) {
    SetFourVms();
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "poweroff", "-last", "storage vm"});
    EXPECT_EQ(1, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos, r.out.find("no VM of the host has the id or name 'storage vm'")) << r.out;
    EXPECT_EQ("", Changes());
}

TEST_P(NoVmLeftRunning, DryRunSaysWhatItWouldDoAndChangesNothing) {
    SetFourVms();
    std::string before = HostNow();
    ProgramResult r = Run("suspend_vms", {"-onrefusal", "poweroff", "-dryrun"});
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ("", Changes());
    EXPECT_FALSE(Exists(work_.file(kListFile)));
    EXPECT_FALSE(Exists(work_.file(std::string(kListFile) + ".lock")));
    EXPECT_NE(std::string::npos,
              r.out.find("dry run: VM 3 gpu (Powered on): suspend; if refused: shut its guest down, wait up to "
                         "5 min, then power it off"))
        << r.out;
    EXPECT_NE(std::string::npos, r.out.find("dry run: host: enter maintenance mode")) << r.out;
    EXPECT_EQ(before, HostNow());
}

// After the power-off run, the resume's dry run names the four VMs it would start and starts none.
TEST_P(NoVmLeftRunning, ResumeDryRunSaysWhatItWouldStartAndStartsNothing) {
    SetFourVms();
    ASSERT_EQ(0, Run("suspend_vms", {"-onrefusal", "poweroff"}).exit_status);
    std::string host = HostNow(), list = ListNow();
    size_t changes = esxisim::ReadShellLogCommands(StatePath()).size();
    ProgramResult r = Run("reboot_vms", {"-dryrun"});
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos, r.out.find("dry run: host: leave maintenance mode")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("dry run: VM 3 gpu (Powered off): power on")) << r.out;
    std::vector<std::string> log = esxisim::ReadShellLogCommands(StatePath());
    for (size_t i = changes; i < log.size(); ++i)
        EXPECT_TRUE(log[i] == "vim-cmd" || log[i].find("hostsummary") != std::string::npos) << log[i];
    EXPECT_EQ(host, HostNow());
    EXPECT_EQ(list, ListNow());
}

INSTANTIATE_TEST_SUITE_P(Versions, NoVmLeftRunning, testing::Values("5.5", "8.0"),
                         [](const testing::TestParamInfo<const char*>& info) {
                             return std::string("Esxi") + (info.param[0] == '5' ? "55" : "80");
                         });

}  // namespace
