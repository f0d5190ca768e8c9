// The version profiles: each version's banner, prompt, "vmware -v" line, host summary and VM table, the
// maintenance refusal every version shares, and the hosts of example VMs built from a profile.
#include <gtest/gtest.h>

#include <string>

#include "example_vms.h"
#include "run_program.h"
#include "sshd_fixture_process.h"
#include "state_store.h"
#include "state_text.h"
#include "temp_dir.h"
#include "version_profile.h"
#include "vm_table.h"

namespace esxisim {
namespace {

const int kReadSeconds = 10;
const size_t kPieceSize = 4095;

const char kClassic[] =
    "The time and date of this login have been sent to the system logs.\n"
    "\n"
    "VMware offers supported, powerful system administration tools.  Please\n"
    "see www.vmware.com/go/sysadmintools for details.\n"
    "\n"
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

const char kWarning[] =
    "WARNING:\n"
    "   All commands run on the ESXi shell are logged and may be included in\n"
    "   support bundles. Do not provide passwords directly on the command line.\n"
    "   Most tools can prompt for secrets or accept them from standard input.\n"
    "\n";

const char kLoginLine[] = "The time and date of this login have been sent to the system logs.\n\n";
const char kOldTools[] =
    "VMware offers supported, powerful system administration tools.  Please\n"
    "see www.vmware.com/go/sysadmintools for details.\n\n";
const char kNewTools[] =
    "VMware offers powerful and supported automation tools. Please\n"
    "see https://developer.vmware.com for details.\n\n";
const char kDisable[] =
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

// What a host of each version shows, written out here rather than read from the profiles.
struct Expected {
    const char* version;
    std::string banner;
    const char* prompt;          // for the host name "esx01"
    const char* version_line;    // "vmware -v"
    size_t trailing_blanks;      // of a row without a note
};

const Expected kExpected[] = {
    {"5.5", kClassic, "~ # ", "VMware ESXi 5.5.0 build-1623387", 14},
    {"6.7", std::string(kLoginLine) + kWarning + kOldTools + kDisable, "[root@esx01:~] ",
     "VMware ESXi 6.7.0 build-10302608", 14},
    {"7.0", std::string(kLoginLine) + kWarning + kOldTools + kDisable, "[root@esx01:~] ",
     "VMware ESXi 7.0.3 build-20328353", 220},
    {"8.0", std::string(kLoginLine) + kWarning + kNewTools + kDisable, "[root@esx01:~] ",
     "VMware ESXi 8.0.3 build-24022510", 220},
};

// Test names and ctest show the version only.
void PrintTo(const Expected& expected, std::ostream* out) { *out << expected.version; }

class VersionProfileTest : public testing::TestWithParam<Expected> {
protected:
    std::string Host(const std::string& rest = "") const {
        return "hostname esx01\nesxi_version " + std::string(GetParam().version) + "\n" + rest;
    }

    ProgramResult Exec(const std::string& state, const std::string& command) {
        dir_.Write("esxi-sim.state", state);
        ProgramRun run;
        run.path = ESXI_SIM_PATH;
        run.args = {"--state", dir_.file("esxi-sim.state"), "-c", command};
        run.timeout_seconds = 20;
        return RunProgram(run);
    }

    const VersionProfile& Profile() const { return *FindProfile(GetParam().version); }

