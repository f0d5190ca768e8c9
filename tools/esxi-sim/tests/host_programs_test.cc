// The host's programs called in-process: vmware, hostname and vim-cmd against a state file.
#include "host_programs.h"

#include <gtest/gtest.h>

#include <sstream>

#include "temp_dir.h"

namespace esxisim {
namespace {

class HostProgramsTest : public ::testing::Test {
protected:
    int Run(const std::string& name, const std::vector<std::string>& args) {
        out_.str("");
        return RunHostProgram(name, args, StateStore(dir_.file("state")), out_);
    }

    TempDir dir_;
    std::ostringstream out_;
};

TEST_F(HostProgramsTest, NamesAreTheFourHostPrograms) {
    EXPECT_EQ((std::vector<std::string>{"vim-cmd", "vmware", "hostname", "esxcli"}), HostProgramNames());
    EXPECT_TRUE(IsHostProgram("vim-cmd"));
    EXPECT_TRUE(IsHostProgram("esxcli"));
    EXPECT_FALSE(IsHostProgram("esxi-sim"));
    EXPECT_FALSE(IsHostProgram("esxtop"));
}

TEST_F(HostProgramsTest, VmwareVersionIsTheProfilesAndOtherOptionsGetTheUsage) {
    dir_.Write("state", "esxi_version 8.0\n");
    EXPECT_EQ(0, Run("vmware", {"-v"}));
    EXPECT_EQ("VMware ESXi 8.0.3 build-24022510\n", out_.str());
    EXPECT_EQ(1, Run("vmware", {"-l"}));
    EXPECT_EQ("usage: vmware -v\n", out_.str());
}

TEST_F(HostProgramsTest, HostnameIsTheStateFilesHostname) {
    dir_.Write("state", "hostname esx07\n");
    EXPECT_EQ(0, Run("hostname", {}));
    EXPECT_EQ("esx07\n", out_.str());
}

TEST_F(HostProgramsTest, VimCmdAnswersFromTheStateFile) {
    dir_.Write("state", "vm 4\npower suspended\n");
    EXPECT_EQ(0, Run("vim-cmd", {"vmsvc/power.getstate", "4"}));
    EXPECT_EQ("Retrieved runtime info\nSuspended\n", out_.str());
}

TEST_F(HostProgramsTest, AnotherNameIsNoHostProgram) {
    EXPECT_EQ(127, Run("esxtop", {}));
    EXPECT_EQ("", out_.str());
}

}  // namespace
}  // namespace esxisim
