#include "ssh_io.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>

namespace {

struct Pipe {
    fd_handle fds[2] = {-1, -1};
    Pipe() { EXPECT_EQ(0, create_pipe(fds)); }
    ~Pipe() {
        close_fdhandle(fds[0]);
        close_fdhandle(fds[1]);
    }
    void Put(const std::string& text) const {
        ASSERT_EQ(static_cast<ssize_t>(text.size()), write(fds[1], text.data(), text.size()));
    }
};

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(StdHandles, AreTheStandardDescriptorNumbers) {
    EXPECT_EQ(0, STD_INPUT_HANDLE);
    EXPECT_EQ(1, STD_OUTPUT_HANDLE);
    EXPECT_EQ(2, STD_ERROR_HANDLE);
}

TEST(CloseFdhandle, ClosesTheDescriptorAndSetsItToMinusOne) {
    Pipe p;
    int old = p.fds[0];
    close_fdhandle(p.fds[0]);
    EXPECT_EQ(-1, p.fds[0]);
    EXPECT_FALSE(IsOpen(old));
}

TEST(CloseFdhandle, OnMinusOneDoesNotCallClose) {
    fd_handle fd = -1;
    errno = 0;
    close_fdhandle(fd);
    EXPECT_EQ(0, errno);  // close(-1) would have set EBADF
    EXPECT_EQ(-1, fd);
}

TEST(CloseFdhandle, ClosingTwiceIsHarmless) {
    Pipe p;
    close_fdhandle(p.fds[1]);
    int reused = dup(p.fds[0]);  // may take the number just freed
    close_fdhandle(p.fds[1]);
    EXPECT_TRUE(IsOpen(reused));
    close(reused);
}

TEST(CreatePipe, NullArrayGivesMinusOne) { EXPECT_EQ(-1, create_pipe(nullptr)); }

TEST(CreatePipe, ElementZeroReadsWhatElementOneWrites) {
    Pipe p;
    ASSERT_EQ(3, write(p.fds[1], "abc", 3));
    char buf[4] = {0};
    ASSERT_EQ(3, read(p.fds[0], buf, 3));
    EXPECT_STREQ("abc", buf);
}

TEST(DupFdhandle, DuplicatesOrGivesMinusOne) {
    Pipe p;
    fd_handle copy = dup_fdhandle(p.fds[1]);
    EXPECT_GE(copy, 0);
    EXPECT_NE(p.fds[1], copy);
    close_fdhandle(copy);
    EXPECT_EQ(-1, dup_fdhandle(-1));
}

TEST(Dup2StdFdhandle, GivesTheNewNumberOrMinusOne) {
    Pipe p;
    int target = dup(p.fds[0]);
    EXPECT_EQ(target, dup2_std_fdhandle(p.fds[1], target));
    EXPECT_EQ(-1, dup2_std_fdhandle(-1, target));
    close(target);
}

TEST(GetBytesAvail, CountsWhatIsWaiting) {
    Pipe p;
    EXPECT_EQ(0, get_bytes_avail(p.fds[0]));
    p.Put("hello");
    EXPECT_EQ(5, get_bytes_avail(p.fds[0]));
}

TEST(GetBytesAvail, FailedQueryReportsZero) { EXPECT_EQ(0, get_bytes_avail(-1)); }

TEST(ReadFdhandle, ReadsAtMostTheBytesAvailable) {
    Pipe p;
    p.Put(std::string(20, 'x'));
    char buf[4096];
    EXPECT_EQ(10, read_fdhandle(p.fds[0], buf, 4095, 10));
    EXPECT_EQ(10, get_bytes_avail(p.fds[0]));
}

TEST(ReadFdhandle, ReadsAtMostTheBufferSize) {
    Pipe p;
    p.Put(std::string(6000, 'x'));
    char buf[4096];
    EXPECT_EQ(4095, read_fdhandle(p.fds[0], buf, 4095, 5000));
    EXPECT_EQ(6000 - 4095, get_bytes_avail(p.fds[0]));
}

TEST(ReadFdhandle, DoesNotTerminateTheText) {
    Pipe p;
    p.Put("abc");
    char buf[8];
    memset(buf, 'Z', sizeof(buf));
    EXPECT_EQ(3, read_fdhandle(p.fds[0], buf, 8, 3));
    EXPECT_EQ(std::string("abcZ"), std::string(buf, 4));
}

TEST(ReadFdhandle, MinusOneDescriptorOrNullBufferGiveMinusOne) {
    Pipe p;
    p.Put("abc");
    char buf[8];
    EXPECT_EQ(-1, read_fdhandle(-1, buf, 8, 3));
    EXPECT_EQ(-1, read_fdhandle(p.fds[0], nullptr, 8, 3));
    EXPECT_EQ(3, get_bytes_avail(p.fds[0]));
}

TEST(WriteFdhandle, WritesTheWholeTextOnce) {
    Pipe p;
    EXPECT_EQ(4, write_fdhandle(p.fds[1], "ls\r\n"));
    char buf[8] = {0};
    ASSERT_EQ(4, read(p.fds[0], buf, sizeof(buf)));
    EXPECT_STREQ("ls\r\n", buf);
}

TEST(WriteFdhandle, NullTextOrMinusOneDescriptorWriteNothing) {
    Pipe p;
    EXPECT_EQ(-1, write_fdhandle(p.fds[1], nullptr));
    EXPECT_EQ(-1, write_fdhandle(-1, "text"));
    EXPECT_EQ(0, get_bytes_avail(p.fds[0]));
}

}  // namespace
