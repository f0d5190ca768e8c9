#include "ESXiCliParser.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "SshCommand.h"
#include "SshServer.h"
#include "kel-tools-trace.h"
#include "recording_server.h"
#include "ssh_defines.h"

namespace {

using SshSrv::ESXiCommand;

// A getallvms reply as the session hands it over: echo cut, CR LF, prompt.
const char kTwoVms[] =
    "Vmid    Name                 File                      Guest OS          Version   Annotation\r\n"
    "1      VM1      [datastore1] VM1/VM1.vmx           rhel6_64Guest           vmx-08              \r\n"
    "12     web      [datastore1] web/web.vmx           windows7Server64Guest   vmx-08              \r\n"
    "\r\n"
    "~ # ";

TEST(ESXiCliParserAllVms, OneChildPerRowInOrder) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse(kTwoVms, ESXiCommand::ESX_CMD_GET_ALLVMS, &owner));
    EXPECT_EQ((Children{{"1", "VM1"}, {"12", "web"}}), owner.children);
}

TEST(ESXiCliParserAllVms, NameWithBlanksIsKeptWhole) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    parser.Parse("Vmid   Name   File\r\n12     my  vm   [ds 2] my vm/my vm.vmx   otherGuest   vmx-08\r\n~ # ",
                 ESXiCommand::ESX_CMD_GET_ALLVMS, &owner);
    EXPECT_EQ((Children{{"12", "my  vm"}}), owner.children);
}

TEST(ESXiCliParserAllVms, OnlyRowsAfterTheHeaderAreVms) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_SUCCESS,
              parser.Parse("vim-cmd vmsvc/getallvms\r\n"
                           "Skipping invalid VM '6'\r\n"
                           "Vmid   Name   File   Guest OS   Version   Annotation\r\n"
                           "3      db     [ds] db/db.vmx   otherGuest   vmx-08    first line\r\n"
                           "second line\r\n"
                           "4 is the web server; $(touch /tmp/x)\r\n"
                           "(c) 2023 ACME Corp\r\n"
                           "~ # \r\n"
                           "\r\n"
                           "4      web    [ds] web/web.vmx   otherGuest   vmx-08              \r\n"
                           "~ # ",
                           ESXiCommand::ESX_CMD_GET_ALLVMS, &owner));
    EXPECT_EQ((Children{{"3", "db"}, {"4", "web"}}), owner.children);
}

TEST(ESXiCliParserAllVms, ANoteLineThatRepeatsARowAddsNoSecondVm) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    parser.Parse("Vmid   Name   File   Guest OS   Version   Annotation\r\n"
                 "1      db     [ds] db/db.vmx   otherGuest   vmx-08    see below\r\n"
                 "2      web    [ds] web/web.vmx   otherGuest   vmx-08\r\n"
                 "2      web    [ds] web/web.vmx   otherGuest   vmx-08              \r\n"
                 "~ # ",
                 ESXiCommand::ESX_CMD_GET_ALLVMS, &owner);
    EXPECT_EQ((Children{{"1", "db"}, {"2", "web"}}), owner.children);
}

TEST(ESXiCliParserAllVms, WithoutOwnerNothingIsAddedAndItSucceeds) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse(kTwoVms, ESXiCommand::ESX_CMD_GET_ALLVMS, nullptr));
    EXPECT_EQ(SSH_INTERNAL_ERR, parser.ParseGetAllVmsLine("1 a"));
}

TEST(ESXiCliParserAllVms, ErrorTextAnywhereFailsTheWholeReply) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("Vmid   Name   File\r\n1   notfound-vm   [ds] x.vmx\r\n"
                           "2   b   [ds] b.vmx   note: file not found\r\n~ # ",
                           ESXiCommand::ESX_CMD_GET_ALLVMS, &owner));
    EXPECT_TRUE(owner.children.empty());
}

TEST(ESXiCliParserAllVms, AReplyWithoutTheHeaderIsNotAListing) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("Vmid Name\r\n1      db     [ds] db/db.vmx   otherGuest   vmx-08\r\n~ # ",
                           ESXiCommand::ESX_CMD_GET_ALLVMS, &owner));
    EXPECT_TRUE(owner.children.empty());
}

TEST(ESXiCliParserAllVms, AnEmptyTableIsAListing) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("Vmid   Name   File   Guest OS   Version   Annotation\r\n~ # ",
                                        ESXiCommand::ESX_CMD_GET_ALLVMS, &owner));
    EXPECT_TRUE(owner.children.empty());
}

TEST(ESXiCliParserStatus, PowerStateLineBecomesTheStatus) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("Retrieved runtime info\r\nPowered off\r\n~ # ",
                                        ESXiCommand::ESX_CMD_GET_VMSTATUS, &owner));
    EXPECT_EQ("Powered off", owner.GetStatus());
}

