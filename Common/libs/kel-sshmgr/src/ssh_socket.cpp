#include "ssh_socket.h"

#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include "kel-tools-trace.h"

namespace {

const char* const kSshPort = "22";
const int kMinAttempts = 1;
const int kMaxAttempts = 100;
const unsigned kAttemptPause = 5;

const char* const kDone = "Done";
const char* const kFailed = "Failed";
const char* const kMsgSocketInit = "Socket initialization ... %s\n";
const char* const kMsgSocketCleanup = "Socket cleanup ... %s\n";
const char* const kMsgCloseSocket = "Close socket ... %s\n";
const char* const kMsgInvalidObject =
    "Unable to connect to host %s port %s: Internal error: Invalid object\n";
const char* const kMsgLookupFailed = "Unable to connect to host %s port %s (%d): %s\n";
const char* const kMsgTrying = "Trying to connect to socket ...\n";
const char* const kMsgConnectFailed = "Connection to socket ... Failed\n";
const char* const kMsgConnectDone = "Connection to socket ... Done\n";
const char* const kMsgNoSocket = "Unable to connect to host %s port %s: Cannot connect to socket\n";
const char* const kMsgPortAnswers = "host %s port %s accepts connections\n";
const char* const kMsgPortSilent = "host %s port %s does not accept connections\n";

// Clears O_NONBLOCK; false only when the flags were read and could not be written back.
bool make_blocking(SOCKET sock) {
    int flags = fcntl(sock, F_GETFL);
    if (flags > 0) return fcntl(sock, F_SETFL, flags & ~O_NONBLOCK) != -1;
    return true;
}

// Connects a new socket to one address; the connected socket or -1.
SOCKET connect_one(const struct addrinfo* ai) {
    SOCKET sock = socket(ai->ai_family, ai->ai_socktype, ai->ai_protocol);
    if (sock == -1) return -1;
    kel_trace(TRACE_DEBUG, kMsgTrying);
    if (connect(sock, ai->ai_addr, ai->ai_addrlen) != 0) {
        kel_trace(TRACE_DEBUG, kMsgConnectFailed);
        sock_close(&sock);
        return -1;
    }
    kel_trace(TRACE_DEBUG, kMsgConnectDone);
    if (make_blocking(sock)) return sock;
    sock_close(&sock);
    return -1;
}

// One attempt on port 22; closes the socket again on success.
bool probe_once(const char* host) {
    SOCKET sock = -1;
    if (tcp_connect(host, kSshPort, &sock) != SSH_SUCCESS) return false;
    sock_close(&sock);
    return true;
}

// One connection attempt that gives up after `timeout_ms` (or at a signal);
// the socket is closed at once either way.
bool connects_within(const struct addrinfo* ai, int timeout_ms) {
    SOCKET sock = socket(ai->ai_family, ai->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, ai->ai_protocol);
    if (sock == -1) return false;
    bool connected = connect(sock, ai->ai_addr, ai->ai_addrlen) == 0;
    if (!connected && errno == EINPROGRESS) {
        struct pollfd pfd;
        pfd.fd = sock;
        pfd.events = POLLOUT;
        pfd.revents = 0;
        int error = 0;
        socklen_t length = sizeof(error);
        connected = poll(&pfd, 1, timeout_ms) == 1 &&
                    getsockopt(sock, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
    }
    close(sock);
    return connected;
}

}  // namespace

int winsock_init() {
    kel_trace(TRACE_DEBUG, kMsgSocketInit, kDone);
    return 0;
}

int winsock_cleanup() {
    kel_trace(TRACE_DEBUG, kMsgSocketCleanup, kDone);
    return 0;
}

void sock_close(SOCKET* pSock) {
    if (pSock == NULL || *pSock == -1) return;
    sleep(1);
    int rc = close(*pSock);
    sleep(2);
    kel_trace(TRACE_DEBUG, kMsgCloseSocket, rc == 0 ? kDone : kFailed);
    *pSock = -1;
}

SshCodes tcp_connect(const char* host, const char* port, SOCKET* pSock) {
    SshCodes retval = SSH_CANNOT_CONNECT_ERR;
    if (host == NULL || port == NULL || pSock == NULL) {
        kel_trace(TRACE_ERROR, kMsgInvalidObject, host, port);
        return SSH_INTERNAL_ERR;
    }
    struct addrinfo hints;
    memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    struct addrinfo* list = NULL;
    if (getaddrinfo(host, port, &hints, &list) != 0) {
        kel_trace(TRACE_DEBUG, kMsgLookupFailed, host, port, retval, gai_strerror(retval));
        return SSH_CANNOT_CONNECT_ERR;
    }
    for (const struct addrinfo* ai = list; ai != NULL && retval != SSH_SUCCESS; ai = ai->ai_next) {
        SOCKET sock = connect_one(ai);
        if (sock == -1) continue;
        *pSock = sock;
        retval = SSH_SUCCESS;
    }
    if (retval != SSH_SUCCESS) kel_trace(TRACE_DEBUG, kMsgNoSocket, host, port);
    freeaddrinfo(list);
    return retval;
}

int is_server_available(const char* host, int count) {
    if (host == NULL) return 0;
    if (count < kMinAttempts) count = kMinAttempts;
    if (count > kMaxAttempts) count = kMaxAttempts;
    for (int attempt = 0; attempt < count; ++attempt) {
        if (attempt > 0) sleep(kAttemptPause);
        if (probe_once(host)) return 1;
    }
    return 0;
}

int is_server_available(const char* host, double max_sec) {
    if (host == NULL) return 0;
    time_t start = time(NULL);
    bool ok = false;
    time_t taken;
    do {
        ok = probe_once(host);
        taken = time(NULL);
        sleep(kAttemptPause);
    } while (!ok && max_sec >= difftime(taken, start));
    return ok ? 1 : 0;
}

bool port_answers(const char* host, const char* port, int timeout_ms) {
    if (host == NULL || port == NULL) return false;
    struct addrinfo hints;
    memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    struct addrinfo* list = NULL;
    if (getaddrinfo(host, port, &hints, &list) != 0) return false;
    bool answers = false;
    for (const struct addrinfo* ai = list; ai != NULL && !answers; ai = ai->ai_next)
        answers = connects_within(ai, timeout_ms);
    freeaddrinfo(list);
    kel_trace(TRACE_DEBUG, answers ? kMsgPortAnswers : kMsgPortSilent, host, port);
    return answers;
}
