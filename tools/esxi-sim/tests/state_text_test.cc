// The state file's text form.
#include "state_text.h"

#include <gtest/gtest.h>

#include "text_wait.h"

namespace esxisim {
namespace {

const char kTwoVms[] =
    "# a comment\n"
    "hostname esx01\n"
    "prompt bracket\n"
    "maintenance yes\n"
    "refuse_maintenance_while_running yes\n"
    "task_counter 213709113\n"
    "\n"
    "vm 12\n"
    "name my vm\n"
    "file [datastore 2] my vm/my vm.vmx\n"
    "guest otherLinux64Guest\n"
    "version vmx-08\n"
    "power suspended\n"
    "note first line  \n"
    "note \n"
    "note third\n"
    "refuse_suspend yes\n"
    "suspend_seconds 3\n"
    "vm 3\n"
    "power on\n";

TEST(StateTextTest, ReadsHostKeysAndMachines) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState(kTwoVms, &host, &error)) << error;
    EXPECT_EQ("esx01", host.hostname);
    EXPECT_EQ(PromptStyle::kBracket, host.prompt);
    EXPECT_TRUE(host.in_maintenance);
    EXPECT_STREQ("5.5", host.profile->version);
    EXPECT_EQ(213709113, host.task_counter);
    ASSERT_EQ(2u, host.vms.size());
    const VmState& vm = host.vms[0];
    EXPECT_EQ("12", vm.id);
    EXPECT_EQ("my vm", vm.name);
    EXPECT_EQ("[datastore 2] my vm/my vm.vmx", vm.file);
    EXPECT_EQ("otherLinux64Guest", vm.guest_os);
    EXPECT_EQ("vmx-08", vm.version);
    EXPECT_EQ(PowerState::kSuspended, vm.power);
    EXPECT_EQ("first line  \n\nthird", vm.note);
    EXPECT_TRUE(vm.refuse_suspend);
    EXPECT_EQ(3, vm.suspend_seconds);
    EXPECT_EQ(PowerState::kOn, host.vms[1].power);
}

TEST(StateTextTest, MissingKeysKeepDefaults) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("vm 1\n", &host, &error)) << error;
    EXPECT_EQ("localhost", host.hostname);
    EXPECT_EQ(PromptStyle::kVersion, host.prompt);
    EXPECT_EQ("~ # ", PromptText(host));
    EXPECT_FALSE(host.in_maintenance);
    EXPECT_EQ(PowerState::kOff, host.vms[0].power);
    EXPECT_FALSE(host.vms[0].refuse_suspend);
    EXPECT_EQ(0, host.vms[0].suspend_seconds);
}

TEST(StateTextTest, FormatReadsBackToTheSameHost) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState(kTwoVms, &host, &error));
    host.vms[1].note = "ends in a line feed\n";
    HostState again;
    ASSERT_TRUE(ParseState(FormatState(host), &again, &error)) << error;
    EXPECT_EQ(FormatState(host), FormatState(again));
    EXPECT_EQ("first line  \n\nthird", again.vms[0].note);
    EXPECT_EQ("ends in a line feed\n", again.vms[1].note);
}

TEST(StateTextTest, InvalidVmsAreKeptInOrderAndWrittenAfterTheHostKeys) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("vm 1\ninvalid_vm 6\ninvalid_vm 30\n", &host, &error)) << error;
    EXPECT_EQ((std::vector<std::string>{"6", "30"}), host.invalid_vms);
    EXPECT_EQ(
        "hostname localhost\n"
        "esxi_version 5.5\n"
        "maintenance no\n"
        "task_counter 1\n"
        "invalid_vm 6\n"
        "invalid_vm 30\n"
        "vm 1\n"
        "name \n"
        "file \n"
        "guest \n"
        "version \n"
        "power off\n"
        "refuse_suspend no\n"
        "suspend_seconds 0\n",
        FormatState(host));
}

TEST(StateTextTest, RefusalAndStallKeysAreWrittenBackOnlyWhenSet) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("stall vmsvc/getallvms\nstall /\nstall_seconds 5\nvm 1\nrefuse_power_on yes\nvm 2\n"
                           "refuse_power_on no\n",
                           &host, &error))
        << error;
    EXPECT_EQ((std::vector<std::string>{"vmsvc/getallvms", "/"}), host.stalls);
    EXPECT_EQ(5, host.stall_seconds);
    EXPECT_TRUE(host.vms[0].refuse_power_on);
    EXPECT_FALSE(host.vms[1].refuse_power_on);
    std::string text = FormatState(host);
    EXPECT_NE(std::string::npos, text.find("task_counter 1\nstall vmsvc/getallvms\nstall /\nstall_seconds 5\nvm 1\n"))
        << text;
    EXPECT_NE(std::string::npos, text.find("suspend_seconds 0\nrefuse_power_on yes\nvm 2\n")) << text;
    EXPECT_EQ(1u, CountOf(text, "refuse_power_on")) << text;
    HostState again;
    ASSERT_TRUE(ParseState(text, &again, &error)) << error;
    EXPECT_EQ(text, FormatState(again));
}

