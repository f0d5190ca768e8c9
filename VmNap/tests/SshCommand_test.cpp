#include "SshCommand.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(11, ESXiCommand::ESX_CMD_LAST);
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
}

TEST(SshCommand, VmTextsCarryTheId) {
    Env::String id("7");
    EXPECT_EQ("vim-cmd vmsvc/power.getstate 7\n", GET_ESXI_COMMAND(ESX_CMD_GET_VMSTATUS, id));
    EXPECT_EQ("vim-cmd vmsvc/power.on 7\n", GET_ESXI_COMMAND(ESX_CMD_POWERON_VM, id));
    EXPECT_EQ("vim-cmd vmsvc/power.off 7\n", GET_ESXI_COMMAND(ESX_CMD_POWEROFF_VM, id));
}

TEST(SshCommand, SuspendWithId12Is31Characters) {
    Env::String text = ESXiCommand::GetESX_CMD_SUSPEND_VM("12");
    EXPECT_EQ("vim-cmd vmsvc/power.suspend 12\n", text);
    EXPECT_EQ(31u, text.size());
}

TEST(SshCommand, EmptyIdKeepsTheBlank) {
    EXPECT_EQ("vim-cmd vmsvc/power.on \n", ESXiCommand::GetESX_CMD_POWERON_VM(""));
}

TEST(SshCommand, LongIdIsCutAt127Characters) {
    Env::String text = ESXiCommand::GetESX_CMD_GET_VMSTATUS(std::string(200, '9').c_str());
    ASSERT_EQ(127u, text.size());
    EXPECT_EQ(0u, text.find("vim-cmd vmsvc/power.getstate 9"));
    EXPECT_EQ('9', text.back());
    EXPECT_EQ(std::string::npos, text.find('\n'));
}

TEST(SshCommand, IdIsPassedThroughUnchanged) {
    EXPECT_EQ("vim-cmd vmsvc/power.off a b;$(x)|y\n",
              ESXiCommand::GetESX_CMD_POWEROFF_VM("a b;$(x)|y"));
}

}  // namespace
