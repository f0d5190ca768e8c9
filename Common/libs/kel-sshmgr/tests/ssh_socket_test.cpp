#include "ssh_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <map>
#include <vector>

#include <string>

#include "descriptors.h"

namespace {

// A TCP listener on 127.0.0.1; port 0 picks a free one.
class Listener {
public:
    explicit Listener(int port = 0, int backlog = 8) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        int one = 1;
        setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
        struct sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ok_ = bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0 && listen(fd_, backlog) == 0;
        socklen_t len = sizeof(addr);
        getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &len);
        port_ = ntohs(addr.sin_port);
    }
    ~Listener() { Close(); }
    void Close() {
        if (fd_ != -1) close(fd_);
        fd_ = -1;
    }
    bool ok() const { return ok_; }
    std::string port() const { return std::to_string(port_); }

private:
    int fd_ = -1;
    int port_ = 0;
    bool ok_ = false;
};

// Moves this test process into a network namespace of its own, with loopback up.
bool EnterOwnNetwork() {
    if (unshare(CLONE_NEWNET) != 0) return false;
    return system("ip link set lo up") == 0;
}

int CountOf(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + 1)) ++n;
    return n;
}

TEST(Winsock, InitAndCleanupOnlyTrace) {
    StartDebugCapture();
    EXPECT_EQ(0, winsock_init());
    EXPECT_EQ(0, winsock_cleanup());
    std::string out = StopCapture();
    EXPECT_NE(std::string::npos, out.find("trace> Socket initialization ... Done\n"));
    EXPECT_NE(std::string::npos, out.find("trace> Socket cleanup ... Done\n"));
}

TEST(TcpConnect, ConnectsToAListenerAndLeavesTheSocketBlocking) {
    Listener listener;
    ASSERT_TRUE(listener.ok());
    StartDebugCapture();
    SOCKET sock = -1;
    SshCodes rc = tcp_connect("127.0.0.1", listener.port().c_str(), &sock);
    std::string out = StopCapture();
    ASSERT_EQ(SSH_SUCCESS, rc);
    ASSERT_NE(-1, sock);
    struct sockaddr_in peer = {};
    socklen_t len = sizeof(peer);
    EXPECT_EQ(0, getpeername(sock, reinterpret_cast<sockaddr*>(&peer), &len));
    EXPECT_EQ(listener.port(), std::to_string(ntohs(peer.sin_port)));
    EXPECT_EQ(0, fcntl(sock, F_GETFL) & O_NONBLOCK);
    EXPECT_NE(std::string::npos, out.find("trace> Trying to connect to socket ...\n"));
    EXPECT_NE(std::string::npos, out.find("trace> Connection to socket ... Done\n"));
    close(sock);
}

TEST(TcpConnect, RefusedPortFailsAfterClosingTheSocket) {
    Listener listener;
    std::string port = listener.port();
    listener.Close();
    StartDebugCapture();
    SOCKET sock = -1;
    double start = Now();
    SshCodes rc = tcp_connect("127.0.0.1", port.c_str(), &sock);
    double took = Now() - start;
    std::string out = StopCapture();
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, rc);
    EXPECT_EQ(-1, sock);
    EXPECT_GE(took, 2.9);  // sock_close pauses three seconds
    EXPECT_NE(std::string::npos, out.find("trace> Connection to socket ... Failed\n"));
    EXPECT_NE(std::string::npos, out.find("trace> Close socket ... Done\n"));
    EXPECT_NE(std::string::npos,
              out.find("trace> Unable to connect to host 127.0.0.1 port " + port +
                       ": Cannot connect to socket\n"));
}

TEST(TcpConnect, NullArgumentsAreAnInternalError) {
    StartDebugCapture();
    SOCKET sock = -1;
    EXPECT_EQ(SSH_INTERNAL_ERR, tcp_connect("127.0.0.1", nullptr, &sock));
    EXPECT_EQ(SSH_INTERNAL_ERR, tcp_connect(nullptr, "22", &sock));
    EXPECT_EQ(SSH_INTERNAL_ERR, tcp_connect("127.0.0.1", "22", nullptr));
    std::string out = StopCapture();
    EXPECT_NE(std::string::npos,
              out.find(": Unable to connect to host 127.0.0.1 port (null): Internal error: "
                       "Invalid object\n"));
    EXPECT_EQ(3, CountOf(out, "Internal error: Invalid object\n"));
    EXPECT_EQ(-1, sock);
}

