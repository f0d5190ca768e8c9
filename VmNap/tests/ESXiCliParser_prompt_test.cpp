// The reply parser on hosts of ESXi 6.0 and later, whose shell prompts
// "[root@HOST:~] " instead of "~ # ".
#include <gtest/gtest.h>

#include <string>

#include "ESXiCliParser.h"
#include "SshCommand.h"
#include "kel-tools-trace.h"
#include "recording_server.h"
#include "ssh_defines.h"

namespace {

using SshSrv::ESXiCommand;

const char kTwoVmsBracket[] =
    "Vmid   Name     File                       Guest OS                 Version   Annotation\r\n"
    "1      web01    [datastore1] web01/web01.vmx   centos64Guest            vmx-13              \r\n"
    "12     build    [datastore 2] build/build.vmx   windows2019srv_64Guest   vmx-21              \r\n"
    "[root@esx01.corp.example:~] ";

TEST(ESXiCliParserBracketPrompt, PromptLineOfTheVmTableIsNoVm) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse(kTwoVmsBracket, ESXiCommand::ESX_CMD_GET_ALLVMS, &owner));
    EXPECT_EQ((Children{{"1", "web01"}, {"12", "build"}}), owner.children);
}

TEST(ESXiCliParserBracketPrompt, PromptLineIsSkippedSilently) {
    kel_set_trace(TRACE_MODE_DEBUG);
    std::string out = StdoutOf([] {
        SshSrv::ESXiCliParser p;
        RecordingServer owner;
        p.Parse("[root@esx01:/vmfs/volumes] ", ESXiCommand::ESX_CMD_GET_ALLVMS, &owner);
        EXPECT_TRUE(owner.children.empty());
    });
    EXPECT_EQ(std::string::npos, out.find("parse line"));
}

// Names and notes that hold a prompt are a row's name and note lines, never the reply's end.
TEST(ESXiCliParserBracketPrompt, NamesAndNotesThatHoldAPromptAreRowsAndNotes) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    parser.Parse("Vmid   Name   File\r\n"
                 "1      [root@x:~]   [ds] a/a.vmx   otherGuest   vmx-13   [root@esx01:~] \r\n"
                 "[root@esx01:~] \r\n"
                 "~ # \r\n"
                 "2      db~ # 01     [ds] b/b.vmx   otherGuest   vmx-13\r\n"
                 "[root@esx01:~] ",
                 ESXiCommand::ESX_CMD_GET_ALLVMS, &owner);
    EXPECT_EQ((Children{{"1", "[root@x:~]"}, {"2", "db~ # 01"}}), owner.children);
}

TEST(ESXiCliParserBracketPrompt, PromptEndsTheThreePowerCommands) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("Suspending VM:\r\n[root@esx01:~] ",
                                        ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("Powering on VM:\r\n[root@esx01:~] ",
                                        ESXiCommand::ESX_CMD_POWERON_VM, nullptr));
    EXPECT_EQ(SSH_SUCCESS,
              parser.Parse("[root@esx01:~] ", ESXiCommand::ESX_CMD_POWEROFF_VM, nullptr));
}

TEST(ESXiCliParserBracketPrompt, MarkerWithoutAWholePromptLineIsStillRunning) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_PARSER_IN_PROGRESS, parser.Parse("Suspending VM:\r\n[root@esx01:~",
                                                   ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
    EXPECT_EQ(SSH_PARSER_IN_PROGRESS, parser.Parse("Suspending VM:\r\n[root@esx01:~] x",
                                                   ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
}

// A host named "trueesx01" that is not in maintenance mode, and the other way round.
TEST(ESXiCliParserBracketPrompt, HostNameInThePromptDoesNotDecideTheMaintenanceFlag) {
    SshSrv::ESXiCliParser parser;
    int id = ESXiCommand::ESX_CMD_GET_MAINTENANCE;
    EXPECT_EQ(SSH_VERIFY_ERR,
              parser.Parse("      inMaintenanceMode = false,\r\n[root@trueesx01:~] ", id, nullptr));
    EXPECT_EQ(SSH_SUCCESS,
              parser.Parse("      inMaintenanceMode = true,\r\n[root@falseesx01:~] ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("[root@inMaintenanceMode-true:~] ", id, nullptr));
}

TEST(ESXiCliParserBracketPrompt, MaintenanceReplyOfTheOlderPromptIsJudgedAsBefore) {
    SshSrv::ESXiCliParser parser;
    int id = ESXiCommand::ESX_CMD_GET_MAINTENANCE;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("inMaintenanceMode = false,\r\ntrue ~ # ", id, nullptr));
    EXPECT_EQ(SSH_VERIFY_ERR, parser.Parse("inMaintenanceMode = false,\r\n~ # ", id, nullptr));
}

}  // namespace
