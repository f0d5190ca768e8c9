// reboot_vms after a recorded power-off, against the stand-in client: the
// uptime command, a host that has booted since (the resume goes on and the
// record goes), one still powering off (nothing touched, 3), a reply that is
// no uptime (11), and the file's record of the power-off.
#include <gtest/gtest.h>
#include <time.h>

#include <string>

#include "host_fixture.h"
#include "temp_dir.h"

namespace {

using namespace esxi_cmd;

const char kUptime[] = "esxcli system stats uptime get\n";
const char kExitTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-18'\n";

class BootCheckTest : public HostTest {
protected:
    // A host in maintenance mode with one VM marked, whose power-off was asked
    // for `secondsAgo` seconds ago.
    void RecordedPowerOff(long long secondsAgo) {
        host_->SetReboot(true);
        host_->AddChild("1", "web");
        Vm(0)->SetRebootStatus("to reboot");
        host_->RecordPowerOff(static_cast<long long>(time(NULL)) - secondsAgo);
    }
};

TEST_F(BootCheckTest, AHostBootedSinceThePowerOffIsResumedAndTheRecordGoes) {
    Start(EsxiScript::LoggedIn("root", "secret", true)
              .Answer(kUptime, "42000000\n")
              .Answer(kExit, kExitTask)
              .Answer(kMaintenance, EsxiScript::Maintenance(false))
              .Answer(PowerOn("1"), "Powering on VM:\n")
              .Answer(State("1"), EsxiScript::PowerState("Powered on"))
              .Wait());
    RecordedPowerOff(120);
    EXPECT_EQ(SSH_SUCCESS, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kUptime + kExit + kMaintenance + PowerOn("1") +
                  State("1"),
              Finish());
    EXPECT_FALSE(host_->PowerOffRecorded());
    EXPECT_EQ("rebooted", Vm(0)->GetRebootStatus());
}

// Still in the power-off's delay: up for a day. Without a wait: 3 at once,
// nothing sent after the uptime, every mark and the record kept.
TEST_F(BootCheckTest, AHostStillPoweringOffIsLeftAloneWith3) {
    Start(EsxiScript::LoggedIn("root", "secret", true).Answer(kUptime, "86400000000\n").Wait());
    RecordedPowerOff(3);
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kUptime, Finish());
    EXPECT_TRUE(host_->PowerOffRecorded());
    EXPECT_TRUE(host_->GetReboot());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_TRUE(Traced("the host was asked to power off and was not seen booted since: the resume leaves it "
                       "alone, nothing is changed, every mark is kept\n"));
}

TEST_F(BootCheckTest, AReplyThatIsNoUptimeIs11AndChangesNothing) {
    Start(EsxiScript::LoggedIn("root", "secret", true)
              .Answer(kUptime, "Error: Unknown command or namespace system stats uptime get\n\n")
              .Wait());
    RecordedPowerOff(120);
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, host_->Reboot());
    EXPECT_EQ(std::string("secret\n") + kShow + kMaintenance + kUptime, Finish());
    EXPECT_TRUE(host_->PowerOffRecorded());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_TRUE(Traced("the host's uptime is not a number of microseconds: Error: Unknown command"));
}

// The record is an attribute of the host in the list file, written only when
// there is one, and a file whose record is anything but digits is not taken.
TEST(PowerOffRecord, TheListFileKeepsItOnlyWhenThereIsOne) {
    kel_set_trace(TRACE_MODE_QUIET);
    TempDir dir;
    SshSrv::ESXiServer host("127.0.0.1", "root", "secret");
    ASSERT_TRUE(host.Save(dir.file("plain.xml").c_str()));
    EXPECT_EQ(std::string::npos, dir.Read("plain.xml").find("poweroffat")) << dir.Read("plain.xml");
    host.RecordPowerOff(1795467601);
    ASSERT_TRUE(host.Save(dir.file("off.xml").c_str()));
    EXPECT_NE(std::string::npos, dir.Read("off.xml").find(" poweroffat=\"1795467601\"")) << dir.Read("off.xml");

    SshSrv::ESXiServer loaded("x", "root", "secret");
    ASSERT_TRUE(loaded.Load(dir.file("off.xml").c_str()));
    EXPECT_TRUE(loaded.PowerOffRecorded());
    std::string text = dir.Read("off.xml");
    for (const char* bad : {"1795467601;reboot", "-1", "soon", "1795467601.5"}) {
        std::string crafted = text;
        crafted.replace(crafted.find("1795467601"), 10, bad);
        dir.Write("bad.xml", crafted);
        SshSrv::ESXiServer other("x", "root", "secret");
        EXPECT_FALSE(other.Load(dir.file("bad.xml").c_str())) << crafted;
    }
}

}  // namespace