    TempDir dir_;
};

TEST_P(VersionProfileTest, LoginShowsTheVersionsBannerThenItsPrompt) {
    dir_.Write("esxi-sim.state", Host());
    PipedProcess sim;
    ASSERT_TRUE(sim.Start({ESXI_SIM_PATH, "--state", dir_.file("esxi-sim.state")}));
    std::string text;
    EXPECT_TRUE(sim.ReadUntil(GetParam().prompt, kReadSeconds, &text)) << text;
    EXPECT_EQ(GetParam().banner + GetParam().prompt, text);
    sim.Write("hostname\n");
    EXPECT_TRUE(sim.ReadUntil(GetParam().prompt, kReadSeconds, &text)) << text;
    EXPECT_EQ(std::string("esx01\n") + GetParam().prompt, text);
}

TEST_P(VersionProfileTest, VmwareDashVNamesTheProductAndBuild) {
    ProgramResult r = Exec(Host(), "vmware -v");
    EXPECT_EQ(0, r.exit_status);
    EXPECT_EQ(std::string(GetParam().version_line) + "\n", r.out);
    EXPECT_EQ(1, Exec(Host(), "vmware -x").exit_status);
}

TEST_P(VersionProfileTest, HostSummaryNamesTheSameProduct) {
    ProgramResult r = Exec(Host(), "vim-cmd hostsvc/hostsummary | grep fullName");
    EXPECT_EQ("         fullName = \"" + std::string(GetParam().version_line) + "\",\n", r.out);
}

TEST_P(VersionProfileTest, MaintenanceIsRefusedWhileAVmRunsAndEnteredOnceNoneDoes) {
    std::string vms = "vm 1\npower on\nvm 2\npower suspended\n";
    ProgramResult refused = Exec(Host(vms), "vim-cmd hostsvc/maintenance_mode_enter");
    EXPECT_EQ(0u, refused.out.find("(vim.fault.InvalidState) {\n")) << refused.out;
    HostState host;
    std::string error;
    ASSERT_TRUE(StateStore(dir_.file("esxi-sim.state")).Read(&host, &error)) << error;
    EXPECT_FALSE(host.in_maintenance);
    ProgramResult entered = Exec(Host("vm 1\npower suspended\n"), "vim-cmd hostsvc/maintenance_mode_enter");
    EXPECT_EQ("'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-1'\n", entered.out);
}

TEST_P(VersionProfileTest, RowsWithoutANoteEndInTheVersionsRunOfBlanks) {
    std::vector<VmState> vms = ExampleVms(Profile(), 3, PowerState::kOn);
    std::string table = FormatVmTable(vms, Profile().annotation_width);
    size_t row_end = table.find('\n', table.find("\n1 ") + 1);
    size_t hardware_end = table.rfind(vms[0].version, row_end) + vms[0].version.size();
    EXPECT_EQ(std::string(GetParam().trailing_blanks, ' '), table.substr(hardware_end, row_end - hardware_end));
    HostState host;
    host.profile = &Profile();
    host.vms = vms;
    EXPECT_EQ(table, Exec(FormatState(host), "vim-cmd vmsvc/getallvms").out);
}

TEST_P(VersionProfileTest, ExampleVmsCarryBlanksInNamesAndTheVersionsGuests) {
    std::vector<VmState> vms = ExampleVms(Profile(), 5, PowerState::kSuspended);
    ASSERT_EQ(5u, vms.size());
    EXPECT_EQ("5", vms[4].id);
    EXPECT_EQ(vms[0].guest_os, vms[4].guest_os);
    EXPECT_EQ(PowerState::kSuspended, vms[4].power);
    EXPECT_EQ("[datastore1] " + vms[1].name + "/" + vms[1].name + ".vmx", vms[1].file);
    EXPECT_NE(std::string::npos, vms[1].name.find(' '));
}

INSTANTIATE_TEST_SUITE_P(Versions, VersionProfileTest, testing::ValuesIn(kExpected),
                         [](const testing::TestParamInfo<Expected>& info) {
                             std::string name = std::string("Esxi") + info.param.version;
                             name.erase(name.find('.'), 1);
                             return name;
                         });

size_t TableBytes(const char* version, int count) {
    const VersionProfile& profile = *FindProfile(version);
    return FormatVmTable(ExampleVms(profile, count, PowerState::kOn), profile.annotation_width).size();
}

// The session delivers a long reply in pieces of 4095 bytes: on 7.0 and later a dozen VMs fill one.
TEST(VersionProfiles, TablesOfNewerHostsPassOneReadAtAboutADozenVms) {
    for (const char* version : {"7.0", "8.0"}) {
        SCOPED_TRACE(version);
        EXPECT_LE(TableBytes(version, 10), kPieceSize);
        EXPECT_GT(TableBytes(version, 12), kPieceSize);
    }
    EXPECT_LT(TableBytes("5.5", 30), kPieceSize);
    EXPECT_LT(TableBytes("6.7", 30), kPieceSize);
}

TEST(VersionProfiles, NewestHostsListHardwareVersion21AndLongGuestIds) {
    const VersionProfile& profile = *FindProfile("8.0");
    std::string table = FormatVmTable(ExampleVms(profile, 4, PowerState::kOn), profile.annotation_width);
    // The Guest OS column is as wide as windows2019srvNext_64Guest: 4 blanks of padding, 3 between columns.
    EXPECT_NE(std::string::npos, table.find("   windows2019srv_64Guest       vmx-21   ")) << table;
}

TEST(VersionProfiles, EveryVersionIsFoundByItsNameAndOthersAreNot) {
    EXPECT_EQ((std::vector<std::string>{"5.5", "6.7", "7.0", "8.0"}), ProfileVersions());
    for (const std::string& version : ProfileVersions()) EXPECT_EQ(version, FindProfile(version)->version);
    EXPECT_EQ(nullptr, FindProfile("9.0"));
    EXPECT_EQ(nullptr, FindProfile(""));
    EXPECT_STREQ("5.5", DefaultProfile().version);
}

TEST(VersionProfiles, PromptKeyStillChoosesThePromptOverTheVersions) {
    HostState host;
    std::string error;
    ASSERT_TRUE(ParseState("hostname esx01\nesxi_version 8.0\nprompt busybox\n", &host, &error)) << error;
    EXPECT_EQ("~ # ", PromptText(host));
    ASSERT_TRUE(ParseState("hostname esx01\nprompt bracket\n", &host, &error)) << error;
    EXPECT_EQ("[root@esx01:~] ", PromptText(host));
    ASSERT_TRUE(ParseState("hostname esx01\nesxi_version 6.7\n", &host, &error)) << error;
    EXPECT_EQ("[root@esx01:~] ", PromptText(host));
}

}  // namespace
}  // namespace esxisim
