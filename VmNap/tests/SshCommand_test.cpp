#include "SshCommand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using SshSrv::ESXiCommand;
using SshSrv::SshCommand;

TEST(SshCommand, IdsHaveTheirFixedValues) {
    EXPECT_EQ(0, SshCommand::SSH_CMD_UNKNOWN);
    EXPECT_EQ(1, SshCommand::SSH_CMD_ERROR);
    EXPECT_EQ(2, SshCommand::SSH_CMD_LAST);
    EXPECT_EQ(SshCommand::SSH_CMD_LAST, ESXiCommand::ESX_CMD_FIRST);
    EXPECT_EQ(ESXiCommand::ESX_CMD_SHOW_COMMANDS, ESXiCommand::ESX_CMD_FIRST);
    EXPECT_EQ(2, ESXiCommand::ESX_CMD_SHOW_COMMANDS);
    EXPECT_EQ(3, ESXiCommand::ESX_CMD_GET_ALLVMS);
    EXPECT_EQ(4, ESXiCommand::ESX_CMD_GET_VMSTATUS);
    EXPECT_EQ(5, ESXiCommand::ESX_CMD_SUSPEND_VM);
    EXPECT_EQ(6, ESXiCommand::ESX_CMD_POWERON_VM);
    EXPECT_EQ(7, ESXiCommand::ESX_CMD_POWEROFF_VM);
    EXPECT_EQ(8, ESXiCommand::ESX_CMD_GET_MAINTENANCE);
    EXPECT_EQ(9, ESXiCommand::ESX_CMD_ENTER_MAINTENANCE);
    EXPECT_EQ(10, ESXiCommand::ESX_CMD_EXIT_MAINTENANCE);
    EXPECT_EQ(11, ESXiCommand::ESX_CMD_SHUTDOWN_VM);
    EXPECT_EQ(12, ESXiCommand::ESX_CMD_POWEROFF_HOST);
    EXPECT_EQ(13, ESXiCommand::ESX_CMD_GET_UPTIME);
    EXPECT_EQ(14, ESXiCommand::ESX_CMD_LOGOUT);
    EXPECT_EQ(15, ESXiCommand::ESX_CMD_STOP_SELF_VM);
    EXPECT_EQ(15, ESXiCommand::ESX_CMD_LAST);
}

TEST(SshCommand, FixedTexts) {
    EXPECT_EQ("vim-cmd\n", GET_ESXI_COMMAND(ESX_CMD_SHOW_COMMANDS));
    EXPECT_EQ("vim-cmd vmsvc/getallvms\n", GET_ESXI_COMMAND(ESX_CMD_GET_ALLVMS));
    EXPECT_EQ("vim-cmd hostsvc/hostsummary | grep inMaintenanceMode\n",
              GET_ESXI_COMMAND(ESX_CMD_GET_MAINTENANCE));
    EXPECT_EQ("vim-cmd hostsvc/maintenance_mode_enter\n",
              GET_ESXI_COMMAND(ESX_CMD_ENTER_MAINTENANCE));
    EXPECT_EQ("vim-cmd hostsvc/maintenance_mode_exit\n",
              GET_ESXI_COMMAND(ESX_CMD_EXIT_MAINTENANCE));
    EXPECT_EQ("exit\n", GET_ESXI_COMMAND(ESX_CMD_LOGOUT));
}

// The host's power-off: ten seconds' delay and the tool's reason, quoted for the host's shell.
TEST(SshCommand, PowerOffOfTheHost) {
    EXPECT_EQ("esxcli system shutdown poweroff -d 10 -r \"VmNap: VMs suspended\"\n",
              GET_ESXI_COMMAND(ESX_CMD_POWEROFF_HOST));
    EXPECT_EQ(10, ESXiCommand::kPowerOffDelaySeconds);
}

TEST(SshCommand, UptimeOfTheHost) {
    EXPECT_EQ("esxcli system stats uptime get\n", GET_ESXI_COMMAND(ESX_CMD_GET_UPTIME));
}

// The detached line of -self, whole, for the default policy: suspend only, then maintenance mode.
TEST(SshCommand, TheSelfVmLineSuspendsThenEntersMaintenance) {
    EXPECT_EQ("vmnap_detach=$(command -v setsid || command -v nohup); "
              "if [ -n \"$vmnap_detach\" ]; then (\"$vmnap_detach\" sh -c 'runs() { vim-cmd vmsvc/power.getstate 7 | "
              "grep -q \"Powered on\"; }; i=0; while kill -0 $1 && [ $i -lt 60 ]; do sleep 1; i=$((i+1)); done; "
              "sleep 2; vim-cmd vmsvc/power.suspend 7; if ! runs; then vim-cmd hostsvc/maintenance_mode_enter; fi' "
              "vmnap-self $$ </dev/null >/dev/null 2>&1 & echo \"vmnap-self $!\"); fi\n",
              ESXiCommand::GetESX_CMD_STOP_SELF_VM("7", ESXiCommand::kSelfSuspendOnly, 300, false));
}

