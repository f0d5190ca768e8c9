// Power operations the host refuses, in each version's words: vim-cmd run in-process against a state file.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host_programs.h"
#include "state_store.h"
#include "temp_dir.h"

namespace esxisim {
namespace {

const char kRefusingVms[] =
    "vm 1\npower off\nrefuse_power_on yes\n"
    "vm 2\npower suspended\nrefuse_power_on yes\n"
    "vm 3\npower off\n";

class PowerRefusalTest : public ::testing::Test {
protected:
    void SetHost(const std::string& version, const std::string& vms) {
        dir_.Write("state", "esxi_version " + version + "\n" + vms);
    }

    // "vim-cmd vmsvc/COMMAND ID": what it printed; its status in `status_`.
    std::string VimCmd(const std::string& command, const std::string& id) {
        std::ostringstream out;
        status_ = RunHostProgram("vim-cmd", {"vmsvc/" + command, id}, StateStore(dir_.file("state")), out);
        return out.str();
    }

    HostState Host() const {
        HostState host;
        std::string error;
        EXPECT_TRUE(StateStore(dir_.file("state")).Read(&host, &error)) << error;
        return host;
    }

    TempDir dir_;
    int status_ = -1;
};

TEST_F(PowerRefusalTest, Esxi55DumpsTheFaultAfterTheProgressLine) {
    SetHost("5.5", kRefusingVms);
    EXPECT_EQ(
        "Powering on VM:\n"
        "(vim.fault.InvalidState) {\n"
        "   dynamicType = <unset>, \n"
        "   faultCause = (vmodl.MethodFault) null, \n"
        "   msg = \"The operation is not allowed in the current state.\", \n"
        "}\n",
        VimCmd("power.on", "1"));
    EXPECT_EQ(0, status_);
}

TEST_F(PowerRefusalTest, Esxi67SaysPowerOnFailedAlone) {
    SetHost("6.7", kRefusingVms);
    EXPECT_EQ("Powering on VM:\nPower on failed\n", VimCmd("power.on", "1"));
}

TEST_F(PowerRefusalTest, Esxi70And80PutTheFaultAfterPowerOnFailed) {
    for (const char* version : {"7.0", "8.0"}) {
        SetHost(version, kRefusingVms);
        EXPECT_EQ(
            "Powering on VM:\n"
            "Power on failed: (vim.fault.InvalidState) {\n"
            "   faultCause = (vmodl.MethodFault) null,\n"
            "   msg = \"The operation is not allowed in the current state.\"\n"
            "}\n",
            VimCmd("power.on", "1"))
            << version;
    }
}

TEST_F(PowerRefusalTest, RefusedVmStaysOffOrSuspendedAndOthersStart) {
    SetHost("6.7", kRefusingVms);
    EXPECT_EQ("Powering on VM:\nPower on failed\n", VimCmd("power.on", "1"));
    EXPECT_EQ("Powering on VM:\nPower on failed\n", VimCmd("power.on", "2"));
    EXPECT_EQ("Powering on VM:\n", VimCmd("power.on", "3"));
    HostState host = Host();
    EXPECT_EQ(PowerState::kOff, host.FindVm("1")->power);
    EXPECT_EQ(PowerState::kSuspended, host.FindVm("2")->power);
    EXPECT_EQ(PowerState::kOn, host.FindVm("3")->power);
}

TEST_F(PowerRefusalTest, RunningVmIsStillAnInvalidPowerStateWhateverTheSwitch) {
    SetHost("8.0", "vm 1\npower on\nrefuse_power_on yes\n");
    EXPECT_EQ(0u, VimCmd("power.on", "1").find("Powering on VM:\n(vim.fault.InvalidPowerState) {\n"));
}

TEST_F(PowerRefusalTest, SwitchRemovedByTheTestLetsTheVmStart) {
    SetHost("7.0", kRefusingVms);
    EXPECT_NE("Powering on VM:\n", VimCmd("power.on", "2"));
    std::string error;
    ASSERT_TRUE(StateStore(dir_.file("state")).Update([](HostState* host) {
        host->FindVm("2")->refuse_power_on = false;
    }, &error)) << error;
    EXPECT_EQ("Powering on VM:\n", VimCmd("power.on", "2"));
    EXPECT_EQ(PowerState::kOn, Host().FindVm("2")->power);
}

TEST_F(PowerRefusalTest, PowerOffIsNeverRefusedByTheSwitch) {
    SetHost("7.0", "vm 1\npower on\nrefuse_power_on yes\n");
    EXPECT_EQ("Powering off VM:\n", VimCmd("power.off", "1"));
    EXPECT_EQ(PowerState::kOff, Host().FindVm("1")->power);
}

}  // namespace
}  // namespace esxisim
