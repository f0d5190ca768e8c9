// Construction, state mapping, client start and the descriptors a session borrows.
#include "SshSession.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>

#include "descriptors.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "run_program.h"
#include "session_probe.h"

namespace {

int CountLines(const std::string& text, const std::string& line) {
    std::string normal = NormalizeStamps(text);
    int n = 0;
    for (size_t pos = normal.find(line); pos != std::string::npos; pos = normal.find(line, pos + 1)) ++n;
    return n;
}

TEST(SshSessionBasics, StartsEmptyWithDefaults) {
    SessionProbe s;
    EXPECT_EQ(EXEC_INIT, s.GetState());
    EXPECT_EQ(1000, s.GetTimeout());
    EXPECT_EQ(0, s.ProcessId());
    EXPECT_EQ("", s.Command());
    EXPECT_EQ("", s.Response());
    for (int fd : s.Descriptors()) EXPECT_EQ(-1, fd);
}

TEST(SshSessionBasics, TimeoutAndStateAccessors) {
    Ssh::SshSession s;
    s.SetTimeout(5);
    s.SetState(EXEC_REMOTE);
    EXPECT_EQ(5, s.GetTimeout());
    EXPECT_EQ(EXEC_REMOTE, s.GetState());
}

TEST(SshSessionBasics, StateToSshcodeMapsEveryState) {
    const std::map<ExecState, SshCodes> expected = {
        {EXEC_INIT, SSH_CLIENT_ERR},
        {EXEC_STARTING, SSH_CLIENT_ERR},
        {EXEC_CONNECTING, SSH_CANNOT_CONNECT_ERR},
        {EXEC_KEY_EXCHANGE, SSH_AUTH_ERR},
        {EXEC_LOGIN, SSH_AUTH_ERR},
        {EXEC_REMOTE, SSH_REMOTE_PARSER_ERR},
        {EXEC_REQUEST, SSH_VERIFY_ERR},
        {EXEC_RESPONSE, SSH_VERIFY_ERR},
        {EXEC_REMOTE_FINISH, SSH_VERIFY_ERR},
        {EXEC_QUIT, SSH_VERIFY_ERR},
        {EXEC_TERMINATE, SSH_VERIFY_ERR},
        {EXEC_TERMINATED, SSH_REMOTE_PARSER_ERR},
        {EXEC_CANCELED_BY_TIMEOUT, SSH_REMOTE_TIMEOUT_ERR},
    };
    Ssh::SshSession s;
    for (const auto& entry : expected) {
        s.SetState(entry.first);
        EXPECT_EQ(entry.second, s.StateToSshcode(SSH_VERIFY_ERR)) << entry.first;
    }
}

TEST(SshSessionBasics, InitPreparesTheSocketLayer) {
    Ssh::SshSession s;
    StartDebugCapture();
    EXPECT_EQ(SSH_SUCCESS, s.Init());
    EXPECT_NE(std::string::npos, StopCapture().find("trace> Socket initialization ... Done\n"));
}

TEST(SshSessionBasics, DestructorCleansUpTheSocketLayer) {
    auto s = std::make_unique<Ssh::SshSession>();
    StartDebugCapture();
    s.reset();
    EXPECT_NE(std::string::npos, StopCapture().find("trace> Socket cleanup ... Done\n"));
}

TEST(SshSessionCommand, PathIsTheWorkingDirectoryAndArgumentsStartWithASpace) {
    FakePlinkDir dir;
    dir.Enter();
    SessionProbe s;
    EXPECT_EQ(SSH_SUCCESS, s.GetRunSshCommand("10.0.0.5", "root"));
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof(cwd)));
    EXPECT_EQ(std::string(cwd) + "/plink", s.Path());
    EXPECT_EQ(" -ssh root@10.0.0.5", s.Args());
}