// -onrefusal poweroff -shutdownminutes 2 -poweroff: the guest's shutdown waited for up to 120 s when the
// host took it in silence, the power-off, and the host's own power-off line, as the tool sends it itself
// otherwise.
TEST(SshCommand, TheSelfVmLineWithEveryFallbackAndThePowerOff) {
    Env::String line = ESXiCommand::GetESX_CMD_STOP_SELF_VM("12", ESXiCommand::kSelfPowerOff, 120, true);
    EXPECT_NE(std::string::npos,
              line.find("vim-cmd vmsvc/power.suspend 12; if runs && [ -z \"$(vim-cmd vmsvc/power.shutdown 12 "
                        "2>&1)\" ]; then i=0; while runs && [ $i -lt 120 ]; do sleep 3; i=$((i+3)); done; fi; "
                        "if runs; then vim-cmd "
                        "vmsvc/power.off 12; fi; if ! runs; then vim-cmd hostsvc/maintenance_mode_enter; "
                        "esxcli system shutdown poweroff -d 10 -r \"VmNap: VMs suspended\"; fi' vmnap-self $$ "))
        << line;
    Env::String shutdown = ESXiCommand::GetESX_CMD_STOP_SELF_VM("12", ESXiCommand::kSelfShutdown, 60, false);
    EXPECT_NE(std::string::npos, shutdown.find("power.shutdown 12 2>&1")) << shutdown;
    EXPECT_EQ(std::string::npos, shutdown.find("power.off")) << shutdown;
    EXPECT_EQ(std::string::npos, shutdown.find("esxcli")) << shutdown;
    // One line, and its script is quoted whole: no quote of its own inside, nothing after the end.
    EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));
    EXPECT_EQ(2, std::count(line.begin(), line.end(), '\''));
}

TEST(SshCommand, TheSelfVmLineTakesOnlyADigitId) {
    for (const char* id : {"", "7;reboot", "`id`", "1 2", "12345678901"})
        EXPECT_EQ("", ESXiCommand::GetESX_CMD_STOP_SELF_VM(id, ESXiCommand::kSelfPowerOff, 300, true)) << id;
    EXPECT_EQ("", ESXiCommand::GetESX_CMD_STOP_SELF_VM("7", ESXiCommand::kSelfPowerOff, -1, true));
}

TEST(SshCommand, VmTextsCarryTheId) {
    Env::String id("7");
    EXPECT_EQ("vim-cmd vmsvc/power.getstate 7\n", GET_ESXI_COMMAND(ESX_CMD_GET_VMSTATUS, id));
    EXPECT_EQ("vim-cmd vmsvc/power.on 7\n", GET_ESXI_COMMAND(ESX_CMD_POWERON_VM, id));
    EXPECT_EQ("vim-cmd vmsvc/power.off 7\n", GET_ESXI_COMMAND(ESX_CMD_POWEROFF_VM, id));
    EXPECT_EQ("vim-cmd vmsvc/power.shutdown 7\n", GET_ESXI_COMMAND(ESX_CMD_SHUTDOWN_VM, id));
}

TEST(SshCommand, SuspendWithId12Is31Characters) {
    Env::String text = ESXiCommand::GetESX_CMD_SUSPEND_VM("12");
    EXPECT_EQ("vim-cmd vmsvc/power.suspend 12\n", text);
    EXPECT_EQ(31u, text.size());
}

// Only an id of digits goes into a command; anything else gives no command at all.
TEST(SshCommand, AnIdThatIsNotDigitsGivesNoCommand) {
    const char* ids[] = {"", "a b;$(x)|y", ";touch${IFS}/tmp/x", "`id`", "1 2", "1;", "-1",
                         "12\n", " 12", "(c)", "~ #"};
    for (const char* id : ids) {
        EXPECT_EQ("", ESXiCommand::GetESX_CMD_GET_VMSTATUS(id)) << id;
        EXPECT_EQ("", ESXiCommand::GetESX_CMD_SUSPEND_VM(id)) << id;
        EXPECT_EQ("", ESXiCommand::GetESX_CMD_POWERON_VM(id)) << id;
        EXPECT_EQ("", ESXiCommand::GetESX_CMD_POWEROFF_VM(id)) << id;
        EXPECT_EQ("", ESXiCommand::GetESX_CMD_SHUTDOWN_VM(id)) << id;
    }
}

// A command is sent whole or not at all: an id too long for a command is refused, never cut.
TEST(SshCommand, AnIdTooLongIsRefusedNotCut) {
    EXPECT_EQ("", ESXiCommand::GetESX_CMD_GET_VMSTATUS(std::string(200, '9').c_str()));
    EXPECT_EQ("", ESXiCommand::GetESX_CMD_GET_VMSTATUS("12345678901"));
    EXPECT_EQ("vim-cmd vmsvc/power.getstate 1234567890\n",
              ESXiCommand::GetESX_CMD_GET_VMSTATUS("1234567890"));
}

TEST(SshCommand, VmIdsAreOneToTenDigits) {
    EXPECT_TRUE(ESXiCommand::IsVmId("0"));
    EXPECT_TRUE(ESXiCommand::IsVmId("0012"));
    EXPECT_TRUE(ESXiCommand::IsVmId("1234567890"));
    EXPECT_FALSE(ESXiCommand::IsVmId(""));
    EXPECT_FALSE(ESXiCommand::IsVmId("12345678901"));
    EXPECT_FALSE(ESXiCommand::IsVmId("1a"));
    EXPECT_FALSE(ESXiCommand::IsVmId("\xd9\xa3"));
}

}  // namespace