TEST(TcpConnect, UnknownHostTracesTheNumberThree) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    StartDebugCapture();
    SOCKET sock = -1;
    SshCodes rc = tcp_connect("no-such-host.invalid", "22", &sock);
    std::string out = StopCapture();
    EXPECT_EQ(SSH_CANNOT_CONNECT_ERR, rc);
    EXPECT_NE(std::string::npos,
              out.find("trace> Unable to connect to host no-such-host.invalid port 22 (3): " +
                       std::string(gai_strerror(3)) + "\n"));
}

TEST(SockClose, MinusOneAndNullReturnAtOnce) {
    SOCKET sock = -1;
    double start = Now();
    sock_close(&sock);
    sock_close(nullptr);
    EXPECT_LT(Now() - start, 0.5);
    EXPECT_EQ(-1, sock);
}

TEST(SockClose, ClosesAfterPausingAndResetsTheSocket) {
    SOCKET sock = socket(AF_INET, SOCK_STREAM, 0);
    SOCKET old = sock;
    StartDebugCapture();
    double start = Now();
    sock_close(&sock);
    double took = Now() - start;
    std::string out = StopCapture();
    EXPECT_EQ(-1, sock);
    EXPECT_EQ(-1, fcntl(old, F_GETFD));
    EXPECT_GE(took, 2.9);
    EXPECT_LT(took, 4.5);
    EXPECT_NE(std::string::npos, out.find("trace> Close socket ... Done\n"));
}

TEST(IsServerAvailable, NullHostIsUnavailable) {
    double start = Now();
    EXPECT_EQ(0, is_server_available(nullptr, 3));
    EXPECT_EQ(0, is_server_available(nullptr, 3.0));
    EXPECT_LT(Now() - start, 0.5);
}

// Attempts made by is_server_available(127.0.0.1, count) in a network without an SSH server.
int AttemptsWithCount(int count, int* result) {
    StartDebugCapture();
    *result = is_server_available("127.0.0.1", count);
    return CountOf(StopCapture(), "Trying to connect to socket");
}

TEST(IsServerAvailable, CountZeroMakesOneAttempt) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    int result = -1;
    double start = Now();
    EXPECT_EQ(1, AttemptsWithCount(0, &result));
    EXPECT_EQ(0, result);
    EXPECT_LT(Now() - start, 6);
}

TEST(IsServerAvailable, NegativeCountMakesOneAttempt) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    int result = -1;
    EXPECT_EQ(1, AttemptsWithCount(-5, &result));
    EXPECT_EQ(0, result);
}

TEST(IsServerAvailable, AttemptsAreFiveSecondsApart) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    int result = -1;
    double start = Now();
    EXPECT_EQ(2, AttemptsWithCount(2, &result));
    double took = Now() - start;
    EXPECT_EQ(0, result);
    EXPECT_GE(took, 10.9);  // two closes of 3 s and one pause of 5 s
    EXPECT_LT(took, 14);
}

TEST(IsServerAvailable, ListeningSshPortIsAvailableAtTheFirstAttempt) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    Listener sshd(22);
    ASSERT_TRUE(sshd.ok());
    int result = -1;
    double start = Now();
    EXPECT_EQ(1, AttemptsWithCount(3, &result));
    EXPECT_EQ(1, result);
    EXPECT_LT(Now() - start, 6);
}

TEST(IsServerAvailableForSeconds, SuccessTakesAtLeastEightSeconds) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    Listener sshd(22);
    ASSERT_TRUE(sshd.ok());
    double start = Now();
    EXPECT_EQ(1, is_server_available("127.0.0.1", 30.0));
    double took = Now() - start;
    EXPECT_GE(took, 7.9);
    EXPECT_LT(took, 11);
}

