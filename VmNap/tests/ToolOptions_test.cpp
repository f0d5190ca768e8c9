#include <gtest/gtest.h>

#include <initializer_list>
#include <regex>
#include <string>
#include <vector>

#include "kel-tools-trace.h"
#include "main.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// A mutable argument vector, element 0 being the program's name.
class Argv {
public:
    Argv(std::initializer_list<const char*> args) {
        store_.push_back("VmNap");
        for (const char* a : args) store_.push_back(a);
        for (std::string& s : store_) ptrs_.push_back(&s[0]);
        ptrs_.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(store_.size()); }
    char** argv() { return ptrs_.data(); }

private:
    std::vector<std::string> store_;
    std::vector<char*> ptrs_;
};

struct Parsed {
    int result;
    ToolOptions options;
    std::string output;  // with time stamps replaced by hh:mm:ss
};

Parsed Parse(std::initializer_list<const char*> args) {
    Argv argv(args);
    Parsed p;
    CaptureStdout();
    p.result = parse_args(argv.argc(), argv.argv(), p.options);
    fflush(stdout);
    p.output = std::regex_replace(GetCapturedStdout(), std::regex("\\d\\d:\\d\\d:\\d\\d: "),
                                  "hh:mm:ss: ");
    return p;
}

TEST(ToolOptions, DefaultsAndNames) {
    ToolOptions o;
    EXPECT_EQ("mode", o.mode.name);
    EXPECT_EQ(0, o.mode.value);
    EXPECT_EQ("ListFile", o.listfile.name);
    EXPECT_EQ("esxi_vms.xml", o.listfile.value);
    EXPECT_EQ("host", o.host.name);
    EXPECT_TRUE(o.host.IsEmpty());
    EXPECT_EQ("usr", o.user.name);
    EXPECT_EQ("pwd", o.password.name);
    EXPECT_EQ("D", o.tracemode.name);
    EXPECT_EQ(TRACE_MODE_QUIET, o.tracemode.value);
    EXPECT_EQ("timeoutminutes", o.timeout.name);
    EXPECT_EQ(300, o.timeout.value);
}

TEST(ToolOptions, ParametersCopyBothFields) {
    StringParameter s("a", "b");
    StringParameter t;
    t = s;
    EXPECT_EQ("a", t.name);
    EXPECT_EQ("b", t.value);
    EXPECT_FALSE(t.IsEmpty());
    IntParameter i("n", 7);
    IntParameter j;
    j = i;
    EXPECT_EQ("n", j.name);
    EXPECT_EQ(7, j.value);
}

TEST(ParseArgs, NoArgumentsPrintsHelpAndFails) {
    Parsed p = Parse({});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ(0u, p.output.find("VmNap. ver.1.1.0.0\n\nUsage:\n"));
}

TEST(ParseArgs, CompleteDashOptions) {
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ(SshSrv::SRV_OP_CHECK_AUTH, p.options.mode.value);
    EXPECT_EQ(300, p.options.timeout.value);
    EXPECT_EQ("esxi_vms.xml", p.options.listfile.value);
    EXPECT_EQ("h", p.options.host.value);
    EXPECT_EQ("u", p.options.user.value);
    EXPECT_EQ("p", p.options.password.value);
    EXPECT_EQ("", p.output);
}