TEST(SshSessionCommand, MissingClientIsNotFound) {
    FakePlinkDir dir;
    ASSERT_EQ(0, unlink(dir.plink_path().c_str()));
    dir.Enter();
    SessionProbe s;
    EXPECT_EQ(SSH_CLIENT_NOT_FOUND_ERR, s.GetRunSshCommand("10.0.0.5", "root"));
    EXPECT_EQ(dir.plink_path(), s.Path());
    EXPECT_EQ("", s.Args());
}

TEST(SshSessionRun, NoClientInTheWorkingDirectoryLeavesTheStateAlone) {
    FakePlinkDir dir;
    ASSERT_EQ(0, unlink(dir.plink_path().c_str()));
    dir.Enter();
    std::map<int, std::string> before = OpenDescriptors();
    SessionProbe s;
    s.SetState(EXEC_REMOTE);
    SshCodes rc = s.RunSshClient("10.0.0.5", "root", "secret");
    EXPECT_EQ(SSH_CLIENT_NOT_FOUND_ERR, rc);
    EXPECT_EQ(EXEC_REMOTE, s.GetState());
    EXPECT_EQ(0, s.ProcessId());
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SshSessionRun, StartsTheClientWithUserAndHostOnly) {
    FakePlinkDir dir;
    SessionProbe s;
    StartDebugCapture();
    SshCodes rc = StartClient(dir, s, {"wait"});
    std::string out = StopCapture();
    ASSERT_EQ(SSH_SUCCESS, rc);
    EXPECT_EQ(EXEC_CONNECTING, s.GetState());
    EXPECT_EQ(dir.Pid(), s.ProcessId());
    EXPECT_EQ((std::vector<std::string>{"", "-ssh", "root@10.0.0.5"}), dir.Argv());
    EXPECT_NE(std::string::npos, out.find("trace> RunSshClient: preparing to execute ssh client...\n"));
    EXPECT_NE(std::string::npos, out.find("trace> GetRunSshCommand: generate run ssh session command\n"));
    EXPECT_NE(std::string::npos,
              out.find("trace> RunSshClient: ssh client is executed:\n" + dir.plink_path() +
                       " -ssh root@10.0.0.5\n"));
    EXPECT_EQ(std::string::npos, out.find("secret"));
}

TEST(SshSessionRun, NothingIsTracedIntoTheClientWhileStarting) {
    FakePlinkDir dir;
    SessionProbe s;
    kel_set_trace(TRACE_MODE_DEBUG);
    setvbuf(stdout, nullptr, _IONBF, 0);  // a trace line would reach descriptor 1 at once
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, s, {"wait"}));
    usleep(300000);
    EXPECT_EQ(0, get_bytes_avail(s.ClientOutput()));  // the client itself wrote nothing
}

// Lowers the descriptor limit so that only two more descriptors can be opened.
class TwoFreeDescriptors {
public:
    TwoFreeDescriptors() {
        getrlimit(RLIMIT_NOFILE, &saved_);
        std::map<int, std::string> open = OpenDescriptors();
        int limit = 0;
        for (int free = 0; free < 2; ++limit)
            if (open.count(limit) == 0) ++free;
        struct rlimit low = saved_;
        low.rlim_cur = static_cast<rlim_t>(limit);
        setrlimit(RLIMIT_NOFILE, &low);
    }
    ~TwoFreeDescriptors() { setrlimit(RLIMIT_NOFILE, &saved_); }

private:
    struct rlimit saved_;
};