TEST(IsServerAvailableForSeconds, ZeroSecondsMakesOneAttempt) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    StartDebugCapture();
    double start = Now();
    int result = is_server_available("127.0.0.1", 0.0);
    double took = Now() - start;
    std::string out = StopCapture();
    EXPECT_EQ(0, result);
    EXPECT_EQ(1, CountOf(out, "Trying to connect to socket"));
    EXPECT_GE(took, 7.9);
    EXPECT_LT(took, 11);
}

TEST(IsServerAvailableForSeconds, KeepsTryingWhileTimeIsLeft) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    StartDebugCapture();
    int result = is_server_available("127.0.0.1", 4.0);
    std::string out = StopCapture();
    EXPECT_EQ(0, result);
    // 3 s (first close) <= 4 gives a second attempt; 11 s after it does not.
    EXPECT_EQ(2, CountOf(out, "Trying to connect to socket"));
}

// A listener whose queue is full and that never accepts: the kernel drops
// further connection requests, so a client waits for an answer that never comes.
class FullListener {
public:
    FullListener() : listener_(0, 0) {
        for (int i = 0; i < 4; ++i) {
            int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            struct sockaddr_in addr = {};
            addr.sin_family = AF_INET;
            addr.sin_port = htons(static_cast<uint16_t>(std::stoi(listener_.port())));
            addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
            queued_.push_back(fd);
        }
        usleep(100000);
    }
    ~FullListener() {
        for (int fd : queued_) close(fd);
    }
    std::string port() const { return listener_.port(); }

private:
    Listener listener_;
    std::vector<int> queued_;
};

extern "C" void on_alarm(int) {}

TEST(PortAnswers, AListenerAnswersAtOnceAndTheProbeLeavesNoDescriptor) {
    Listener listener;
    ASSERT_TRUE(listener.ok());
    std::map<int, std::string> before = OpenDescriptors();
    double start = Now();
    StartDebugCapture();
    EXPECT_TRUE(port_answers("127.0.0.1", listener.port().c_str(), 2000));
    std::string out = StopCapture();
    EXPECT_LT(Now() - start, 0.5);  // no pause before or after the close
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_NE(std::string::npos, out.find("host 127.0.0.1 port " + listener.port() + " accepts connections\n"));
}

TEST(PortAnswers, ARefusedPortIsNoAnswerAtOnce) {
    Listener listener;
    std::string port = listener.port();
    listener.Close();
    double start = Now();
    StartDebugCapture();
    EXPECT_FALSE(port_answers("127.0.0.1", port.c_str(), 2000));
    std::string out = StopCapture();
    EXPECT_LT(Now() - start, 0.5);
    EXPECT_NE(std::string::npos, out.find("host 127.0.0.1 port " + port + " does not accept connections\n"));
}

TEST(PortAnswers, ANameThatDoesNotResolveIsNoAnswer) {
    if (!EnterOwnNetwork()) GTEST_SKIP() << "needs root for a network namespace";
    EXPECT_FALSE(port_answers("no-such-host.invalid", "22", 2000));
    EXPECT_FALSE(port_answers(nullptr, "22", 2000));
    EXPECT_FALSE(port_answers("127.0.0.1", nullptr, 2000));
}

TEST(PortAnswers, SilenceEndsTheProbeWhenItsTimeIsUp) {
    FullListener listener;
    double start = Now();
    EXPECT_FALSE(port_answers("127.0.0.1", listener.port().c_str(), 700));
    double took = Now() - start;
    EXPECT_GE(took, 0.6);
    EXPECT_LT(took, 1.5);
}

// A signal the process handles (a stop asked for) ends the wait for an answer at once.
TEST(PortAnswers, ASignalEndsTheProbeAtOnce) {
    FullListener listener;
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    action.sa_handler = on_alarm;
    action.sa_flags = SA_RESTART;
    struct sigaction previous;
    ASSERT_EQ(0, sigaction(SIGALRM, &action, &previous));
    struct itimerval timer = {};
    timer.it_value.tv_usec = 200000;
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &timer, nullptr));
    double start = Now();
    EXPECT_FALSE(port_answers("127.0.0.1", listener.port().c_str(), 5000));
    EXPECT_LT(Now() - start, 1.0);
    sigaction(SIGALRM, &previous, nullptr);
}

}  // namespace
