// What the client inherits: only its standard input, output and error (the two
// pipes), none of the tool's other descriptors, and SIGPIPE at its default even
// though the tool ignores it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "session_probe.h"
#include "ssh_exec.h"

namespace {

// The descriptor numbers of a plink.fds listing, and the targets of 0, 1 and 2.
struct Listing {
    std::string numbers;
    std::string in, out, err;
};

Listing Parse(const std::string& fds) {
    Listing listing;
    std::istringstream lines(fds);
    for (std::string line; std::getline(lines, line);) {
        int fd = atoi(line.c_str());
        std::string target = line.substr(line.find(" -> ") + 4);
        listing.numbers += std::to_string(fd) + " ";
        if (fd == 0) listing.in = target;
        if (fd == 1) listing.out = target;
        if (fd == 2) listing.err = target;
    }
    return listing;
}

// The tool's situation: SIGPIPE ignored, and descriptors above 2 that are not
// close-on-exec (as a caller such as cron or a library may leave them).
class ClientDescriptors : public testing::Test {
protected:
    void SetUp() override {
        signal(SIGPIPE, SIG_IGN);
        stray_ = open("/dev/null", O_RDONLY);
        ASSERT_GT(stray_, 2);
        ASSERT_EQ(0, fcntl(stray_, F_GETFD) & FD_CLOEXEC);
    }
    void TearDown() override {
        if (stray_ >= 0) close(stray_);
        signal(SIGPIPE, SIG_DFL);
    }
    void ExpectOnlyTheTwoPipes(const FakePlinkDir& dir) {
        Listing listing = Parse(dir.Descriptors());
        EXPECT_EQ("0 1 2 ", listing.numbers) << dir.Descriptors();
        EXPECT_EQ(0u, listing.in.find("pipe:[")) << listing.in;
        EXPECT_EQ(0u, listing.out.find("pipe:[")) << listing.out;
        EXPECT_NE(listing.in, listing.out);
        EXPECT_EQ(listing.out, listing.err);
        EXPECT_EQ("default\n", dir.SigpipeAtStart());
    }

    int stray_ = -1;
};

TEST_F(ClientDescriptors, SessionClientHasOnlyItsStandardDescriptors) {
    FakePlinkDir dir;
    SessionProbe session;
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, session, {"wait"}));
    // The session's own ends of the pipes stay open in the tool, and are not the client's.
    EXPECT_NE("", DescriptorTarget(session.ClientOutput()));
    EXPECT_NE("", DescriptorTarget(session.ClientInput()));
    EXPECT_NE(0, fcntl(session.ClientOutput(), F_GETFD) & FD_CLOEXEC);
    EXPECT_NE(0, fcntl(session.ClientInput(), F_GETFD) & FD_CLOEXEC);
    session.CloseSession();
    dir.Leave();
    ExpectOnlyTheTwoPipes(dir);
}

TEST_F(ClientDescriptors, ExecEngineClientHasOnlyItsStandardDescriptors) {
    FakePlinkDir dir;
    dir.WriteScript({"exit 0"});
    dir.Enter();
    exec_context cntx;
    ASSERT_EQ(SSH_SUCCESS, get_ssh_cmd(&cntx, "root", "esx"));
    EXPECT_EQ(SSH_SUCCESS, ssh_exec(&cntx, def_parser, 5));
    dir.Leave();
    ExpectOnlyTheTwoPipes(dir);
}

// The tool's standard descriptors are given back without the flag, so a
// later client (or anything else the tool starts) inherits them as before.
TEST_F(ClientDescriptors, StandardDescriptorsComeBackInheritable) {
    FakePlinkDir dir;
    SessionProbe session;
    ASSERT_EQ(SSH_SUCCESS, StartClient(dir, session, {"wait"}));
    session.CloseSession();
    dir.Leave();
    for (int fd = 0; fd <= 2; ++fd) EXPECT_EQ(0, fcntl(fd, F_GETFD) & FD_CLOEXEC) << fd;
}

}  // namespace
