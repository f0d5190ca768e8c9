// The VmNap executable run in a temp working directory with the scripted
// stand-in client as ./plink: modes, list file and exit statuses.
#include <gtest/gtest.h>
#include <time.h>

#include <string>
#include <vector>

#include "esxi_script.h"
#include "fake_plink_dir.h"
#include "run_program.h"

namespace {

using namespace esxi_cmd;  // the command lines the host receives

const char kLogin[] = "secret\nvim-cmd\nvim-cmd hostsvc/hostsummary | grep inMaintenanceMode\n";

const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";

std::string ExitLine(int status) {
    return "hh:mm:ss: \nProgram exited with code " + std::to_string(status) + "\n";
}

const char kTwoVms[] =
    "Vmid    Name                  File                   Guest OS       Version   Annotation\n"
    "1      web01    [datastore1] web01/web01.vmx     centos64Guest   vmx-08              \n"
    "2      backup   [datastore1] backup/backup.vmx   centos64Guest   vmx-08              \n";

const char kVmA[] =
    "Vmid   Name   File            Guest OS        Version   Annotation\n"
    "1      a      [ds1] a/a.vmx   centos64Guest   vmx-08              \n";

// The list file after web01 was suspended and the host entered maintenance.
const char kSuspendedList[] =
    "<?xml version=\"1.0\"?>\n"
    "<esxiserver host=\"esx\" maintenancemode=\"true\" reboot=\"true\"><vms>"
    "<virtualmachineserver id=\"1\" name=\"web01\" rebootstatus=\"to reboot\" "
    "status=\"Suspended\" timeout=\"300\"></virtualmachineserver>"
    "<virtualmachineserver id=\"2\" name=\"backup\" status=\"Powered off\" "
    "timeout=\"300\"></virtualmachineserver></vms></esxiserver>\n";

EsxiScript LoggedIn(bool maintenance) {
    return EsxiScript::LoggedIn("root", "secret", maintenance);
}

EsxiScript SuspendingTwoVms() {
    EsxiScript s = LoggedIn(false);
    s.Answer(kAllVms, kTwoVms)
        .Answer(State("1"), EsxiScript::PowerState("Powered on"))
        .Answer(State("2"), EsxiScript::PowerState("Powered off"))
        .Answer(esxi_cmd::Suspend("1"), "Suspending VM:\n")
        .Answer(State("1"), EsxiScript::PowerState("Suspended"))
        .Answer(kEnter, "'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-20'\n")
        .Answer(kMaintenance, EsxiScript::Maintenance(true));
    return s;
}

class ProgramFlow : public testing::Test {
protected:
    ProgramResult Run(const EsxiScript& script, const std::string& mode,
                      std::vector<std::string> extra = {}) {
        dir_.WriteScript(script.lines());
        ProgramResult r = RunProgram(dir_.ToolRun(VMNAP_EXE, mode, extra));
        r.out = NormalizeStamps(r.out);
        return r;
    }
    std::string ListFile() const { return dir_.dir().Read("esxi_vms.xml"); }