TEST(ESXiCliParserStatus, TrailingBlanksAreKept) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    parser.Parse("Retrieved runtime info\r\nPowered on \r\n~ # ",
                 ESXiCommand::ESX_CMD_GET_VMSTATUS, &owner);
    EXPECT_EQ("Powered on ", owner.GetStatus());
}

TEST(ESXiCliParserStatus, SuspendedCountsAndTheLastMatchWins) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    parser.Parse("Powered on\r\nSuspended\r\n~ # ", ESXiCommand::ESX_CMD_GET_VMSTATUS, &owner);
    EXPECT_EQ("Suspended", owner.GetStatus());
}

TEST(ESXiCliParserStatus, ReplyWithoutStateLeavesTheStatus) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    owner.SetStatus("Suspended");
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("Retrieved runtime info\r\n~ # ",
                                        ESXiCommand::ESX_CMD_GET_VMSTATUS, &owner));
    EXPECT_EQ("Suspended", owner.GetStatus());
}

TEST(ESXiCliParserStatus, LineHandlerAlwaysAnswersInternalError) {
    SshSrv::ESXiCliParser parser;
    RecordingServer owner;
    parser.Parse("", ESXiCommand::ESX_CMD_GET_VMSTATUS, &owner);
    EXPECT_EQ(SSH_INTERNAL_ERR, parser.ParseGetVmStatusLine("Powered on"));
    EXPECT_EQ("Powered on", owner.GetStatus());
    EXPECT_EQ(SSH_INTERNAL_ERR, parser.ParseGetVmStatusLine("other"));
}

TEST(ESXiCliParserPower, ProgressWithoutPromptIsInProgress) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_PARSER_IN_PROGRESS,
              parser.Parse("Suspending VM:", ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
    EXPECT_EQ(SSH_PARSER_IN_PROGRESS,
              parser.Parse("Powering on VM:", ESXiCommand::ESX_CMD_POWERON_VM, nullptr));
    EXPECT_EQ(SSH_PARSER_IN_PROGRESS,
              parser.Parse("Powering off VM:", ESXiCommand::ESX_CMD_POWEROFF_VM, nullptr));
}

TEST(ESXiCliParserPower, PromptMeansDone) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_SUCCESS,
              parser.Parse("Suspending VM:\r\n~ # ", ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("~ # ", ESXiCommand::ESX_CMD_POWERON_VM, nullptr));
}

TEST(ESXiCliParserPower, MarkerOfAnotherCommandIsAFailure) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("Powering on VM:", ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("", ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
}

TEST(ESXiCliParserPower, ErrorReplyFailsEvenWithThePrompt) {
    kel_set_trace(TRACE_MODE_DEBUG);
    SshSrv::ESXiCliParser parser;
    std::string out = StdoutOf([] {
        SshSrv::ESXiCliParser p;
        EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
                  p.Parse("(vim.fault.NotFound) {\r\n   msg = \"Unable to find\",\r\n}\r\n"
                          "-sh: x: not found\r\n~ # ",
                          ESXiCommand::ESX_CMD_SUSPEND_VM, nullptr));
    });
    EXPECT_NE(std::string::npos, out.find("response contains error\n"));
    EXPECT_NE(std::string::npos, out.find("ESXi vim-cmd command failed\n"));
}

TEST(ESXiCliParserErrors, EachErrorTextIsRecognised) {
    SshSrv::ESXiCliParser parser;
    EXPECT_TRUE(parser.HasError("-sh: foo: not found"));
    EXPECT_TRUE(parser.HasError("Invalid command 'x'"));
    EXPECT_TRUE(parser.HasError("sh: syntax error: unexpected"));
    EXPECT_FALSE(parser.HasError("Not Found"));
    EXPECT_FALSE(parser.HasError("syntax error"));
}

