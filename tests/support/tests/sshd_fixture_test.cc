// The sshd fixture against the real /usr/bin/plink: login over pipes, host-key cache, clean-up.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "plink_texts.h"
#include "sshd_fixture.h"
#include "sshd_fixture_process.h"
#include "temp_dir.h"

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kPrompt[] = "~ # ";
const char kHostKeyQuestion[] = "Store key in cache? (y/n, Return cancels connection, i for more info) ";
const char kHostKeyUpdateQuestion[] = "Update cached key? (y/n, Return cancels connection, i for more info) ";
const int kReadSeconds = 20;

// A login shell that says who it is, then answers each line with "got:LINE" and a prompt.
const char kTinyShell[] =
    "#!/bin/sh\n"
    "echo \"tiny shell pid $$ probe ${VMNAP_PROBE}\"\n"
    "printf '~ # '\n"
    "while IFS= read -r line; do\n"
    "  [ \"$line\" = exit ] && exit 0\n"
    "  printf 'got:%s\\n~ # ' \"$line\"\n"
    "done\n";

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

// True while `pid` exists and is not a zombie waiting for its (new) parent to reap it.
bool ProcessRuns(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    size_t end_of_name = text.rfind(')');
    return pid > 0 && end_of_name != std::string::npos && text.compare(end_of_name, 3, ") Z") != 0;
}

bool ConnectsToLoopback22() {
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(22);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool connected = connect(sock, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) == 0;
    close(sock);
    return connected;
}

class SshdFixtureTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        shell_source_.Write("tiny-shell", kTinyShell);
    }

    void StartServer() { ASSERT_TRUE(sshd_.Start(shell_source_.file("tiny-shell"))) << sshd_.error(); }

    void StartPlink(PipedProcess* plink) {
        ASSERT_TRUE(plink->Start(sshd_.InNamespace({kPlink, "-ssh", sshd_.user() + "@127.0.0.1"}),
                                 sshd_.client_env()));
    }

    std::string Read(PipedProcess* plink, const std::string& marker) {
        std::string text;
        EXPECT_TRUE(plink->ReadUntil(marker, kReadSeconds, &text))
            << "waited for \"" << marker << "\", got \"" << text << "\"\nsshd: " << sshd_.ReadSshdLog();
        return text;
    }

    std::string PasswordPromptText() {
        return "Using username \"" + sshd_.user() + "\".\r\n" + sshd_.user() + "@127.0.0.1's password: ";
    }

    // Host key (first contact only), password; returns what came after the password up to the prompt.
    std::string LogIn(PipedProcess* plink, bool first_contact) {
        if (first_contact) {
            Read(plink, kHostKeyQuestion);
            plink->Write("y\n");
        }
        EXPECT_EQ(PasswordPromptText(), Read(plink, "password: "));
        plink->Write(sshd_.password() + "\n");
        return Read(plink, kPrompt);
    }

    TempDir shell_source_;
    SshdFixture sshd_;
};

TEST_F(SshdFixtureTest, CreatesAccountNamespaceAndServer) {
    StartServer();
    struct passwd* account = getpwnam(sshd_.user().c_str());
    ASSERT_NE(nullptr, account);
    EXPECT_EQ(sshd_.shell_path(), account->pw_shell);
    EXPECT_EQ(sshd_.user_home(), account->pw_dir);
    EXPECT_TRUE(Exists("/run/netns/" + sshd_.netns()));
    EXPECT_TRUE(ProcessRuns(sshd_.sshd_pid()));
    EXPECT_EQ(0, access(sshd_.shell_path().c_str(), X_OK));
}

// The shell's companion directory comes along: links relative to the shell point at the installed copy,
// and the account can use but not change what is in it.
TEST_F(SshdFixtureTest, CompanionDirectoryOfTheShellIsCopiedWithItsLinks) {
    std::filesystem::create_directories(shell_source_.file("tiny-shell.d/bin"));
    shell_source_.Write("tiny-shell.d/rc", "settings\n");
    ASSERT_EQ(0, symlink("../../tiny-shell", shell_source_.file("tiny-shell.d/bin/me").c_str()));
    StartServer();
    std::string copy = sshd_.shell_path() + ".d";
    EXPECT_EQ("settings\n", ReadFile(copy + "/rc"));
    ASSERT_TRUE(std::filesystem::is_symlink(copy + "/bin/me"));
    EXPECT_TRUE(std::filesystem::equivalent(copy + "/bin/me", sshd_.shell_path()));
    struct stat st;
    ASSERT_EQ(0, stat((copy + "/bin").c_str(), &st));
    EXPECT_EQ(0u, st.st_uid);
    EXPECT_EQ(0u, st.st_mode & 022);
}

