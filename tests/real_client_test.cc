// The VmNap executable against the simulated ESXi host behind a real sshd, through the real plink (see
// tests/support/real_client_fixture.h): the modes, the login and the host's answers.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <vector>

#include "host_state.h"
#include "power_on_when_suspended.h"
#include "real_client_fixture.h"
#include "state_store.h"

namespace {

TEST_F(RealClient, SuspendVmsSuspendsMarksEntersMaintenanceAndSavesTheListFile) {
    SetHost(kHostBeforeSuspend);
    ProgramResult r = Run("suspend_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
}

// Starts where the test above ends: the host as suspend_vms left it and the list file it wrote.
TEST_F(RealClient, RebootVmsReloadsTheSavedListFileAndPowersOnTheMarkedVms) {
    SetHost(kHostAfterSuspend);
    work_.Write(kListFile, SuspendedList());
    ProgramResult r = Run("reboot_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(Host("no", 3) + Vm("1", "web01", "on") + Vm("2", "backup", "off"), HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Powered on", "rebooted") + Row("2", "backup", "Powered off")),
              ListNow());
}

TEST_F(RealClient, FirstContactAnswersTheHostKeyQuestionAndTheSecondUsesTheCache) {
    SetHost(Host("no", 1));
    ASSERT_FALSE(Exists(HostKeyCache()));
    ProgramResult first = Run("account_check", {"-D", "debug"});
    ASSERT_EQ(0, first.exit_status) << Explain(first);
    std::string cache = ReadFile(HostKeyCache());
    EXPECT_EQ(0u, cache.find("ssh-ed25519@22:127.0.0.1 ")) << cache;
    EXPECT_NE(std::string::npos, first.out.find("The host key is not cached for this server")) << first.out;

    ProgramResult second = Run("account_check", {"-D", "debug"});
    EXPECT_EQ(0, second.exit_status) << Explain(second);
    EXPECT_EQ(std::string::npos, second.out.find("The host key is not cached")) << second.out;
    EXPECT_EQ(cache, ReadFile(HostKeyCache()));
}

// plink creates its host-key cache with the file-creation mask the tool gives it, not with the one the
// tool was started with (here none at all): no group or world access.
TEST_F(RealClient, HostKeyCacheIsPrivateWhateverTheToolsFileCreationMask) {
    SetHost(Host("no", 1));
    ASSERT_FALSE(Exists(HostKeyCache()));
    mode_t before = umask(0);
    ProgramResult r = Run("account_check");
    umask(before);
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    struct stat st;
    ASSERT_EQ(0, stat(HostKeyCache().c_str(), &st)) << HostKeyCache();
    EXPECT_EQ(0600u, st.st_mode & 07777) << std::oct << (st.st_mode & 07777);
}

TEST_F(RealClient, CheckMaintenanceModeOnAHostInMaintenanceIs0) {
    SetHost(Host("yes", 1));
    ProgramResult r = Run("check_maintenance_mode");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

TEST_F(RealClient, CheckMaintenanceModeOnAHostOutOfMaintenanceIs13) {
    SetHost(Host("no", 1));
    ProgramResult r = Run("check_maintenance_mode");
    EXPECT_EQ(13, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(Host("no", 1), HostNow());
}

TEST_F(RealClient, AccountCheckWithTheRightPasswordIs0) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on"));
    ProgramResult r = Run("account_check");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_FALSE(work_.Exists(kListFile));
}

TEST_F(RealClient, AccountCheckWithAWrongPasswordIs6) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on"));
    ProgramResult r = Run("account_check", {}, "not-" + sshd_.password());
    EXPECT_EQ(6, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ(Host("no", 1) + Vm("1", "web01", "on"), HostNow());
}

// sshd listens on 127.0.0.1 only: 127.0.0.2 refuses the connection, and plink gives up at once. The
// list file is saved after a failed suspend too, so it now holds a host without VMs.
TEST_F(RealClient, HostRefusingTheConnectionIs3AndSuspendVmsStillWritesTheListFile) {
    host_ = "127.0.0.2";
    SetHost(kHostBeforeSuspend);
    work_.Write(kListFile, SuspendedList());
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(3, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.2\" maintenancemode=\"false\" "
              "reboot=\"false\"><vms></vms></esxiserver>\n",
              ListNow());
    EXPECT_EQ(kHostBeforeSuspend, HostNow());
}

// A list file that could not be written is found out before the client starts: nothing on the host,
// which would answer, is suspended, and plink is never started.
TEST_F(RealClient, ListFileInAMissingDirectoryIs2AndPlinkNeverStarts) {
    ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
    SetHost(kHostBeforeSuspend);
    ProgramResult r = Run("suspend_vms", {"ListFile=no-such-dir/vms.xml"});
    EXPECT_EQ(2, r.exit_status) << Explain(r);
    EXPECT_EQ(std::string(kBanner) + "hh:mm:ss: main: can't write esxi server structure to xml\n", r.out);
    EXPECT_EQ(kHostBeforeSuspend, HostNow());
    EXPECT_EQ(0, remote_.PlinkStarts());
    EXPECT_EQ(std::string::npos, sshd_.ReadSshdLog().find("Accepted password for ")) << sshd_.ReadSshdLog();
    EXPECT_FALSE(Exists(work_.file("no-such-dir")));
}

TEST_F(RealClient, RebootVmsWithoutAListFileIs2AndNeverConnects) {
    ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
    SetHost(kHostAfterSuspend);
    ProgramResult r = Run("reboot_vms", {"ListFile=missing.xml"});
    EXPECT_EQ(2, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos, r.out.find("hh:mm:ss: main: can't read esxi server structure from xml\n"));
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_FALSE(Exists(HostKeyCache()));
    EXPECT_EQ(0, remote_.PlinkStarts());
}

// A second suspend_vms finds the host in maintenance, changes nothing, and saves the VMs without marks:
// the record of the first run is gone, and reboot_vms will not start anything.
// A UPS that goes on battery twice: the second run finds the host in maintenance mode and keeps the
// first run's marks and flag, so the resume still brings web01 back.
TEST_F(RealClient, SecondSuspendRunKeepsTheRecordOfTheFirst) {
    SetHost(kHostAfterSuspend);
    work_.Write(kListFile, SuspendedList());
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kHostAfterSuspend, HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
}

TEST_F(RealClient, VmThatRefusesToSuspendIs11AndLeavesTheRestRunning) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "db01", "on", "yes") + Vm("3", "app01", "on"));
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(11, r.exit_status) << Explain(r);
    EXPECT_EQ(Host("no", 1) + Vm("1", "web01", "suspended") + Vm("2", "db01", "on", "yes") +
                  Vm("3", "app01", "on"),
              HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "db01", "Powered on") +
                           Row("3", "app01", "Powered on")),
              ListNow());
}

