// List-file faults through the real plink against the simulated host (tests/support/real_client_fixture.h):
// a directory that cannot take the new file, a damaged or crafted file, and a second suspend_vms.
#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

#include "real_client_fixture.h"

namespace {

const char kLogin[] = "Accepted password for ";

// A tmpfs of `size` at `dir`, seen only by this test process and its children (a mount namespace of
// its own, which ends with the process); unmounted again on scope exit.
class PrivateTmpfs {
public:
    PrivateTmpfs(const std::string& dir, const std::string& size) : dir_(dir) {
        ok_ = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
              mkdir(dir.c_str(), 0700) == 0 &&
              mount("tmpfs", dir.c_str(), "tmpfs", 0, ("size=" + size + ",mode=0700").c_str()) == 0;
    }
    ~PrivateTmpfs() { umount2(dir_.c_str(), MNT_DETACH); }
    bool ok() const { return ok_; }
    bool MakeReadOnly() const {
        return mount(nullptr, dir_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

private:
    std::string dir_;
    bool ok_ = false;
};

unsigned int ModeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

class ListFileFaults : public RealClient {
protected:
    bool LoggedIn() const { return sshd_.ReadSshdLog().find(kLogin) != std::string::npos; }

    // suspend_vms into `dir`, which holds the old list file. A read-only directory is found out before
    // the client starts: the host is left as it is and plink never starts. A full one takes a new empty
    // file, so only the save at the end fails: the host enters maintenance all the same (a host without
    // VMs keeps the run short). Either way the old file stays.
    void SuspendKeepsTheOldFile(const PrivateTmpfs& dir, bool read_only) {
        std::string path = work_.file("lists/esxi_vms.xml");
        ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
        SetHost(Host("no", 1));
        ASSERT_TRUE(dir.ok()) << "cannot mount a tmpfs";
        WriteFileAt(path, "old record\n");
        if (read_only) {
            ASSERT_TRUE(dir.MakeReadOnly());
        }
        ProgramResult r = Run("suspend_vms", {"ListFile=" + path});
        EXPECT_EQ(2, r.exit_status) << Explain(r);
        // The run that gets to the host first reads the old file for marks to keep: it is no list file.
        std::string failed_save = read_only ? "" : "hh:mm:ss: Load: can't open xml document object\n"
                                                   "hh:mm:ss: Save: can't write xml file\n";
        EXPECT_EQ(std::string(kBanner) + failed_save + "hh:mm:ss: main: can't write esxi server structure to xml\n",
                  r.out);
        EXPECT_EQ(read_only ? Host("no", 1) : Host("yes", 2), HostNow());
        EXPECT_EQ(read_only ? 0 : 1, remote_.PlinkStarts());
        EXPECT_EQ(!read_only, LoggedIn()) << sshd_.ReadSshdLog();
        EXPECT_EQ("old record\n", ReadFile(path));
        EXPECT_FALSE(Exists(path + ".bak"));
    }

    static void WriteFileAt(const std::string& path, const std::string& text) {
        std::ofstream out(path, std::ios::binary);
        out << text;
        out.close();
        ASSERT_TRUE(out.good()) << path;
    }

    // reboot_vms on the list file `text`: refused (status 2) before plink is started.
    void RebootSendsNothing(const std::string& text) {
        ASSERT_TRUE(remote_.CountPlinkStarts()) << remote_.error();
        SetHost(kHostAfterSuspend);
        work_.Write(kListFile, text);
        ProgramResult r = Run("reboot_vms");
        EXPECT_EQ(2, r.exit_status) << Explain(r);
        EXPECT_NE(std::string::npos, r.out.find("hh:mm:ss: main: can't read esxi server structure from xml\n"))
            << r.out;
        EXPECT_EQ(kHostAfterSuspend, HostNow());
        EXPECT_FALSE(LoggedIn()) << sshd_.ReadSshdLog();
        EXPECT_EQ(0, remote_.PlinkStarts());
        EXPECT_EQ(text, ListNow());
    }
};

TEST_F(ListFileFaults, SuspendIntoAReadOnlyDirectoryIs2BeforePlinkStartsAndKeepsTheOldFile) {
    PrivateTmpfs dir(work_.file("lists"), "64k");
    SuspendKeepsTheOldFile(dir, true);
}

TEST_F(ListFileFaults, SuspendIntoAFullDirectoryIs2AndKeepsTheOldFile) {
    PrivateTmpfs dir(work_.file("lists"), "4k");  // one page: the old file fills it
    SuspendKeepsTheOldFile(dir, false);
}

TEST_F(ListFileFaults, TruncatedOrCorruptListFileSendsNothing) {
    std::string whole = SuspendedList();
    RebootSendsNothing(whole.substr(0, whole.size() / 2));
    RebootSendsNothing("\x01\xff<esxiserver");
}

TEST_F(ListFileFaults, CraftedIdMarkedToRebootSendsNothing) {
    std::string marker = work_.file("touched");
    RebootSendsNothing(ListFile("true", "true", Row("5;touch " + marker, "web01", "Suspended", "to reboot")));
    EXPECT_FALSE(Exists(marker));
}

// The first run's record (as suspend_vms wrote it, but readable by all, as earlier versions left it);
// the second run finds the host in maintenance and keeps the first run's marks. The first record stays in
// the backup, and both files are now private.
TEST_F(ListFileFaults, SecondSuspendKeepsTheFirstRecordInTheBackup) {
    SetHost(kHostAfterSuspend);
    work_.Write(kListFile, SuspendedList());
    ASSERT_EQ(0, chmod(work_.file(kListFile).c_str(), 0666));
    ProgramResult r = Run("suspend_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(LoggedIn()) << sshd_.ReadSshdLog();
    EXPECT_EQ(SuspendedList(), ListNow());
    EXPECT_EQ(SuspendedList(), work_.Read(std::string(kListFile) + ".bak"));
    EXPECT_EQ(0600u, ModeOf(work_.file(kListFile)));
    EXPECT_EQ(0600u, ModeOf(work_.file(kListFile) + ".bak"));
}

}  // namespace