TEST_F(SshdFixtureTest, EnterNamespaceReachesTheServerFromThisProcess) {
    StartServer();
    ASSERT_TRUE(sshd_.EnterNamespace()) << sshd_.error();
    EXPECT_TRUE(ConnectsToLoopback22());
    struct stat mine, theirs;
    ASSERT_EQ(0, stat("/proc/thread-self/ns/net", &mine));
    ASSERT_EQ(0, stat(("/run/netns/" + sshd_.netns()).c_str(), &theirs));
    EXPECT_EQ(theirs.st_ino, mine.st_ino);
    EXPECT_TRUE(sshd_.LeaveNamespace());
    ASSERT_EQ(0, stat("/proc/thread-self/ns/net", &mine));
    EXPECT_NE(theirs.st_ino, mine.st_ino);
}

TEST_F(SshdFixtureTest, RealPlinkLogsInOverPipesWithCrLfAndEcho) {
    StartServer();
    PipedProcess plink;
    StartPlink(&plink);
    std::string question = Read(&plink, kHostKeyQuestion);
    EXPECT_NE(std::string::npos, question.find("The host key is not cached for this server:\n"));
    EXPECT_NE(std::string::npos, question.find("127.0.0.1 (port 22)"));
    EXPECT_NE(std::string::npos, question.find("ssh-ed25519 key fingerprint is:\n"));
    plink.Write("y\n");
    EXPECT_EQ(PasswordPromptText(), Read(&plink, "password: "));
    plink.Write(sshd_.password() + "\n");
    std::string greeting = Read(&plink, kPrompt);
    EXPECT_EQ(0u, greeting.find("\ntiny shell pid "));
    EXPECT_EQ(" probe \r\n~ # ", greeting.substr(greeting.find(" probe")));
    plink.Write("vim-cmd\n");
    EXPECT_EQ("vim-cmd\r\ngot:vim-cmd\r\n~ # ", Read(&plink, kPrompt));
    plink.Write("exit\n");
    EXPECT_EQ(0, plink.Wait(kReadSeconds));
}

TEST_F(SshdFixtureTest, SecondLoginFindsTheHostKeyInThePrivateCache) {
    StartServer();
    PipedProcess first;
    StartPlink(&first);
    LogIn(&first, true);
    first.Write("exit\n");
    EXPECT_EQ(0, first.Wait(kReadSeconds));
    EXPECT_TRUE(Exists(sshd_.host_key_cache()));
    PipedProcess second;
    StartPlink(&second);
    EXPECT_NE(std::string::npos, LogIn(&second, false).find("tiny shell pid"));
}

TEST_F(SshdFixtureTest, WrongPasswordBringsASecondPrompt) {
    StartServer();
    PipedProcess plink;
    StartPlink(&plink);
    Read(&plink, kHostKeyQuestion);
    plink.Write("y\n");
    Read(&plink, "password: ");
    plink.Write("not-the-password\n");
    std::string again = Read(&plink, "password: ");
    EXPECT_NE(std::string::npos, again.find("Access denied"));
    EXPECT_NE(std::string::npos, again.find(sshd_.user() + "@127.0.0.1's password: "));
}

TEST_F(SshdFixtureTest, SessionEnvironmentReachesTheLoginShell) {
    sshd_.AddSessionEnv("VMNAP_PROBE=forty-two");
    StartServer();
    PipedProcess plink;
    StartPlink(&plink);
    EXPECT_NE(std::string::npos, LogIn(&plink, true).find("probe forty-two\r\n"));
}