TEST(ParseArgs, SlashPrefixWorksLikeDash) {
    Parsed p = Parse({"/host", "h", "/usr", "u", "/pwd", "p", "/mode", "suspend_vms",
                      "ListFile=vms.xml"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ(SshSrv::SRV_OP_SUSPEND, p.options.mode.value);
    EXPECT_EQ("vms.xml", p.options.listfile.value);
}

TEST(ParseArgs, EveryModeWord) {
    EXPECT_EQ(SshSrv::SRV_OP_REBOOT,
              Parse({"-mode", "reboot_vms"}).options.mode.value);
    EXPECT_EQ(SshSrv::SRV_OP_CHECK_SRV_MODE,
              Parse({"-mode", "check_maintenance_mode"}).options.mode.value);
}

TEST(ParseArgs, DashLedValueIsAMissingValue) {
    Parsed p = Parse({"-host", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed host value\n", p.output);
    EXPECT_EQ("", p.options.host.value);
}

TEST(ParseArgs, ValueMissingAtTheEnd) {
    EXPECT_EQ("hh:mm:ss: Invalid or missed usr value\n", Parse({"-usr"}).output);
}

TEST(ParseArgs, PasswordStartingWithDashOrSlashIsRejected) {
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "-secret"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed pwd value\n", p.output);
    EXPECT_EQ("hh:mm:ss: Invalid or missed pwd value\n", Parse({"-pwd", "/secret"}).output);
}

TEST(ParseArgs, EmptyStringIsAcceptedAsValue) {
    Parsed p = Parse({"-host", "", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(1, p.result);  // host is empty, so the required test fails
    EXPECT_EQ("hh:mm:ss: Argument missed\n", p.output);
}

TEST(ParseArgs, UnknownModeWordNamesTheParser) {
    Parsed p = Parse({"-host", "h", "-mode", "reboot"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: parse_args: Invalid mode\n", p.output);
}

TEST(ParseArgs, MissingModeWord) {
    EXPECT_EQ("hh:mm:ss: Invalid or missed mode\n", Parse({"-mode"}).output);
    Parsed p = Parse({"-mode", "-host", "h"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed mode\n", p.output);
}

TEST(ParseArgs, TraceWordIsOptionalBeforeAnOption) {
    Parsed p = Parse({"-D", "-host", "h", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ(TRACE_MODE_QUIET, p.options.tracemode.value);
    EXPECT_EQ("h", p.options.host.value);
}

TEST(ParseArgs, TraceWordsSetTheMode) {
    EXPECT_EQ(TRACE_MODE_INFO, Parse({"-D", "info"}).options.tracemode.value);
    EXPECT_EQ(TRACE_MODE_VERBOSE, Parse({"-D", "verbose"}).options.tracemode.value);
    EXPECT_EQ(TRACE_MODE_DEBUG, Parse({"-D", "debug"}).options.tracemode.value);
}

TEST(ParseArgs, QuietIsReportedAndIgnored) {
    Parsed p = Parse({"-D", "quiet", "-host", "h", "-usr", "u", "-pwd", "p", "-mode",
                      "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid trace mode argument 'quiet' - ignoring\n", p.output);
    EXPECT_EQ(TRACE_MODE_QUIET, p.options.tracemode.value);
}

TEST(ParseArgs, InvalidTraceWordKeepsEarlierMode) {
    Parsed p = Parse({"-D", "debug", "-D", "loud"});
    EXPECT_EQ(TRACE_MODE_DEBUG, p.options.tracemode.value);
    EXPECT_EQ("hh:mm:ss: Invalid trace mode argument 'loud' - ignoring\n"
              "hh:mm:ss: Argument missed\n",
              p.output);
}

TEST(ParseArgs, EmptyTraceWordIsNotConsumed) {
    // The empty argument is then parsed as an unknown option (a masked warning).
    Parsed p = Parse({"-D", "", "-host", "h", "-usr", "u", "-pwd", "p", "-mode",
                      "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ(TRACE_MODE_QUIET, p.options.tracemode.value);
    EXPECT_EQ("", p.output);
}

TEST(ParseArgs, TimeoutIsGivenInMinutes) {
    EXPECT_EQ(600, Parse({"-timeoutminutes", "10"}).options.timeout.value);
    EXPECT_EQ(0, Parse({"-timeoutminutes", "x"}).options.timeout.value);
    EXPECT_EQ(120, Parse({"-timeoutminutes", "2abc"}).options.timeout.value);
}

// Every wait is bounded: the login and the ordinary replies by a minute or two unless the user says.
TEST(ParseArgs, LoginAndReplyLimitsAreSecondsWithDefaultsOfTwoMinutes) {
    ToolOptions o;
    EXPECT_EQ(120, o.loginseconds.value);
    EXPECT_EQ(120, o.replyseconds.value);
    Parsed p = Parse({"-loginseconds", "30", "/replyseconds", "5"});
    EXPECT_EQ(30, p.options.loginseconds.value);
    EXPECT_EQ(5, p.options.replyseconds.value);
    EXPECT_EQ(86400, Parse({"-replyseconds", "86400"}).options.replyseconds.value);
}

TEST(ParseArgs, ALimitThatIsNotAWholeNumberOfSecondsIsAnError) {
    for (const char* value : {"0", "x", "2abc", "86401", "999999", "-5"}) {
        Parsed p = Parse({"-replyseconds", value});
        EXPECT_EQ(1, p.result) << value;
        EXPECT_EQ("hh:mm:ss: Invalid or missed replyseconds value\n", p.output) << value;
        EXPECT_EQ(120, p.options.replyseconds.value) << value;
    }
    EXPECT_EQ(1, Parse({"-loginseconds"}).result);
}

TEST(ParseArgs, WaitMinutesDefaultsToOneTryAndTakesWholeMinutes) {
    EXPECT_EQ(0, ToolOptions().waitminutes.value);
    EXPECT_EQ("waitminutes", ToolOptions().waitminutes.name);
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "reboot_vms", "-waitminutes", "20"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ(20, p.options.waitminutes.value);
    EXPECT_EQ("", p.output);
    EXPECT_EQ(0, Parse({"-mode", "account_check", "/waitminutes", "0"}).options.waitminutes.value);
    EXPECT_EQ(1440, Parse({"-mode", "account_check", "-waitminutes", "1440"}).options.waitminutes.value);
}

TEST(ParseArgs, AWaitThatIsNotAWholeNumberOfMinutesIsAnError) {
    for (const char* value : {"-1", "1441", "2.5", "5m", "", "12345", "-D"}) {
        Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "reboot_vms", "-waitminutes", value});
        EXPECT_EQ(1, p.result) << value;
        EXPECT_EQ("hh:mm:ss: Invalid or missed waitminutes value\n", p.output) << value;
    }
    Parsed missing = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "reboot_vms", "-waitminutes"});
    EXPECT_EQ(1, missing.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed waitminutes value\n", missing.output);
}

TEST(ParseArgs, ParallelDefaultsToOneAndTakes1To16) {
    EXPECT_EQ(1, ToolOptions().parallel.value);
    EXPECT_EQ("parallel", ToolOptions().parallel.name);
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-parallel", "4"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ(4, p.options.parallel.value);
    EXPECT_EQ("", p.output);
    EXPECT_EQ(1, Parse({"-mode", "reboot_vms", "/parallel", "1"}).options.parallel.value);
    EXPECT_EQ(16, Parse({"-mode", "reboot_vms", "-parallel", "16"}).options.parallel.value);
}

TEST(ParseArgs, AParallelCountOutside1To16IsAnError) {
    for (const char* value : {"0", "17", "-1", "2.5", "4x", "", "-D"}) {
        Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-parallel", value});
        EXPECT_EQ(1, p.result) << value;
        EXPECT_EQ("hh:mm:ss: Invalid or missed parallel value\n", p.output) << value;
    }
    EXPECT_EQ(1, Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-parallel"}).result);
}

TEST(ParseArgs, PowerOffIsAFlagWithoutValue) {
    EXPECT_FALSE(ToolOptions().poweroff.value);
    EXPECT_EQ("poweroff", ToolOptions().poweroff.name);
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-poweroff",
                      "-onrefusal", "poweroff"});
    EXPECT_EQ(0, p.result);
    EXPECT_TRUE(p.options.poweroff.value);
    EXPECT_EQ("poweroff", p.options.onrefusal.value);
    EXPECT_EQ("", p.output);
    // The policy's word is not the flag.
    Parsed policy = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-onrefusal", "poweroff"});
    EXPECT_FALSE(policy.options.poweroff.value);
    EXPECT_TRUE(Parse({"-mode", "suspend_vms", "/poweroff"}).options.poweroff.value);
}

// -self names the VM the tool runs in, by id or whole name (blanks kept). Only suspend_vms uses it; the
// other modes take it and leave it alone, as they do -poweroff, so that a UPS script can give every mode of
// a host the same options.
TEST(ParseArgs, SelfTakesOneVmAndOnlySuspendVmsUsesIt) {
    EXPECT_EQ("self", ToolOptions().self.name);
    EXPECT_TRUE(ToolOptions().self.IsEmpty());
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-self", "nut vm"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("nut vm", p.options.self.value);
    EXPECT_EQ("", p.output);
    EXPECT_EQ("12", Parse({"-mode", "suspend_vms", "/self", "12"}).options.self.value);
    for (const char* mode : {"reboot_vms", "account_check", "check_maintenance_mode"}) {
        Parsed other = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", mode, "-self", "12"});
        EXPECT_EQ(0, other.result) << mode;
        EXPECT_EQ("", other.output) << mode;
        EXPECT_EQ("12", other.options.self.value) << mode;
    }
}

TEST(ParseArgs, SelfWithoutAVmIsAnError) {
    Parsed missing = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-self"});
    Parsed empty = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-self", ""});
    Parsed option = Parse({"-host", "h", "-usr", "u", "-pwd", "p", "-mode", "suspend_vms", "-self", "-poweroff"});
    for (const Parsed* p : {&missing, &empty, &option}) {
        EXPECT_EQ(1, p->result);
        EXPECT_EQ("hh:mm:ss: Invalid or missed self value\n", p->output);
    }
}

TEST(ParseArgs, NegativeTimeoutIsRejected) {
    Parsed p = Parse({"-timeoutminutes", "-5"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed new timeout value\n", p.output);
    EXPECT_EQ(300, p.options.timeout.value);
}

TEST(ParseArgs, ListFileNeedsTextAfterTheEqualsSign) {
    EXPECT_EQ("esxi_vms.xml", Parse({"ListFile"}).options.listfile.value);
    EXPECT_EQ("esxi_vms.xml", Parse({"ListFile="}).options.listfile.value);
    EXPECT_EQ("a=b", Parse({"ListFile=a=b"}).options.listfile.value);
    EXPECT_EQ("a", Parse({"-myListFile=a"}).options.listfile.value);
    EXPECT_EQ("esxi_vms.xml", Parse({"listfile=a"}).options.listfile.value);
}

TEST(ParseArgs, ListFileNeverTakesTheNextArgument) {
    Parsed p = Parse({"ListFile", "x.xml", "-host", "h", "-usr", "u", "-pwd", "p", "-mode",
                      "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("esxi_vms.xml", p.options.listfile.value);
}

TEST(ParseArgs, UnknownOptionIsSilentlyIgnored) {
    Parsed p = Parse({"-x", "-host", "h", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("", p.output);
}

TEST(ParseArgs, UnknownOptionWarningShowsOnceTracingIsOn) {
    kel_set_trace(TRACE_MODE_VERBOSE);
    EXPECT_EQ("hh:mm:ss: Warning> Invalid argument 'x', ignore it\n"
              "hh:mm:ss: Argument missed\n",
              Parse({"-x"}).output);
    kel_set_trace(TRACE_MODE_QUIET);
}

TEST(ParseArgs, DoubledDashMatchesNothing) {
    Parsed p = Parse({"--host", "esx", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("", p.options.host.value);
}

TEST(ParseArgs, OptionNamesAreCaseSensitive) {
    Parsed p = Parse({"-Host", "esx", "-usr", "u", "-pwd", "p", "-mode", "account_check"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Argument missed\n", p.output);
}

TEST(ParseArgs, LaterOptionOverridesEarlier) {
    Parsed p = Parse({"-host", "a", "-host", "b"});
    EXPECT_EQ("b", p.options.host.value);
}

TEST(ParseArgs, MissingModeIsArgumentMissed) {
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "p"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Argument missed\n", p.output);
}

TEST(ParseArgs, EachRequiredOptionIsNeeded) {
    EXPECT_EQ(1, Parse({"-usr", "u", "-pwd", "p", "-mode", "account_check"}).result);
    EXPECT_EQ(1, Parse({"-host", "h", "-pwd", "p", "-mode", "account_check"}).result);
    EXPECT_EQ(1, Parse({"-host", "h", "-usr", "u", "-mode", "account_check"}).result);
}

// Sets VMNAP_PASSWORD for the life of the object and removes it afterwards.
class PasswordVariable {
public:
    explicit PasswordVariable(const char* value) { setenv("VMNAP_PASSWORD", value, 1); }
    ~PasswordVariable() { unsetenv("VMNAP_PASSWORD"); }
};

TEST(ParseArgs, PasswordComesFromTheEnvironmentWithoutPwd) {
    PasswordVariable password("from-env");
    Parsed p = Parse({"-host", "h", "-usr", "u", "-mode", "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("from-env", p.options.password.value);
    EXPECT_EQ("", p.output);
}

TEST(ParseArgs, PwdWinsOverTheEnvironment) {
    PasswordVariable password("from-env");
    Parsed p = Parse({"-host", "h", "-usr", "u", "-pwd", "given", "-mode", "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("given", p.options.password.value);
}

TEST(ParseArgs, EnvironmentPasswordMayStartWithDashOrSlash) {
    PasswordVariable password("-/secret");
    Parsed p = Parse({"-host", "h", "-usr", "u", "-mode", "account_check"});
    EXPECT_EQ(0, p.result);
    EXPECT_EQ("-/secret", p.options.password.value);
}

TEST(ParseArgs, EmptyEnvironmentPasswordIsArgumentMissed) {
    PasswordVariable password("");
    Parsed p = Parse({"-host", "h", "-usr", "u", "-mode", "account_check"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Argument missed\n", p.output);
}

TEST(ParseArgs, PwdWithoutValueStaysAnErrorWhateverTheEnvironment) {
    PasswordVariable password("from-env");
    Parsed p = Parse({"-host", "h", "-usr", "u", "-mode", "account_check", "-pwd"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed pwd value\n", p.output);
}

TEST(ParseArgs, PrefixIsSkippedInPlace) {
    Argv argv({"-x"});
    ToolOptions o;
    parse_args(argv.argc(), argv.argv(), o);
    EXPECT_STREQ("x", argv.argv()[1]);
}

TEST(ParseArgsDeathTest, HelpEndsTheProcessWithZero) {
    EXPECT_EXIT(Parse({"-host", "h", "-h"}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(Parse({"help"}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(Parse({"/h"}), testing::ExitedWithCode(0), "");
}

TEST(ParseArgsDeathTest, BareHWordIsHelpToo) {
    // A stray "h" (for example the value of an unknown option) asks for help.
    EXPECT_EXIT(Parse({"--host", "h"}), testing::ExitedWithCode(0), "");
}

TEST(ParseArgs, ErrorBeforeHelpReturnsOne) {
    Parsed p = Parse({"-host", "-h"});
    EXPECT_EQ(1, p.result);
    EXPECT_EQ("hh:mm:ss: Invalid or missed host value\n", p.output);
}

}  // namespace
