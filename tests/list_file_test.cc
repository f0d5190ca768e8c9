// The VmNap executable with the scripted stand-in client as ./plink: list files the tool must not take,
// and list-file paths that are not regular files.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "esxi_script.h"
#include "fake_plink_dir.h"
#include "run_program.h"

namespace {

const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";
const char kCantRead[] = "hh:mm:ss: main: can't read esxi server structure from xml\n";
const char kCantWrite[] = "hh:mm:ss: main: can't write esxi server structure to xml\n";
const char kNotTaken[] = "hh:mm:ss: Load: from xml function failed\n";

std::string ListWith(const std::string& inside_vms) {
    return "<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.1\" maintenancemode=\"true\" "
           "reboot=\"true\"><vms>" +
           inside_vms + "</vms></esxiserver>\n";
}

class ListFileRefusal : public testing::Test {
protected:
    // A host that would answer the login and every reboot step, so that nothing but the tool's own
    // refusal keeps the commands from being sent.
    ProgramResult Run(const std::string& mode) {
        EsxiScript script = EsxiScript::LoggedIn("root", "secret", true);
        dir_.WriteScript(script.Wait().lines());
        ProgramRun run = dir_.ToolRun(VMNAP_EXE, mode);
        run.timeout_seconds = 30;
        ProgramResult r = RunProgram(run);
        r.out = NormalizeStamps(r.out);
        return r;
    }
    std::string Path() const { return dir_.dir().file("esxi_vms.xml"); }

    FakePlinkDir dir_;
};

// Found by fuzzing the loader: a host element inside <vms> was built as a VM and shared the parser of
// its parent, which both destroyed (SIGSEGV, or a hang while the host answered).
TEST_F(ListFileRefusal, HostElementInsideVmsIsUnreadable) {
    dir_.dir().Write("esxi_vms.xml", ListWith("<esxiserver host=\"x\"></esxiserver>"));
    ProgramResult r = Run("reboot_vms");
    EXPECT_EQ(2, r.exit_status) << r.out << r.err;
    EXPECT_EQ(std::string(kBanner) + kNotTaken + kCantRead, r.out);
    EXPECT_EQ("", dir_.Received());
}

// Found by fuzzing the loader: a list inside <vms> was taken for a VM (an invalid downcast).
TEST_F(ListFileRefusal, ListElementInsideVmsIsUnreadable) {
    dir_.dir().Write("esxi_vms.xml", ListWith("<xmlobjectlist/>"));
    ProgramResult r = Run("reboot_vms");
    EXPECT_EQ(2, r.exit_status) << r.out << r.err;
    EXPECT_EQ(std::string(kBanner) + kNotTaken + kCantRead, r.out);
    EXPECT_EQ("", dir_.Received());
}

TEST_F(ListFileRefusal, VmToRebootWithACraftedIdIsUnreadable) {
    dir_.dir().Write("esxi_vms.xml", ListWith("<virtualmachineserver id=\"5;touch /tmp/x\" "
                                              "rebootstatus=\"to reboot\" timeout=\"300\">"
                                              "</virtualmachineserver>"));
    ProgramResult r = Run("reboot_vms");
    EXPECT_EQ(2, r.exit_status) << r.out << r.err;
    EXPECT_EQ(std::string(kBanner) + kNotTaken + kCantRead, r.out);
    EXPECT_EQ("", dir_.Received());
}

TEST_F(ListFileRefusal, FifoIsRefusedBeforeTheClientStartsInBothModes) {
    ASSERT_EQ(0, mkfifo(Path().c_str(), 0600));
    ProgramResult reboot = Run("reboot_vms");
    EXPECT_EQ(2, reboot.exit_status) << reboot.out << reboot.err;
    EXPECT_EQ(std::string(kBanner) + kCantRead, reboot.out);
    ProgramResult suspend = Run("suspend_vms");
    EXPECT_EQ(2, suspend.exit_status) << suspend.out << suspend.err;
    EXPECT_EQ(std::string(kBanner) + kCantWrite, suspend.out);
    EXPECT_EQ(0, dir_.Pid());
    struct stat st;
    ASSERT_EQ(0, lstat(Path().c_str(), &st));
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
}

TEST_F(ListFileRefusal, DirectoryIsRefusedBeforeTheClientStarts) {
    ASSERT_EQ(0, mkdir(Path().c_str(), 0700));
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(2, r.exit_status) << r.out << r.err;
    EXPECT_EQ(std::string(kBanner) + kCantWrite, r.out);
    EXPECT_EQ(0, dir_.Pid());
}

// reboot_vms reads through a symbolic link: a link to a FIFO is refused like the FIFO.
TEST_F(ListFileRefusal, LinkToAFifoIsRefusedForReading) {
    ASSERT_EQ(0, mkfifo(dir_.dir().file("fifo").c_str(), 0600));
    ASSERT_EQ(0, symlink("fifo", Path().c_str()));
    ProgramResult r = Run("reboot_vms");
    EXPECT_EQ(2, r.exit_status) << r.out << r.err;
    EXPECT_EQ(std::string(kBanner) + kCantRead, r.out);
    EXPECT_EQ(0, dir_.Pid());
}

}  // namespace
