// Guest shutdowns through VMware Tools and VMs that cannot be suspended: vim-cmd run in-process, and the
// host brought up to the present on every read (host_clock.h).
#include <gtest/gtest.h>
#include <time.h>

#include <sstream>
#include <string>

#include "host_clock.h"
#include "host_programs.h"
#include "state_store.h"
#include "temp_dir.h"

namespace esxisim {
namespace {

const char kToolsUnavailable[] =
    "(vim.fault.ToolsUnavailable) {\n"
    "   dynamicType = <unset>, \n"
    "   faultCause = (vmodl.MethodFault) null, \n"
    "   msg = \"Cannot complete operation because VMware Tools is not running in this virtual machine.\", \n"
    "}\n";

void SleepFor(double seconds) {
    time_t whole = static_cast<time_t>(seconds);
    struct timespec ts = {whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
    nanosleep(&ts, nullptr);
}

class GuestShutdownTest : public ::testing::Test {
protected:
    void SetHost(const std::string& text) { dir_.Write("state", text); }

    // "vim-cmd vmsvc/COMMAND ID": what it printed; its status in `status_`.
    std::string VimCmd(const std::string& command, const std::string& id) {
        std::ostringstream out;
        status_ = RunHostProgram("vim-cmd", {"vmsvc/" + command, id}, StateStore(dir_.file("state")), out);
        return out.str();
    }

    PowerState PowerOf(const std::string& id) const {
        HostState host;
        std::string error;
        EXPECT_TRUE(StateStore(dir_.file("state")).Read(&host, &error)) << error;
        return host.FindVm(id) ? host.FindVm(id)->power : PowerState::kOff;
    }

    TempDir dir_;
    int status_ = -1;
};

TEST_F(GuestShutdownTest, WithToolsNothingIsPrintedAndTheVmIsOffShutdownSecondsLater) {
    SetHost("vm 1\npower on\nshutdown_seconds 1\n");
    EXPECT_EQ("", VimCmd("power.shutdown", "1"));
    EXPECT_EQ(0, status_);
    EXPECT_EQ("Retrieved runtime info\nPowered on\n", VimCmd("power.getstate", "1"));
    EXPECT_NE(std::string::npos, dir_.Read("state").find("\nguest_shutdown_at "));
    SleepFor(1.1);
    EXPECT_EQ("Retrieved runtime info\nPowered off\n", VimCmd("power.getstate", "1"));
    VimCmd("power.on", "1");
    EXPECT_EQ(std::string::npos, dir_.Read("state").find("guest_shutdown_at")) << "written back once over";
    SleepFor(0.2);
    EXPECT_EQ(PowerState::kOn, PowerOf("1"));
}

TEST_F(GuestShutdownTest, WithoutShutdownSecondsTheVmIsOffAtOnce) {
    SetHost("vm 1\npower on\n");
    EXPECT_EQ("", VimCmd("power.shutdown", "1"));
    EXPECT_EQ(PowerState::kOff, PowerOf("1"));
}

TEST_F(GuestShutdownTest, WithoutToolsItIsAToolsUnavailableFaultAndNothingChanges) {
    SetHost("vm 1\npower on\ntools no\n");
    EXPECT_EQ(kToolsUnavailable, VimCmd("power.shutdown", "1"));
    EXPECT_EQ(0, status_);
    EXPECT_EQ(PowerState::kOn, PowerOf("1"));
    EXPECT_EQ(std::string::npos, dir_.Read("state").find("guest_shutdown_at"));
}

TEST_F(GuestShutdownTest, VmThatIsNotRunningGivesInvalidPowerState) {
    SetHost("vm 1\npower off\nvm 2\npower suspended\ntools no\n");
    EXPECT_EQ(0u, VimCmd("power.shutdown", "1").find("(vim.fault.InvalidPowerState) {\n"));
    EXPECT_NE(std::string::npos, VimCmd("power.shutdown", "2").find("existingState = \"suspended\""));
    EXPECT_EQ(PowerState::kSuspended, PowerOf("2"));
    EXPECT_EQ(0u, VimCmd("power.shutdown", "3").find("(vim.fault.NotFound) {\n"));
    EXPECT_EQ(1, status_);
}

TEST_F(GuestShutdownTest, AskingAgainKeepsTheFirstShutdownsEnd) {
    SetHost("vm 1\npower on\nshutdown_seconds 1\n");
    VimCmd("power.shutdown", "1");
    SleepFor(0.6);
    EXPECT_EQ("", VimCmd("power.shutdown", "1"));
    SleepFor(0.6);
    EXPECT_EQ(PowerState::kOff, PowerOf("1"));
}

TEST_F(GuestShutdownTest, PowerOffDuringTheShutdownEndsItAndAStartAfterwardsStays) {
    SetHost("vm 1\npower on\nshutdown_seconds 1\ntools no\nvm 2\npower on\nshutdown_seconds 1\n");
    VimCmd("power.shutdown", "2");
    EXPECT_EQ("Powering off VM:\n", VimCmd("power.off", "1"));
    EXPECT_EQ("Powering off VM:\n", VimCmd("power.off", "2"));
    EXPECT_EQ("Powering on VM:\n", VimCmd("power.on", "2"));
    SleepFor(1.2);
    EXPECT_EQ(PowerState::kOff, PowerOf("1"));
    EXPECT_EQ(PowerState::kOn, PowerOf("2"));
}

TEST(HostClockTest, GuestShutdownEndsAtItsMomentAndNotBefore) {
    HostState host;
    host.vms.resize(2);
    host.vms[0].power = PowerState::kOn;
    host.vms[0].guest_shutdown_at = 1000.5;
    host.vms[1].power = PowerState::kSuspended;
    host.vms[1].guest_shutdown_at = 900;
    SettleHost(&host, 1000.4);
    EXPECT_EQ(PowerState::kOn, host.vms[0].power);
    EXPECT_EQ(1000.5, host.vms[0].guest_shutdown_at);
    SettleHost(&host, 1000.5);
    EXPECT_EQ(PowerState::kOff, host.vms[0].power);
    EXPECT_EQ(0, host.vms[0].guest_shutdown_at);
    EXPECT_EQ(PowerState::kSuspended, host.vms[1].power) << "only a running guest shuts down";
    EXPECT_EQ(0, host.vms[1].guest_shutdown_at);
}

class PassthroughTest : public GuestShutdownTest {};

TEST_F(PassthroughTest, SuspendIsRefusedInEachVersionsWordsAndTheVmKeepsRunning) {
    const struct {
        const char* version;
        std::string refusal;
    } kRefusals[] = {
        {"5.5", "(vmodl.fault.NotSupported) {\n   dynamicType = <unset>, \n   faultCause = (vmodl.MethodFault) null, \n"
                "   msg = \"The operation is not supported on the object.\", \n}\n"},
        {"6.7", "Suspend failed\n"},
        {"7.0", "Suspend failed: (vmodl.fault.NotSupported) {\n   faultCause = (vmodl.MethodFault) null,\n"
                "   msg = \"The operation is not supported on the object.\"\n}\n"},
        {"8.0", "Suspend failed: (vmodl.fault.NotSupported) {\n   faultCause = (vmodl.MethodFault) null,\n"
                "   msg = \"The operation is not supported on the object.\"\n}\n"},
    };
    for (const auto& expected : kRefusals) {
        SetHost(std::string("esxi_version ") + expected.version + "\nvm 1\npower on\npassthrough yes\n");
        EXPECT_EQ("Suspending VM:\n" + expected.refusal, VimCmd("power.suspend", "1")) << expected.version;
        EXPECT_EQ(0, status_);
        EXPECT_EQ(PowerState::kOn, PowerOf("1")) << expected.version;
    }
}

TEST_F(PassthroughTest, GuestShutdownAndPowerOffStillWork) {
    SetHost("vm 1\npower on\npassthrough yes\nvm 2\npower on\npassthrough yes\ntools no\n");
    EXPECT_EQ("", VimCmd("power.shutdown", "1"));
    EXPECT_EQ(PowerState::kOff, PowerOf("1"));
    EXPECT_EQ("Powering off VM:\n", VimCmd("power.off", "2"));
    EXPECT_EQ(PowerState::kOff, PowerOf("2"));
}

}  // namespace
}  // namespace esxisim