TEST(SshSessionRun, PipesThatCannotBeMadeAreAnInternalError) {
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    dir.Enter();
    std::map<int, std::string> before = OpenDescriptors();
    SessionProbe s;
    s.SetState(EXEC_REMOTE);
    StartDebugCapture();
    SshCodes rc;
    {
        TwoFreeDescriptors limit;
        rc = s.RunSshClient(kHost, kUser, kPassword);
    }
    std::string out = StopCapture();
    EXPECT_EQ(SSH_INTERNAL_ERR, rc);
    EXPECT_EQ(EXEC_INIT, s.GetState());
    EXPECT_EQ(0, s.ProcessId());
    EXPECT_NE(std::string::npos, out.find("trace> RunSshClient: can't create pipes\n"));
    EXPECT_FALSE(dir.dir().Exists("plink.pid"));  // never started
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SshSessionRun, KeepsOnlyTheTwoPipeEndsWhileRunning) {
    FakePlinkDir dir;
    std::map<int, std::string> before = OpenDescriptors();
    SessionProbe s;
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, s, {"wait"}));
    std::map<int, std::string> during = OpenDescriptors();
    for (int fd = 0; fd <= 2; ++fd) EXPECT_EQ(before[fd], during[fd]) << fd;
    EXPECT_EQ(before.size() + 2, during.size());
    std::vector<int> fds = s.Descriptors();
    EXPECT_EQ(0u, during[fds[0]].find("pipe:"));  // stdout_r
    EXPECT_EQ(0u, during[fds[4]].find("pipe:"));  // stdin_w
    for (int i : {1, 2, 3, 5, 6, 7}) EXPECT_EQ(-1, fds[i]) << i;
}

TEST(SshSessionRun, DescriptorsAreTheOriginalsAgainAfterDestruction) {
    FakePlinkDir dir;
    std::map<int, std::string> before = OpenDescriptors();
    {
        Ssh::SshSession s;
        ASSERT_EQ(SSH_SUCCESS, StartClient(dir, s, {"wait"}));
    }
    EXPECT_EQ(before, OpenDescriptors());
}

// Points descriptors 1 and 2 at files of `dir` for the life of the object.
class StdToFiles {
public:
    explicit StdToFiles(const TempDir& dir) : dir_(dir) {
        fflush(stdout);
        fflush(stderr);
        saved_out_ = dup(1);
        saved_err_ = dup(2);
        Point(1, "out.txt");
        Point(2, "err.txt");
    }
    ~StdToFiles() {
        fflush(stdout);
        fflush(stderr);
        dup2(saved_out_, 1);
        dup2(saved_err_, 2);
        close(saved_out_);
        close(saved_err_);
    }
    void Write(const std::string& marker) {
        printf("%s-out\n", marker.c_str());
        fflush(stdout);
        fprintf(stderr, "%s-err\n", marker.c_str());
    }

private:
    void Point(int fd, const char* name) {
        int file = open(dir_.file(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(file, fd);
        close(file);
    }
    const TempDir& dir_;
    int saved_out_;
    int saved_err_;
};

TEST(SshSessionRun, StdoutAndStderrStillWorkDuringAndAfterTheSession) {
    FakePlinkDir dir;
    TempDir files;
    {
        StdToFiles std_files(files);
        {
            Ssh::SshSession s;
            ASSERT_EQ(SSH_SUCCESS, StartClient(dir, s, {"wait"}));
            std_files.Write("running");
        }
        std_files.Write("destroyed");
    }
    EXPECT_EQ("running-out\ndestroyed-out\n", files.Read("out.txt"));
    EXPECT_EQ("running-err\ndestroyed-err\n", files.Read("err.txt"));
}

TEST(SshSessionClose, NeverStartedSessionClosesQuietlyAndRepeatedly) {
    std::map<int, std::string> before = OpenDescriptors();
    SessionProbe s;
    double start = Now();
    s.CloseSession();
    s.CloseSession();
    EXPECT_LT(Now() - start, 0.5);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SshSessionResponse, NullContainerIsRefusedWithTheStateCode) {
    SessionProbe s;
    kel_set_trace(TRACE_MODE_QUIET);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(SSH_CLIENT_ERR, s.GetResponse(nullptr));
    s.SetState(EXEC_REMOTE);
    EXPECT_EQ(SSH_REMOTE_PARSER_ERR, s.GetResponse(nullptr));
    std::string out = StopCapture() + testing::internal::GetCapturedStderr();
    EXPECT_EQ(2, CountLines(out, "hh:mm:ss: GetResponse: container for response not defined\n"));
}

}  // namespace