    FakePlinkDir dir_;
};

// The password may come from VMNAP_PASSWORD instead of the command line, where
// local users would see it; it may then begin with '-'.
TEST_F(ProgramFlow, AccountCheckTakesThePasswordFromTheEnvironment) {
    dir_.WriteScript(EsxiScript::LoggedIn("root", "-secret", false).Wait().lines());
    ProgramRun run;
    run.path = VMNAP_EXE;
    run.args = {"-host", "esx", "-usr", "root", "-mode", "account_check"};
    run.env = {"VMNAP_PASSWORD=-secret"};
    run.cwd = dir_.path();
    ProgramResult r = RunProgram(run);
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(kBanner, NormalizeStamps(r.out));
    EXPECT_EQ("-" + std::string(kLogin), dir_.Received());
}

TEST_F(ProgramFlow, AccountCheckPrintsOnlyTheBannerWhenQuiet) {
    ProgramResult r = Run(LoggedIn(false).Wait(), "account_check");
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(kLogin, dir_.Received());
    EXPECT_FALSE(dir_.dir().Exists("esxi_vms.xml"));
}

TEST_F(ProgramFlow, VerboseAccountCheckEndsWithTheExitLine) {
    ProgramResult r = Run(LoggedIn(false).Wait(), "account_check", {"-D", "verbose"});
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(std::string(kBanner) + "hh:mm:ss: Warning> client terminated forcibly\n" +
                  ExitLine(0),
              r.out);
}

TEST_F(ProgramFlow, MissingClientEndsWithItsCode) {
    dir_.dir().Write("unused", "");
    ProgramRun run = dir_.ToolRun(VMNAP_EXE, "suspend_vms", {"-D", "verbose"});
    TempDir empty;
    run.cwd = empty.path();
    ProgramResult r = RunProgram(run);
    EXPECT_EQ(4, r.exit_status);
    EXPECT_EQ(std::string(kBanner) + ExitLine(4), NormalizeStamps(r.out));
    EXPECT_FALSE(empty.Exists("esxi_vms.xml"));
}

TEST_F(ProgramFlow, SecondPasswordPromptIsAnAuthenticationError) {
    ProgramResult r = Run(EsxiScript()
                              .Print("root@esx's password: ")
                              .Raw("expect secret\\n")
                              .Sleep(1)
                              .Print("Access denied\r\nroot@esx's password: ")
                              .Wait(),
                          "account_check");
    EXPECT_EQ(6, r.exit_status);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ("secret\n", dir_.Received());
}

// plink reports the refusal seconds before it asks again: nothing may be
// taken for the shell in between, so no command reaches the client.
TEST_F(ProgramFlow, DenialBeforeTheSecondPromptSendsNoCommand) {
    ProgramResult r = Run(EsxiScript()
                              .Print("root@esx's password: ")
                              .Raw("expect secret\\n")
                              .Print("Access denied\r\n")
                              .Sleep(4)
                              .Print("root@esx's password: ")
                              .Wait(),
                          "account_check");
    EXPECT_EQ(6, r.exit_status);
    EXPECT_EQ("secret\n", dir_.Received());
}

TEST_F(ProgramFlow, CheckMaintenanceModeOnAHostInMaintenance) {
    ProgramResult r = Run(LoggedIn(true).Wait(), "check_maintenance_mode", {"-D", "debug"});
    EXPECT_EQ(0, r.exit_status);
    EXPECT_NE(std::string::npos, r.out.find("trace> main: VMWare host is in maintenanace mode\n"));
    EXPECT_EQ(kLogin, dir_.Received());
}

TEST_F(ProgramFlow, CheckMaintenanceModeOnAHostOutOfMaintenanceIsQuiet13) {
    ProgramResult r = Run(LoggedIn(false).Wait(), "check_maintenance_mode");
    EXPECT_EQ(13, r.exit_status);
    EXPECT_EQ(kBanner, r.out);
    ProgramResult d = Run(LoggedIn(false).Wait(), "check_maintenance_mode", {"-D", "debug"});
    EXPECT_NE(std::string::npos,
              d.out.find("trace> main: VMWare host is not in maintenance mode\n"));
}

TEST_F(ProgramFlow, SuspendVmsWritesTheMarkedList) {
    ProgramResult r = Run(SuspendingTwoVms().Wait(), "suspend_vms");
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(std::string(kLogin) + kAllVms + State("1") + State("2") + esxi_cmd::Suspend("1") +
                  State("1") + kEnter + kMaintenance,
              dir_.Received());
    EXPECT_EQ(kSuspendedList, ListFile());
}

const char kPowerOffHost[] = "esxcli system shutdown poweroff -d 10 -r \"VmNap: VMs suspended\"\n";

// -poweroff: the file saved before the power-off records when it was asked for, by the tool's clock.
TEST_F(ProgramFlow, SuspendVmsWithPowerOffRecordsTheMomentInTheList) {
    time_t before = time(nullptr);
    ProgramResult r = Run(SuspendingTwoVms().Answer(kPowerOffHost, "").Wait(), "suspend_vms", {"-poweroff"});
    EXPECT_EQ(0, r.exit_status) << r.out;
    std::string list = ListFile();
    size_t at = list.find(" poweroffat=\"");
    ASSERT_NE(std::string::npos, at) << list;
    long long recorded = std::stoll(list.substr(at + 13));
    EXPECT_GE(recorded, static_cast<long long>(before));
    EXPECT_LE(recorded, static_cast<long long>(time(nullptr)));
    list.erase(at, list.find('"', at + 13) + 1 - at);
    EXPECT_EQ(kSuspendedList, list) << "the rest as without -poweroff";
}

// A power-off the host refuses leaves the file as a suspend without -poweroff writes it: no record that
// would hold a later resume back.
TEST_F(ProgramFlow, APowerOffTheHostRefusesLeavesNoRecord) {
    ProgramResult r = Run(SuspendingTwoVms()
                              .Answer(kPowerOffHost, "The operation is not allowed in the current state.\n")
                              .Wait(),
                          "suspend_vms", {"-poweroff"});
    EXPECT_EQ(11, r.exit_status) << r.out;
    EXPECT_EQ(kSuspendedList, ListFile());
}

// Where the list file cannot be created, nothing is suspended: the client is never started.
TEST_F(ProgramFlow, SuspendVmsToAMissingDirectoryIs2BeforeTheClientStarts) {
    ProgramResult r = Run(SuspendingTwoVms().Wait(), "suspend_vms",
                          {"ListFile=no-such-dir/vms.xml"});
    EXPECT_EQ(2, r.exit_status);
    EXPECT_EQ(std::string(kBanner) + "hh:mm:ss: main: can't write esxi server structure to xml\n", r.out);
    EXPECT_EQ(0, dir_.Pid());
    EXPECT_EQ("", dir_.Received());
}

TEST_F(ProgramFlow, DebugTraceNamesThePathThatTakesNoNewFile) {
    ProgramResult r = Run(SuspendingTwoVms().Wait(), "suspend_vms",
                          {"ListFile=no-such-dir/vms.xml", "-D", "debug"});
    EXPECT_EQ(2, r.exit_status);
    EXPECT_NE(std::string::npos, r.out.find("no new file can be created beside no-such-dir/vms.xml\n")) << r.out;
    EXPECT_EQ(0, dir_.Pid());
}

TEST_F(ProgramFlow, VmThatRefusesToSuspendIs11AndTheFileRecordsIt) {
    ProgramResult r = Run(LoggedIn(false)
                              .Answer(kAllVms, kTwoVms)
                              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
                              .Answer(State("2"), EsxiScript::PowerState("Powered on"))
                              .Answer(esxi_cmd::Suspend("1"), "Suspending VM:\n")
                              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
                              .Wait(),
                          "suspend_vms");
    EXPECT_EQ(11, r.exit_status);
    EXPECT_EQ(std::string(kLogin) + kAllVms + State("1") + State("2") + esxi_cmd::Suspend("1") +
                  State("1"),
              dir_.Received());
    EXPECT_EQ("<?xml version=\"1.0\"?>\n"
              "<esxiserver host=\"esx\" maintenancemode=\"false\" reboot=\"false\"><vms>"
              "<virtualmachineserver id=\"1\" name=\"web01\" status=\"Powered on\" "
              "timeout=\"300\"></virtualmachineserver>"
              "<virtualmachineserver id=\"2\" name=\"backup\" status=\"Powered on\" "
              "timeout=\"300\"></virtualmachineserver></vms></esxiserver>\n",
              ListFile());
}

TEST_F(ProgramFlow, HostThatRefusesMaintenanceIs13) {
    ProgramResult r = Run(LoggedIn(false)
                              .Answer(kAllVms, "Vmid Name File\n")
                              .Answer(kEnter, "(vim.fault.InvalidState) {\n}\n")
                              .Answer(kMaintenance, EsxiScript::Maintenance(false))
                              .Wait(),
                          "suspend_vms");
    EXPECT_EQ(13, r.exit_status);
    EXPECT_NE(std::string::npos, ListFile().find("reboot=\"false\""));
}

TEST_F(ProgramFlow, SuspendStillInProgressIs15) {
    ProgramResult r = Run(LoggedIn(false)
                              .Answer(kAllVms, kVmA)
                              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
                              .AnswerWithoutPrompt(esxi_cmd::Suspend("1"), "Suspending VM:\n")
                              .Sleep(3)
                              .Print("Suspending VM:\r\n")
                              .Wait(),
                          "suspend_vms");
    EXPECT_EQ(15, r.exit_status);
}

TEST_F(ProgramFlow, ReplyThatNeverComesTimesOutWithZeroMinutes) {
    ProgramResult r = Run(LoggedIn(false)
                              .Answer(kAllVms, kVmA)
                              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
                              .Wait(),
                          "suspend_vms", {"-timeoutminutes", "0"});
    EXPECT_EQ(8, r.exit_status);
    EXPECT_EQ(std::string(kLogin) + kAllVms + State("1") + esxi_cmd::Suspend("1"), dir_.Received());
    EXPECT_NE(std::string::npos, ListFile().find("timeout=\"0\""));
}

TEST_F(ProgramFlow, RebootVmsWithoutListFileNeverTalksToTheHost) {
    ProgramResult r = Run(LoggedIn(true).Wait(), "reboot_vms");
    EXPECT_EQ(2, r.exit_status);
    EXPECT_EQ(std::string(kBanner) +
                  "hh:mm:ss: Load: can't open xml document object\n"
                  "hh:mm:ss: main: can't read esxi server structure from xml\n",
              r.out);
    EXPECT_EQ("", dir_.Received());
}

TEST_F(ProgramFlow, RebootVmsPowersOnTheMarkedVms) {
    dir_.dir().Write("esxi_vms.xml", kSuspendedList);
    ProgramResult r = Run(LoggedIn(true)
                              .Answer(kExit, "'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-18'\n")
                              .Answer(kMaintenance, EsxiScript::Maintenance(false))
                              .Answer(esxi_cmd::PowerOn("1"), "Powering on VM:\n")
                              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
                              .Wait(),
                          "reboot_vms");
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(std::string(kLogin) + kExit + kMaintenance + esxi_cmd::PowerOn("1") + State("1"),
              dir_.Received());
    EXPECT_EQ("<?xml version=\"1.0\"?>\n"
              "<esxiserver host=\"esx\" maintenancemode=\"false\" reboot=\"false\"><vms>"
              "<virtualmachineserver id=\"1\" name=\"web01\" rebootstatus=\"rebooted\" "
              "status=\"Powered on\" timeout=\"300\"></virtualmachineserver>"
              "<virtualmachineserver id=\"2\" name=\"backup\" status=\"Powered off\" "
              "timeout=\"300\"></virtualmachineserver></vms></esxiserver>\n",
              ListFile());
}

TEST_F(ProgramFlow, HostThatStaysInMaintenanceKeepsTheFileAskingForReboot) {
    dir_.dir().Write("esxi_vms.xml", kSuspendedList);
    ProgramResult r = Run(LoggedIn(true)
                              .Answer(kExit, "(vim.fault.InvalidState) {\n}\n")
                              .Answer(kMaintenance, EsxiScript::Maintenance(true))
                              .Wait(),
                          "reboot_vms");
    EXPECT_EQ(13, r.exit_status);
    EXPECT_EQ(std::string(kLogin) + kExit + kMaintenance, dir_.Received());
    EXPECT_EQ(kSuspendedList, ListFile());
}

TEST_F(ProgramFlow, RebootVmsWithARebootedFileOnlyLogsIn) {
    dir_.dir().Write("esxi_vms.xml",
                     "<?xml version=\"1.0\"?>\n<esxiserver host=\"esx\" maintenancemode=\"false\" "
                     "reboot=\"false\"><vms><virtualmachineserver id=\"1\" name=\"web01\" "
                     "rebootstatus=\"rebooted\" timeout=\"300\"></virtualmachineserver></vms>"
                     "</esxiserver>\n");
    ProgramResult r = Run(LoggedIn(false).Wait(), "reboot_vms");
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(kLogin, dir_.Received());
}

}  // namespace

