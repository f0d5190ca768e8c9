// The simulated host's files beside the executable: the bin directory's links and the shell's ENV file.
#include "host_files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "busybox.h"
#include "temp_dir.h"

namespace esxisim {
namespace {

namespace fs = std::filesystem;

class HostFilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        busybox_ = FindBusybox();
        ASSERT_FALSE(busybox_.empty()) << "busybox is not installed";
        dir_.Write("esxi-sim", "not run here");
        program_ = dir_.file("esxi-sim");
    }

    std::vector<std::string> BinEntries() const {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(HostBinDir(program_))) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    TempDir dir_;
    std::string busybox_;
    std::string program_;
};

TEST_F(HostFilesTest, HostProgramsLinkToTheProgramBesideThem) {
    std::string error;
    ASSERT_TRUE(InstallHostFiles(program_, busybox_, &error)) << error;
    EXPECT_EQ(dir_.file("esxi-sim.d/bin"), HostBinDir(program_));
    for (const char* name : {"vim-cmd", "vmware", "hostname", "esxcli"}) {
        fs::path link = fs::path(HostBinDir(program_)) / name;
        ASSERT_TRUE(fs::is_symlink(link)) << link;
        EXPECT_EQ("../../esxi-sim", fs::read_symlink(link).string());
        EXPECT_TRUE(fs::equivalent(link, program_));
    }
}

TEST_F(HostFilesTest, AppletsAreThoseOfTheHostThatBusyboxHasAndNothingElse) {
    std::string error;
    ASSERT_TRUE(InstallHostFiles(program_, busybox_, &error)) << error;
    std::vector<std::string> present;
    ASSERT_TRUE(BusyboxApplets(busybox_, &present, &error)) << error;
    std::vector<std::string> expected = {"esxcli", "hostname", "vim-cmd", "vmware"};
    for (const std::string& applet : HostApplets()) {
        if (std::find(present.begin(), present.end(), applet) != present.end()) expected.push_back(applet);
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, BinEntries());
    EXPECT_EQ(busybox_, fs::read_symlink(fs::path(HostBinDir(program_)) / "grep").string());
    for (const char* absent : {"reboot", "poweroff", "halt", "mount", "wget", "esxtop"}) {
        EXPECT_FALSE(fs::exists(fs::symlink_status(fs::path(HostBinDir(program_)) / absent))) << absent;
    }
}

TEST_F(HostFilesTest, ShellRcDefinesLogoutAndInstallingAgainReplacesEverything) {
    std::string error;
    ASSERT_TRUE(InstallHostFiles(program_, busybox_, &error)) << error;
    dir_.Write("esxi-sim.d/bin/stray", "");
    ASSERT_TRUE(InstallHostFiles(program_, busybox_, &error)) << error;
    EXPECT_FALSE(dir_.Exists("esxi-sim.d/bin/stray"));
    EXPECT_NE(std::string::npos, ReadFile(ShellRcPath(program_)).find("logout() { exit \"$@\"; }\n"));
    struct stat st;
    ASSERT_EQ(0, stat(HostBinDir(program_).c_str(), &st));
    EXPECT_EQ(0755u, st.st_mode & 07777);
}

TEST_F(HostFilesTest, BusyboxThatCannotBeAskedIsAnError) {
    std::string error;
    EXPECT_FALSE(InstallHostFiles(program_, dir_.file("no-busybox"), &error));
    EXPECT_NE(std::string::npos, error.find("no-busybox --list failed")) << error;
}

}  // namespace
}  // namespace esxisim