TEST_F(SshdFixtureTest, FurtherListenAddressesEachGiveTheirOwnSessionEnvironment) {
    sshd_.AddListenAddress("127.0.0.2", {"VMNAP_PROBE=second"});
    sshd_.AddListenAddress("127.0.0.3", {"VMNAP_PROBE=third"});
    StartServer();
    for (std::string address : {"127.0.0.3", "127.0.0.2", "127.0.0.1"}) {
        PipedProcess plink;
        ASSERT_TRUE(plink.Start(sshd_.InNamespace({kPlink, "-ssh", sshd_.user() + "@" + address}),
                                {"HOME=" + sshd_.client_home()}));
        Read(&plink, kHostKeyQuestion);
        plink.Write("y\n");
        EXPECT_NE(std::string::npos, Read(&plink, "password: ").find(sshd_.user() + "@" + address));
        plink.Write(sshd_.password() + "\n");
        std::string probe = address == "127.0.0.3" ? "third" : address == "127.0.0.2" ? "second" : "";
        EXPECT_NE(std::string::npos, Read(&plink, kPrompt).find(" probe " + probe + "\r\n")) << address;
        plink.Write("exit\n");
        EXPECT_EQ(0, plink.Wait(kReadSeconds));
    }
}

TEST_F(SshdFixtureTest, StopEndsSessionsAndRemovesEverything) {
    StartServer();
    PipedProcess plink;
    StartPlink(&plink);
    std::string greeting = LogIn(&plink, true);
    pid_t shell = static_cast<pid_t>(std::stoi(greeting.substr(greeting.find("pid ") + 4)));
    pid_t server = sshd_.sshd_pid();
    std::string user = sshd_.user(), netns = sshd_.netns(), home = sshd_.client_home();
    ASSERT_TRUE(ProcessRuns(shell));
    sshd_.Stop();
    EXPECT_FALSE(ProcessRuns(shell));
    EXPECT_FALSE(ProcessRuns(server));
    EXPECT_EQ(nullptr, getpwnam(user.c_str()));
    EXPECT_FALSE(Exists("/run/netns/" + netns));
    EXPECT_FALSE(Exists(home));
    EXPECT_NE(-1, plink.Wait(kReadSeconds));
}

// plink 0.78 on a server whose key changed after the first login: the warning it prints on a pipe, line
// by line, and Return (an empty line) abandons the connection before any password is asked for.
TEST_F(SshdFixtureTest, ReplacedHostKeyBringsPlinksBreachWarningAndReturnCancels) {
    StartServer();
    PipedProcess first;
    StartPlink(&first);
    LogIn(&first, true);
    first.Write("exit\n");
    EXPECT_EQ(0, first.Wait(kReadSeconds));
    std::string cache = ReadFile(sshd_.client_home() + "/.putty/sshhostkeys");
    ASSERT_TRUE(sshd_.ReplaceHostKey()) << sshd_.error();

    PipedProcess second;
    StartPlink(&second);
    std::string warning = Read(&second, kHostKeyUpdateQuestion);
    EXPECT_EQ(WithoutFingerprints(kPlinkChangedKeyWarning), WithoutFingerprints(warning));
    EXPECT_EQ(std::string::npos, warning.find("rE9v5woZzqRME7JoJ8lUA6THB1WRATVuScwdDLy9WA4"));
    second.Write("\n");
    EXPECT_EQ(kPlinkConnectionAbandoned, second.ReadFor(3));
    EXPECT_NE(-1, second.Wait(kReadSeconds));
    EXPECT_EQ(cache, ReadFile(sshd_.client_home() + "/.putty/sshhostkeys"));
    EXPECT_TRUE(sshd_.WaitForSshdLog("[preauth]", kReadSeconds));
    std::string log = sshd_.ReadSshdLog();
    // The first login's password is in the log; the second connection ended before authentication.
    EXPECT_EQ(1u, Count(log, "password for ")) << log;
    EXPECT_EQ(1u, Count(log, "Accepted password for " + sshd_.user() + " ")) << log;
    EXPECT_EQ(1u, Count(log, "[preauth]")) << log;
}

TEST_F(SshdFixtureTest, FailedStartSaysWhyAndLeavesNothingBehind) {
    EXPECT_FALSE(sshd_.Start(shell_source_.file("no-such-shell")));
    EXPECT_NE(std::string::npos, sshd_.error().find("no-such-shell"));
    std::string home = sshd_.client_home();
    sshd_.Stop();
    EXPECT_EQ(nullptr, getpwnam(sshd_.user().c_str()));
    EXPECT_FALSE(Exists("/run/netns/" + sshd_.netns()));
    EXPECT_FALSE(Exists(home.substr(0, home.rfind('/'))));
}

}  // namespace