namespace {

TEST_F(ProgramFlow, SuspendThenRebootRoundTrip) {
    ProgramResult suspend = Run(SuspendingTwoVms().Wait(), "suspend_vms");
    ASSERT_EQ(0, suspend.exit_status);
    ASSERT_EQ(kSuspendedList, ListFile());

    ProgramResult reboot =
        Run(LoggedIn(true)
                .Answer(kExit, "'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-18'\n")
                .Answer(kMaintenance, EsxiScript::Maintenance(false))
                .Answer(esxi_cmd::PowerOn("1"), "Powering on VM:\n")
                .Answer(State("1"), EsxiScript::PowerState("Powered on"))
                .Wait(),
            "reboot_vms");
    ASSERT_EQ(0, reboot.exit_status);
    std::string rebooted = ListFile();
    EXPECT_NE(std::string::npos, rebooted.find("reboot=\"false\""));
    EXPECT_NE(std::string::npos, rebooted.find("rebootstatus=\"rebooted\""));

    ProgramResult again = Run(LoggedIn(false).Wait(), "reboot_vms");
    EXPECT_EQ(0, again.exit_status);
    EXPECT_EQ(kLogin, dir_.Received().substr(dir_.Received().size() - std::string(kLogin).size()));
    EXPECT_EQ(rebooted, ListFile());
}

}  // namespace
