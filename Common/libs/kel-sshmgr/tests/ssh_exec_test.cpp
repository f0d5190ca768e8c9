#include "ssh_exec.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <map>
#include <string>

#include "descriptors.h"
#include "kel-tools-trace.h"
#include "run_program.h"

namespace {

struct Eight {
    fd_handle stdin_def = 5, stdout_def = 5, stderr_def = 5;
    fd_handle stdout_r = 5, stdout_w = 5, stdout_e = 5, stdin_r = 5, stdin_w = 5;

    int Create() {
        return create_pipes(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e,
                            stdin_r, stdin_w);
    }
    std::vector<int> All() const {
        return {stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e, stdin_r, stdin_w};
    }
    // Puts the saved descriptors back and closes the tool's two ends.
    void Restore() {
        dup2(stdout_def, 1);
        dup2(stdin_def, 0);
        dup2(stderr_def, 2);
        for (fd_handle* fd : {&stdout_def, &stdin_def, &stderr_def, &stdout_r, &stdin_w})
            close_fdhandle(*fd);
    }
};

TEST(CreatePipes, PointsTheStandardDescriptorsAtThePipes) {
    std::map<int, std::string> before = OpenDescriptors();
    fflush(stdout);
    Eight e;
    int rc = e.Create();
    std::map<int, std::string> during = OpenDescriptors();
    bool out_ok = write(1, "out", 3) == 3 && write(2, "err", 3) == 3;
    int avail = get_bytes_avail(e.stdout_r);
    char got[16] = {0};
    read_fdhandle(e.stdout_r, got, 15, avail);
    bool in_ok = write(e.stdin_w, "in", 2) == 2;
    char in[4] = {0};
    ssize_t in_n = read(0, in, 3);
    e.Restore();
    EXPECT_EQ(1, rc);
    EXPECT_EQ(0, e.stdin_r);
    EXPECT_EQ(1, e.stdout_w);
    EXPECT_EQ(2, e.stdout_e);
    EXPECT_TRUE(out_ok && in_ok);
    EXPECT_STREQ("outerr", got);
    EXPECT_EQ(2, in_n);
    EXPECT_STREQ("in", in);
    EXPECT_EQ(0u, during[0].find("pipe:"));
    EXPECT_EQ(during[1], during[2]);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(CreatePipes, SavedCopiesReferToTheOriginals) {
    std::map<int, std::string> before = OpenDescriptors();
    Eight e;
    ASSERT_EQ(1, e.Create());
    std::string in = DescriptorTarget(e.stdin_def);
    std::string out = DescriptorTarget(e.stdout_def);
    std::string err = DescriptorTarget(e.stderr_def);
    e.Restore();
    EXPECT_EQ(before[0], in);
    EXPECT_EQ(before[1], out);
    EXPECT_EQ(before[2], err);
}

// Lowers the descriptor limit so that exactly `free_slots` new descriptors fit.
class DescriptorLimit {
public:
    explicit DescriptorLimit(int free_slots) {
        getrlimit(RLIMIT_NOFILE, &saved_);
        std::map<int, std::string> open = OpenDescriptors();
        int limit = 0;
        for (int free = 0; free < free_slots; ++limit)
            if (open.count(limit) == 0) ++free;
        struct rlimit low = saved_;
        low.rlim_cur = static_cast<rlim_t>(limit);
        setrlimit(RLIMIT_NOFILE, &low);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &saved_); }

private:
    struct rlimit saved_;
};

void ExpectCleanFailure(int free_slots) {
    std::map<int, std::string> before = OpenDescriptors();
    Eight e;
    int rc;
    {
        DescriptorLimit limit(free_slots);
        rc = e.Create();
    }
    EXPECT_EQ(0, rc);
    for (int fd : e.All()) EXPECT_EQ(-1, fd);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(CreatePipes, FailureWhileSavingUndoesEverything) { ExpectCleanFailure(2); }

TEST(CreatePipes, FailureOfTheFirstPipeUndoesEverything) { ExpectCleanFailure(4); }

TEST(CreatePipes, FailureOfTheSecondPipeUndoesEverything) { ExpectCleanFailure(6); }

TEST(IsVerboseInformation, ClientProgressLinesAreVerbose) {
    for (const char* text :
         {"Looking up host \"h\"", "Server version: SSH-2.0", "Using SSH protocol version 2",
          "Doing Diffie-Hellman key exchange", "Host key fingerprint is:", "ssh-rsa 2048 aa:bb",
          "Using username \"root\".\r\n"})
        EXPECT_TRUE(isVerboseInformation(text)) << text;
}

TEST(IsVerboseInformation, PromptsAreNeverVerbose) {
    EXPECT_FALSE(isVerboseInformation("Using username \"root\".\r\nroot@h's password: "));
    EXPECT_FALSE(isVerboseInformation("Server version x\r\n~ # "));
    EXPECT_FALSE(isVerboseInformation("Server version x\r\n[root@h:~]# "));
}

TEST(IsVerboseInformation, OtherTextAndNullAreNotVerbose) {
    EXPECT_FALSE(isVerboseInformation("Vmid Name File"));
    EXPECT_FALSE(isVerboseInformation(""));
    EXPECT_FALSE(isVerboseInformation(nullptr));
}

TEST(TraceRecv, FramesTheReceivedTextAtDebugLevel) {
    StartDebugCapture();
    char text[] = "abc";
    trace_recv(text);
    EXPECT_EQ("hh:mm:ss: trace> \n============== received data begin ==============\nabc\n"
              "============== received data ended ==============\n\n",
              NormalizeStamps(StopCapture()));
}

TEST(TraceSent, FramesTheSentTextWithBothCounts) {
    StartDebugCapture();
    trace_sent("ls\n", 2);
    EXPECT_EQ("hh:mm:ss: trace> \n======= sent data begin ==    3 bytes to write ==\nls\n\n"
              "======= sent data ended ==    2 bytes was sent ==\n\n",
              NormalizeStamps(StopCapture()));
}

TEST(TraceSent, NullTextTracesNothing) {
    StartDebugCapture();
    trace_sent(nullptr, 3);
    EXPECT_EQ("", StopCapture());
}

TEST(TraceRecvAndSent, AreSilentOutsideTheDebugMode) {
    kel_set_trace(TRACE_MODE_VERBOSE);
    testing::internal::CaptureStdout();
    char text[] = "abc";
    trace_recv(text);
    trace_sent("ls\n", 3);
    EXPECT_EQ("", StopCapture());
}

}  // namespace