TEST(StateTextTest, GuestKeysAreWrittenBackOnlyWhenNotAtTheirDefault) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("vm 1\ntools yes\npassthrough no\nshutdown_seconds 0\nvm 2\ntools no\npassthrough yes\n"
                           "shutdown_seconds 90\nguest_shutdown_at 1732390005.25\n",
                           &host, &error))
        << error;
    EXPECT_TRUE(host.vms[0].tools);
    EXPECT_FALSE(host.vms[1].tools);
    EXPECT_TRUE(host.vms[1].passthrough);
    EXPECT_EQ(90, host.vms[1].shutdown_seconds);
    EXPECT_EQ(1732390005.25, host.vms[1].guest_shutdown_at);
    std::string text = FormatState(host);
    EXPECT_NE(std::string::npos, text.find("suspend_seconds 0\nvm 2\n")) << text;
    EXPECT_NE(std::string::npos, text.find("suspend_seconds 0\ntools no\npassthrough yes\nshutdown_seconds 90\n"
                                           "guest_shutdown_at 1732390005.250\n"))
        << text;
    HostState again;
    ASSERT_TRUE(ParseState(text, &again, &error)) << error;
    EXPECT_EQ(text, FormatState(again));
}

TEST(StateTextTest, HostPowerKeysAreWrittenBackOnlyWhenSet) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("powered_off no\n", &host, &error)) << error;
    EXPECT_EQ(std::string::npos, FormatState(host).find("power")) << FormatState(host);
    ASSERT_TRUE(ParseState("powered_off yes\npoweroff_at 1732390005\nboot_ssh_at 1732390100.5\n"
                           "boot_hostd_at 1732390130\n",
                           &host, &error))
        << error;
    EXPECT_TRUE(host.powered_off);
    EXPECT_EQ(1732390005, host.poweroff_at);
    EXPECT_EQ(1732390100.5, host.boot_ssh_at);
    EXPECT_EQ(1732390130, host.boot_hostd_at);
    EXPECT_NE(std::string::npos, FormatState(host).find("task_counter 1\npowered_off yes\npoweroff_at 1732390005.000\n"
                                                        "boot_ssh_at 1732390100.500\nboot_hostd_at 1732390130.000\n"))
        << FormatState(host);
}

TEST(StateTextTest, DatastoreKeysAndOperationsUnderWayAreWrittenBackOnlyWhenSet) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("op_pause_seconds 0\nvm 1\nmemory_mb 0\n", &host, &error)) << error;
    std::string plain = FormatState(host);
    EXPECT_EQ(std::string::npos, plain.find("memory_mb")) << plain;
    EXPECT_EQ(std::string::npos, plain.find("op_pause")) << plain;
    ASSERT_TRUE(ParseState("datastore fast ssd 800 1200\nop_pause_seconds 2\nmax_in_flight 0\n"
                           "vm 1\nmemory_mb 4096\ndatastore datastore 2\noperation suspend pause 321\n"
                           "vm 2\nmemory_mb 2048\noperation resume transfer 322 1024.5 1732390005.25\n",
                           &host, &error))
        << error;
    ASSERT_EQ(1u, host.datastores.size());
    EXPECT_EQ("fast ssd", host.datastores[0].name);
    EXPECT_EQ(800, host.datastores[0].write_mbps);
    EXPECT_EQ(1200, host.datastores[0].read_mbps);
    EXPECT_EQ(2, host.op_pause_seconds);
    EXPECT_EQ(0, host.max_in_flight);
    EXPECT_EQ(4096, host.vms[0].memory_mb);
    EXPECT_EQ("datastore 2", host.vms[0].datastore);
    EXPECT_EQ(OperationKind::kSuspend, host.vms[0].operation.kind);
    EXPECT_FALSE(host.vms[0].operation.transferring);
    EXPECT_EQ(321, host.vms[0].operation.pid);
    EXPECT_EQ(OperationKind::kResume, host.vms[1].operation.kind);
    EXPECT_EQ(1024.5, host.vms[1].operation.remaining_mb);
    EXPECT_EQ(1732390005.25, host.vms[1].operation.as_of);
    std::string text = FormatState(host);
    EXPECT_NE(std::string::npos, text.find("task_counter 1\ndatastore fast ssd 800 1200\nop_pause_seconds 2\n"
                                           "max_in_flight 0\nvm 1\n"))
        << text;
    EXPECT_NE(std::string::npos, text.find("memory_mb 4096\ndatastore datastore 2\noperation suspend pause 321\n"))
        << text;
    EXPECT_NE(std::string::npos, text.find("operation resume transfer 322 1024.500 1732390005.250\n")) << text;
    HostState again;
    ASSERT_TRUE(ParseState(text, &again, &error)) << error;
    EXPECT_EQ(text, FormatState(again));
}

