// Replacing a file: private mode, the kept backup, symbolic links and paths
// that are not regular files.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <set>
#include <string>

#include "FileReplacement.h"
#include "XmlObject.h"
#include "temp_dir.h"
#include "test_objects.h"
#include "test_paths.h"

using Env::BackupPathOf;
using Env::PathAllowsReading;
using Env::PathAllowsReplacing;
using Env::ReplaceFile;

namespace {

unsigned int ModeOf(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return 0;
    return st.st_mode & 07777;
}

bool IsSymlink(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

std::set<std::string> Names(const TempDir& dir) {
    std::set<std::string> names;
    DIR* d = opendir(dir.path().c_str());
    for (dirent* e = readdir(d); e != nullptr; e = readdir(d))
        if (std::string(e->d_name) != "." && std::string(e->d_name) != "..") names.insert(e->d_name);
    closedir(d);
    return names;
}

// Sets the process's file-creation mask for one scope.
class Umask {
public:
    explicit Umask(mode_t mask) : old_(umask(mask)) {}
    ~Umask() { umask(old_); }

private:
    mode_t old_;
};

}  // namespace

TEST(FileReplacement, NewFileIsPrivateWhateverTheMask) {
    for (mode_t mask : {mode_t(0), mode_t(022), mode_t(0277)}) {
        TempDir dir;
        Umask scoped(mask);
        ASSERT_TRUE(ReplaceFile(dir.file("f.xml"), "new"));
        EXPECT_EQ(0600u, ModeOf(dir.file("f.xml"))) << "umask " << mask;
        EXPECT_EQ("new", dir.Read("f.xml"));
        EXPECT_EQ(std::set<std::string>{"f.xml"}, Names(dir));
    }
}

TEST(FileReplacement, OldFileIsKeptAsPrivateBackupOfOneGeneration) {
    TempDir dir;
    dir.Write("f.xml", "first");
    ASSERT_EQ(0, chmod(dir.file("f.xml").c_str(), 0666));
    ASSERT_TRUE(ReplaceFile(dir.file("f.xml"), "second"));
    EXPECT_EQ("second", dir.Read("f.xml"));
    EXPECT_EQ("first", dir.Read("f.xml.bak"));
    EXPECT_EQ(0600u, ModeOf(dir.file("f.xml.bak")));
    ASSERT_TRUE(ReplaceFile(dir.file("f.xml"), "third"));
    EXPECT_EQ("third", dir.Read("f.xml"));
    EXPECT_EQ("second", dir.Read("f.xml.bak"));
    EXPECT_EQ((std::set<std::string>{"f.xml", "f.xml.bak"}), Names(dir));
}

TEST(FileReplacement, BackupNameIsThePathWithBak) {
    EXPECT_EQ("/var/lib/x.xml.bak", BackupPathOf("/var/lib/x.xml"));
}

TEST(FileReplacement, RelativePathIsReplacedInTheWorkingDirectory) {
    TempDir dir;
    char old[4096];
    ASSERT_NE(nullptr, getcwd(old, sizeof old));
    ASSERT_EQ(0, chdir(dir.path().c_str()));
    bool ok = ReplaceFile("rel.xml", "x");
    ASSERT_EQ(0, chdir(old));
    EXPECT_TRUE(ok);
    EXPECT_EQ("x", dir.Read("rel.xml"));
}

TEST(FileReplacement, SymlinkIsReplacedAndItsTargetLeftAlone) {
    TempDir dir;
    dir.Write("target", "precious");
    ASSERT_EQ(0, symlink(dir.file("target").c_str(), dir.file("f.xml").c_str()));
    ASSERT_TRUE(PathAllowsReplacing(dir.file("f.xml")));
    ASSERT_TRUE(ReplaceFile(dir.file("f.xml"), "new"));
    EXPECT_FALSE(IsSymlink(dir.file("f.xml")));
    EXPECT_EQ("new", dir.Read("f.xml"));
    EXPECT_EQ("precious", dir.Read("target"));
    EXPECT_FALSE(dir.Exists("f.xml.bak"));
}

TEST(FileReplacement, FifoIsRefusedAtOnceForWritingAndReading) {
    TempDir dir;
    ASSERT_EQ(0, mkfifo(dir.file("f.xml").c_str(), 0600));
    time_t start = time(nullptr);
    EXPECT_FALSE(PathAllowsReplacing(dir.file("f.xml")));
    EXPECT_FALSE(PathAllowsReading(dir.file("f.xml")));
    EXPECT_FALSE(ReplaceFile(dir.file("f.xml"), "new"));
    EXPECT_EQ(nullptr, Env::XmlDoc::Open(PathIn(dir, "f.xml")));
    EXPECT_LE(time(nullptr) - start, 1);
    struct stat st;
    ASSERT_EQ(0, lstat(dir.file("f.xml").c_str(), &st));
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    EXPECT_EQ(std::set<std::string>{"f.xml"}, Names(dir));
}

TEST(FileReplacement, DirectoryAndDeviceAreRefused) {
    TempDir dir;
    ASSERT_EQ(0, mkdir(dir.file("d.xml").c_str(), 0700));
    EXPECT_FALSE(ReplaceFile(dir.file("d.xml"), "new"));
    EXPECT_FALSE(PathAllowsReading(dir.file("d.xml")));
    EXPECT_FALSE(PathAllowsReplacing("/dev/null"));
    EXPECT_FALSE(PathAllowsReading("/dev/null"));
}

TEST(FileReplacement, ReadingFollowsSymlinksToTheirKind) {
    TempDir dir;
    dir.Write("plain", "x");
    ASSERT_EQ(0, mkfifo(dir.file("fifo").c_str(), 0600));
    ASSERT_EQ(0, symlink(dir.file("plain").c_str(), dir.file("to-plain").c_str()));
    ASSERT_EQ(0, symlink(dir.file("fifo").c_str(), dir.file("to-fifo").c_str()));
    EXPECT_TRUE(PathAllowsReading(dir.file("to-plain")));
    EXPECT_FALSE(PathAllowsReading(dir.file("to-fifo")));
    EXPECT_TRUE(PathAllowsReading(dir.file("missing")));
    EXPECT_TRUE(PathAllowsReplacing(dir.file("missing")));
}

TEST(FileReplacement, MissingDirectoryFailsAndCreatesNothing) {
    TempDir dir;
    EXPECT_FALSE(ReplaceFile(dir.file("no/f.xml"), "new"));
    EXPECT_TRUE(Names(dir).empty());
}

// The check made before anything else: a scratch file comes and goes, and what is there stays as it was.
TEST(FileReplacement, DirectoryThatTakesNewFilesIsFoundSoAndLeftAsItWas) {
    TempDir dir;
    dir.Write("f.xml", "old");
    EXPECT_TRUE(Env::DirectoryTakesNewFile(dir.file("f.xml")));
    EXPECT_TRUE(Env::DirectoryTakesNewFile(dir.file("new.xml")));
    EXPECT_EQ(std::set<std::string>{"f.xml"}, Names(dir));
    EXPECT_EQ("old", dir.Read("f.xml"));
}

TEST(FileReplacement, MissingDirectoryOrAFileForADirectoryTakesNoNewFile) {
    TempDir dir;
    dir.Write("plain", "x");
    EXPECT_FALSE(Env::DirectoryTakesNewFile(dir.file("no/f.xml")));
    EXPECT_FALSE(Env::DirectoryTakesNewFile(dir.file("plain/f.xml")));
    EXPECT_EQ(std::set<std::string>{"plain"}, Names(dir));
}

// The object mapping's Save goes through the same replacement.
TEST(FileReplacement, ObjectSaveIsPrivateAndKeepsTheBackup) {
    TempDir dir;
    Umask scoped(0);
    EnvTest::TestHost host;
    host.SetHost("one");
    ASSERT_TRUE(host.Save(PathIn(dir, "h.xml")));
    std::string first = dir.Read("h.xml");
    host.SetHost("two");
    ASSERT_TRUE(host.Save(PathIn(dir, "h.xml")));
    EXPECT_EQ(first, dir.Read("h.xml.bak"));
    EXPECT_NE(first, dir.Read("h.xml"));
    EXPECT_EQ(0600u, ModeOf(dir.file("h.xml")));
    EXPECT_EQ(0600u, ModeOf(dir.file("h.xml.bak")));
}
