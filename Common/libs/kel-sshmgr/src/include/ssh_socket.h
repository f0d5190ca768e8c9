// TCP reachability probes of a host's SSH port.
#ifndef SSH_SOCKET_H
#define SSH_SOCKET_H

#include "ssh_defines.h"

typedef int SOCKET;  // -1: no socket

// Socket layer set-up and tear-down; nothing to do on this platform. Return 0.
int winsock_init();
int winsock_cleanup();

// Closes *pSock (with a pause before and after) and sets it to -1; nothing for null or -1.
void sock_close(SOCKET* pSock);

// One IPv4 connection attempt; on success *pSock is the connected socket.
SshCodes tcp_connect(const char* host, const char* port, SOCKET* pSock);

// 1 when port 22 of host accepted a connection within `count` attempts (1..100).
int is_server_available(const char* host, int count);
// 1 when port 22 of host accepted a connection before `max_sec` seconds passed.
int is_server_available(const char* host, double max_sec);

// One look at a TCP port: true when `port` of `host` (any of its addresses,
// IPv4 or IPv6) accepts a connection within `timeout_ms`. The connection is
// closed again at once, without a pause; a name that does not resolve, a
// refusal, the time running out or a signal give false.
bool port_answers(const char* host, const char* port, int timeout_ms);

#endif