TEST(StateTextTest, DefaultStallSecondsAreTenMinutesAndNotWritten) {
    HostState host;
    EXPECT_EQ(600, host.stall_seconds);
    EXPECT_TRUE(host.stalls.empty());
    EXPECT_EQ(std::string::npos, FormatState(host).find("stall"));
}

TEST(StateTextTest, CarriageReturnsAtLineEndsAreIgnored) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("vm 7\r\nname web\r\npower on\r\n", &host, &error)) << error;
    EXPECT_EQ("web", host.vms[0].name);
    EXPECT_EQ(PowerState::kOn, host.vms[0].power);
}

struct BadText {
    const char* text;
    const char* error;
};

const BadText kBadTexts[] = {
    {"colour blue\n", "line 1: unknown key colour"},
    {"name orphan\n", "line 1: unknown key name"},
    {"vm 1\npower paused\n", "line 2: bad value for power"},
    {"maintenance maybe\n", "line 1: bad value for maintenance"},
    {"vm 1\nvm 1\n", "line 2: duplicate vm 1"},
    {"vm\n", "line 1: vm without id"},
    {"note lost\n", "line 1: note outside a vm"},
    {"vm 1\nsuspend_seconds -1\n", "line 2: bad value for suspend_seconds"},
    {"prompt fancy\n", "line 1: bad value for prompt"},
    {"task_counter many\n", "line 1: bad value for task_counter"},
    {"esxi_version 9.9\n", "line 1: bad value for esxi_version"},
    {"refuse_maintenance_while_running no\n", "line 1: bad value for refuse_maintenance_while_running"},
    {"invalid_vm\n", "line 1: bad value for invalid_vm"},
    {"stall\n", "line 1: bad value for stall"},
    {"stall_seconds 3601\n", "line 1: bad value for stall_seconds"},
    {"vm 1\nrefuse_power_on sometimes\n", "line 2: bad value for refuse_power_on"},
    {"vm 1\ntools maybe\n", "line 2: bad value for tools"},
    {"vm 1\npassthrough 1\n", "line 2: bad value for passthrough"},
    {"vm 1\nshutdown_seconds 3601\n", "line 2: bad value for shutdown_seconds"},
    {"vm 1\nguest_shutdown_at soon\n", "line 2: bad value for guest_shutdown_at"},
    {"vm 1\nguest_shutdown_at -5\n", "line 2: bad value for guest_shutdown_at"},
    {"powered_off off\n", "line 1: bad value for powered_off"},
    {"poweroff_at 12:00\n", "line 1: bad value for poweroff_at"},
    {"boot_ssh_at\n", "line 1: bad value for boot_ssh_at"},
    {"boot_hostd_at 1e9\n", "line 1: bad value for boot_hostd_at"},
    {"datastore ds1 0 100\n", "line 1: bad value for datastore"},
    {"datastore 100 200\n", "line 1: unknown key datastore"},
    {"op_pause_seconds 3601\n", "line 1: bad value for op_pause_seconds"},
    {"max_in_flight -1\n", "line 1: bad value for max_in_flight"},
    {"vm 1\nmemory_mb lots\n", "line 2: bad value for memory_mb"},
    {"vm 1\ndatastore\n", "line 2: bad value for datastore"},
    {"vm 1\noperation suspend pause\n", "line 2: bad value for operation"},
    {"vm 1\noperation hibernate pause 12\n", "line 2: bad value for operation"},
    {"vm 1\noperation suspend transfer 12\n", "line 2: bad value for operation"},
    {"vm 1\noperation resume pause 0\n", "line 2: bad value for operation"},
};

TEST(StateTextTest, BadLineIsRefusedWithItsNumberAndReason) {
    for (const BadText& bad : kBadTexts) {
        SCOPED_TRACE(bad.text);
        HostState host;
        std::string error;
        EXPECT_FALSE(ParseState(bad.text, &host, &error));
        EXPECT_EQ(bad.error, error);
    }
}

}  // namespace
}  // namespace esxisim
