// plink's private home: what it sets up, and a real plink login through the sshd fixture while root's own
// plink configuration holds another key for 127.0.0.1 port 22.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "plink_home.h"
#include "shadowed_root_home.h"
#include "sshd_fixture.h"
#include "sshd_fixture_process.h"
#include "temp_dir.h"

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kHostKeyQuestion[] = "Store key in cache? (y/n, Return cancels connection, i for more info) ";
const char kKeyMismatch[] = "WARNING - POTENTIAL SECURITY BREACH!";
const char kShell[] = "#!/bin/sh\necho \"logged in as $(id -un)\"\nprintf '~ # '\nread -r line\n";
const int kReadSeconds = 20;

bool IsPrivateDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & 0777) == 0700;
}

TEST(PlinkHome, CreatesTheHomeAndTheSettingsDirectoriesBeforePlinkRuns) {
    TempDir dir;
    std::string home = dir.file("client-home");
    ASSERT_TRUE(CreatePlinkHome(home));
    EXPECT_TRUE(IsPrivateDirectory(home));
    EXPECT_TRUE(IsPrivateDirectory(home + "/.putty"));
    EXPECT_TRUE(IsPrivateDirectory(home + "/.config"));
    EXPECT_EQ(home + "/.putty/sshhostkeys", PlinkHostKeys(home));
    EXPECT_TRUE(CreatePlinkHome(home));
    EXPECT_FALSE(CreatePlinkHome(dir.file("missing/client-home")));
}

TEST(PlinkHome, EnvironmentPointsEveryLookupIntoTheHome) {
    std::vector<std::string> expected = {"HOME=/h", "PUTTYDIR=/h/.putty", "XDG_CONFIG_HOME=/h/.config",
                                         "KRB5CCNAME=FILE:/h/krb5cc"};
    EXPECT_EQ(expected, PlinkEnvironment("/h"));
    UsePlinkEnvironment("/h");
    EXPECT_STREQ("/h", getenv("HOME"));
    EXPECT_STREQ("/h/.putty", getenv("PUTTYDIR"));
    EXPECT_STREQ("/h/.config", getenv("XDG_CONFIG_HOME"));
    EXPECT_STREQ("FILE:/h/krb5cc", getenv("KRB5CCNAME"));
}

class ForeignRootCacheTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(root_.Plant()) << root_.error();
        shell_.Write("shell", kShell);
        ASSERT_TRUE(sshd_.Start(shell_.file("shell"))) << sshd_.error();
    }

    // plink's first words after connecting, up to its host-key question (or all it said, on time-out).
    std::string FirstContact(PipedProcess* plink, const std::vector<std::string>& env) {
        EXPECT_TRUE(plink->Start(sshd_.InNamespace({kPlink, "-ssh", sshd_.user() + "@127.0.0.1"}), env));
        std::string text;
        plink->ReadUntil("(y/n", kReadSeconds, &text);
        return text;
    }

    ShadowedRootHome root_;  // undone last: the fixture's clean-up runs in the same mount namespace
    TempDir shell_;
    SshdFixture sshd_;
};

// Without it, plink finds root's cache: what the private home is there to prevent.
TEST_F(ForeignRootCacheTest, PlinkWithOnlyAFreshHomeMeetsRootsCachedKey) {
    TempDir bare;
    PipedProcess plink;
    std::string text = FirstContact(&plink, {"HOME=" + bare.path()});
    EXPECT_NE(std::string::npos, text.find(kKeyMismatch)) << text;
    EXPECT_EQ(std::string::npos, text.find("The host key is not cached for this server")) << text;
}

TEST_F(ForeignRootCacheTest, RealPlinkLogsInThroughTheFixtureAndLeavesRootsFilesAlone) {
    PipedProcess plink;
    std::string text = FirstContact(&plink, sshd_.client_env());
    EXPECT_NE(std::string::npos, text.find("The host key is not cached for this server:\n")) << text;
    EXPECT_EQ(std::string::npos, text.find(kKeyMismatch)) << text;
    plink.Write("y\n");
    ASSERT_TRUE(plink.ReadUntil("password: ", kReadSeconds, &text)) << text;
    plink.Write(sshd_.password() + "\n");
    ASSERT_TRUE(plink.ReadUntil("~ # ", kReadSeconds, &text)) << text << sshd_.ReadSshdLog();
    EXPECT_NE(std::string::npos, text.find("logged in as " + sshd_.user()));
    plink.Write("exit\n");
    EXPECT_EQ(0, plink.Wait(kReadSeconds));
    std::string cached = ReadFile(sshd_.host_key_cache());
    EXPECT_EQ(0u, cached.find("ssh-ed25519@22:127.0.0.1 0x"));
    EXPECT_NE(kForeignHostKeyLine, cached);
    EXPECT_EQ(root_.planted(), root_.Files());
}

}  // namespace