TEST_F(RealClient, HostRefusingMaintenanceWhileAVmRunsIs13AndTheFileDoesNotAskForReboot) {
    SetHost(Host("no", 1) + Vm("1", "web01", "on", "no", 1) + Vm("2", "backup", "off"));
    ProgramResult r;
    {
        PowerOnWhileSuspending someone_else(StatePath(), "1", "2");
        r = Run("suspend_vms");
        EXPECT_TRUE(someone_else.fired());
    }
    EXPECT_EQ(13, r.exit_status) << Explain(r);
    EXPECT_EQ(Host("no", 1) + Vm("1", "web01", "suspended", "no", 1) + Vm("2", "backup", "on"), HostNow());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "web01", "Suspended", "to reboot") + Row("2", "backup", "Powered off")),
              ListNow());
}

// ESXi 6.0 and later prompt "[root@HOST:~] " where 4.x and 5.x prompt "~ # ".
TEST_F(RealClient, AccountCheckOnAHostWithTheBracketPromptIs0) {
    SetHost(Host("no", 1, "bracket"));
    ProgramResult r = Run("account_check");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

TEST_F(RealClient, CheckMaintenanceModeOnAHostWithTheBracketPromptStillReadsTheFlag) {
    SetHost(Host("yes", 1, "bracket"));
    ProgramResult in = Run("check_maintenance_mode");
    EXPECT_EQ(0, in.exit_status) << Explain(in);
    SetHost(Host("no", 1, "bracket"));
    ProgramResult out = Run("check_maintenance_mode");
    EXPECT_EQ(13, out.exit_status) << Explain(out);
}

// The prompt line is no VM and ends the suspend reply: the same host state and list file as on "~ # ".
TEST_F(RealClient, SuspendOnAHostWithTheBracketPromptSuspendsMarksAndEntersMaintenance) {
    SetHost(Host("no", 1, "bracket") + Vm("1", "web01", "on") + Vm("2", "backup", "off"));
    ProgramResult r = Run("suspend_vms", {"-D", "debug"});
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(std::string::npos, r.out.find("id: [root@esx01:~]"));
    EXPECT_EQ(Host("yes", 2, "bracket") + Vm("1", "web01", "suspended") + Vm("2", "backup", "off"),
              HostNow());
    EXPECT_EQ(SuspendedList(), ListNow());
}

// A host name in the prompt that holds "true" or "false" is not the maintenance flag.
TEST_F(RealClient, CheckMaintenanceModeOnAHostNamedTrueesx01ReadsTheFlagNotTheName) {
    std::string out_of_maintenance = Host("no", 1, "bracket");
    out_of_maintenance.replace(0, std::string("hostname esx01").size(), "hostname trueesx01");
    SetHost(out_of_maintenance);
    ProgramResult r = Run("check_maintenance_mode", {"-D", "debug"});
    EXPECT_EQ(13, r.exit_status) << Explain(r);
    EXPECT_NE(std::string::npos, r.out.find("[root@trueesx01:~]")) << r.out;
}

}  // namespace
