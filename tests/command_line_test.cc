// The VmNap executable's command-line face: help text, parse errors, banner.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run_program.h"

namespace {

const char kHelpText[] =
    "VmNap. ver.1.1.0.0\n"
    "\n"
    "Usage:\n"
    "\tVmNap OPTIONS -mode account_check\n"
    "\tVmNap OPTIONS -mode suspend_vms ListFile=<filename>\n"
    "\tVmNap OPTIONS -mode reboot_vms ListFile=<filename>\n"
    "\tVmNap OPTIONS -mode check_maintenance_mode\n"
    "\n"
    "Required Parameters:\n"
    "\t-mode {account_check|suspend_vms|reboot_vms|check_maintenance_mode}\t Remote action\n"
    "\t\tsuspend_vms         Suspend all active VMs and save a table of all VMs\n"
    "\t\tand mark suspended machines inside this table.\n"
    "\t\taccount_check        Account_check\n"
    "\t\treboot_ vms            Read the mentioned table and start all marked machines.\n"
    "\t\tcheck_maintenance_mode Check if VMWare host is in maintenance mode\n"
    "\t-host ip\t\t\t (ESXi) host Ip address\n"
    "\t-usr username\t\t\t SSH user login\n"
    "\t-pwd password\t\t\t SSH user password\n"
    "\n"
    "Optional Parameters:\n"
    "\t[-h, help]\t\t\t display this help message\n"
    "\t[-D debug|info|verbose|quiet]\t\t print debug information, default quiet\n"
    "\t[-timeoutminutes]\t\t VM suspend/reboot timeout(min), default 5 min\n"
    "\t[-loginseconds N]\t\t wait for the login at most N s of silence, default 120\n"
    "\t[-replyseconds N]\t\t wait for any other reply at most N s of silence, default 120\n"
    "\t[-onrefusal stop|skip|shutdown|poweroff]\t a VM that will not suspend: end the run (default),\n"
    "\t\tleave it running, shut its guest down, or shut it down and then power it off\n"
    "\t[-shutdownminutes N]\t\t wait for a guest shutdown, default 5 min\n"
    "\t[-last LIST]\t\t\t VM ids or names handled after all others, in this order\n"
    "\t[-skip LIST]\t\t\t VM ids or names never touched\n"
    "\t[-dryrun]\t\t\t say what the run would do, change nothing\n"
    "\t[-waitminutes N]\t\t keep trying to log in for N min while the host boots, default 0 (one try)\n"
    "\t[-poweroff]\t\t\t suspend_vms: power the host off once every VM is stopped\n"
    "\t[-parallel K]\t\t\t suspend_vms, reboot_vms: up to K VMs (1 to 16) at once, default 1\n"
    "\t[-self ID|NAME]\t\t suspend_vms: the VM this tool runs in; the host stops it last,\n"
    "\t\tafter the tool's session, then enters maintenance mode (and powers off with -poweroff)\n"
    "\n";

ProgramResult RunVmNap(const std::vector<std::string>& args) {
    ProgramRun run;
    run.path = VMNAP_EXE;
    run.args = args;
    ProgramResult r = RunProgram(run);
    r.out = NormalizeStamps(r.out);
    return r;
}

TEST(CommandLine, NoArgumentsPrintsHelpAndExitsOne) {
    ProgramResult r = RunVmNap({});
    EXPECT_EQ(1, r.exit_status);
    EXPECT_EQ(kHelpText, r.out);
    EXPECT_EQ("", r.err);
}

TEST(CommandLine, HelpOptionPrintsHelpAndExitsZero) {
    for (const char* h : {"-h", "/h", "help", "-help"}) {
        ProgramResult r = RunVmNap({h});
        EXPECT_EQ(0, r.exit_status) << h;
        EXPECT_EQ(kHelpText, r.out) << h;
    }
}

TEST(CommandLine, HelpAfterOtherOptionsSkipsTheBanner) {
    ProgramResult r = RunVmNap({"-host", "esx", "-D", "debug", "-h"});
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(kHelpText, r.out);
}

TEST(CommandLine, MissingValueIsReportedWithTimeStamp) {
    ProgramResult r = RunVmNap({"-host", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(1, r.exit_status);
    EXPECT_EQ("hh:mm:ss: Invalid or missed host value\n", r.out);
}

TEST(CommandLine, UnknownModeNamesTheParser) {
    ProgramResult r = RunVmNap({"-host", "esx", "-mode", "reboot"});
    EXPECT_EQ(1, r.exit_status);
    EXPECT_EQ("hh:mm:ss: parse_args: Invalid mode\n", r.out);
}

TEST(CommandLine, IncompleteOptionsAreArgumentMissed) {
    ProgramResult r = RunVmNap({"-host", "esx", "-usr", "u", "-pwd", "p"});
    EXPECT_EQ(1, r.exit_status);
    EXPECT_EQ("hh:mm:ss: Argument missed\n", r.out);
}

TEST(CommandLine, BadTimeoutIsReported) {
    ProgramResult r = RunVmNap({"-timeoutminutes", "-5"});
    EXPECT_EQ(1, r.exit_status);
    EXPECT_EQ("hh:mm:ss: Invalid or missed new timeout value\n", r.out);
}

TEST(CommandLine, QuietTraceWordIsReportedEvenBeforeAnError) {
    ProgramResult r = RunVmNap({"-D", "quiet"});
    EXPECT_EQ(1, r.exit_status);
    EXPECT_EQ("hh:mm:ss: Invalid trace mode argument 'quiet' - ignoring\n"
              "hh:mm:ss: Argument missed\n",
              r.out);
}

}  // namespace