TEST(ESXiCliParserMaintenance, FalseTrueAndMissing) {
    SshSrv::ESXiCliParser parser;
    int id = ESXiCommand::ESX_CMD_GET_MAINTENANCE;
    EXPECT_EQ(SSH_VERIFY_ERR, parser.Parse("      inMaintenanceMode = false,\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("      inMaintenanceMode = true,\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("true\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("inMaintenanceMode = ?\r\n~ # ", id, nullptr));
}

TEST(ESXiCliParserMaintenance, TrueAnywhereWinsOverFalse) {
    SshSrv::ESXiCliParser parser;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("inMaintenanceMode = false,\r\nx = true\r\n~ # ",
                                        ESXiCommand::ESX_CMD_GET_MAINTENANCE, nullptr));
}

TEST(ESXiCliParserShowCommands, NeedsTheListingTitle) {
    SshSrv::ESXiCliParser parser;
    int id = ESXiCommand::ESX_CMD_SHOW_COMMANDS;
    EXPECT_EQ(SSH_SUCCESS,
              parser.Parse("Commands available under /:\r\nhbrsvc/  vmsvc/\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("-sh: vim-cmd: not found\r\n~ # ", id, nullptr));
}

// The host takes its power-off without a word; anything it says is a refusal.
TEST(ESXiCliParserPowerOffHost, OnlyThePromptIsAnAcceptance) {
    SshSrv::ESXiCliParser parser;
    int id = ESXiCommand::ESX_CMD_POWEROFF_HOST;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("~ # ", id, nullptr));
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("\r\n[root@esx01:~] ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("The operation is not allowed in the current state.\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("Error: Missing required parameter -r|--reason\r\n\r\nUsage: esxcli system "
                           "shutdown poweroff [cmd options]\r\n~ # ",
                           id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("-sh: esxcli: not found\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("Shutting down\r\n", id, nullptr));
}

// The detached command of -self answers with its marker and a pid, and nothing else.
TEST(ESXiCliParserSelfVm, OnlyTheMarkerAndAPidAreAnAcceptance) {
    SshSrv::ESXiCliParser parser;
    int id = ESXiCommand::ESX_CMD_STOP_SELF_VM;
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("vmnap-self 4242\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_SUCCESS, parser.Parse("\r\nvmnap-self 1\r\n[root@esx01:~] ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("~ # ", id, nullptr));  // no setsid: nothing started
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("vmnap-self \r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("vmnap-self $!\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("vmnap-self 12 \r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("vmnap-self 12x\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("xvmnap-self 12\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("[1] 12\r\nvmnap-self 12\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR,
              parser.Parse("sh: setsid: not found\r\nvmnap-self 12\r\n~ # ", id, nullptr));
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("vmnap-self 12\r\n", id, nullptr));  // no prompt
    EXPECT_EQ(SSH_CLI_CMD_FAILED_ERR, parser.Parse("", id, nullptr));
}

TEST(ESXiCliParserHostd, TheTextsOfAVimCmdThatCannotReachHostd) {
    using SshSrv::ESXiCliParser;
    EXPECT_TRUE(ESXiCliParser::SaysHostdIsStarting("Connect to localhost failed: Connection failure\r\n~ # "));
    EXPECT_TRUE(ESXiCliParser::SaysHostdIsStarting("\r\nFailed to login: Connection reset by peer\r\n~ # "));
    EXPECT_FALSE(ESXiCliParser::SaysHostdIsStarting("Commands available under /:\r\nvmsvc/\r\n~ # "));
    EXPECT_FALSE(ESXiCliParser::SaysHostdIsStarting("-sh: vim-cmd: not found\r\n~ # "));
    EXPECT_FALSE(ESXiCliParser::SaysHostdIsStarting("note: Connect to localhost failed\r\n~ # "));
    EXPECT_FALSE(ESXiCliParser::SaysHostdIsStarting(""));
    EXPECT_FALSE(ESXiCliParser::SaysHostdIsStarting(nullptr));
}

TEST(ESXiCliParserLines, PromptLineIsSkippedSilently) {
    kel_set_trace(TRACE_MODE_DEBUG);
    std::string out = StdoutOf([] {
        SshSrv::ESXiCliParser p;
        RecordingServer owner;
        p.Parse("~ # ", ESXiCommand::ESX_CMD_GET_ALLVMS, &owner);
        EXPECT_TRUE(owner.children.empty());
    });
    EXPECT_EQ(std::string::npos, out.find("parse line"));
}

TEST(ESXiCliParserLines, OtherCommandsCannotBeParsedByLine) {
    kel_set_trace(TRACE_MODE_DEBUG);
    std::string out = StdoutOf([] {
        SshSrv::ESXiCliParser p;
        EXPECT_EQ(SSH_INTERNAL_ERR,
                  p.Parse("'vim.Task:haTask-ha-host'\r\n~ # ",
                          ESXiCommand::ESX_CMD_ENTER_MAINTENANCE, nullptr));
    });
    EXPECT_NE(std::string::npos, out.find("trace> ParseLine: parse line: 'vim.Task:haTask-ha-host'\n"));
    EXPECT_NE(std::string::npos,
              out.find("ParseLine: can't parse response line: unknown command type\n"));
}

TEST(ESXiCliParserLines, EachParsedLineIsTraced) {
    kel_set_trace(TRACE_MODE_DEBUG);
    std::string out = StdoutOf([] {
        SshSrv::ESXiCliParser p;
        RecordingServer owner;
        p.Parse("Retrieved runtime info\r\nPowered on\r\n~ # ",
                ESXiCommand::ESX_CMD_GET_VMSTATUS, &owner);
    });
    EXPECT_NE(std::string::npos, out.find("parse line: Retrieved runtime info\n"));
    EXPECT_NE(std::string::npos, out.find("vm status found: Powered on\n"));
}

}  // namespace
