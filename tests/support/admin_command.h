// Running the system's administration tools (ip, useradd, userdel, chpasswd) to their end.
#ifndef VMNAP_TEST_SUPPORT_ADMIN_COMMAND_H
#define VMNAP_TEST_SUPPORT_ADMIN_COMMAND_H

#include <string>
#include <vector>

// /usr/sbin/ip or /sbin/ip.
std::string IpPath();

// Runs `argv` with `input` on its standard input; returns its exit status (-1 when it could not be started
// or did not end in 30 s) and, in `output`, what it printed.
int RunAdmin(const std::vector<std::string>& argv, const std::string& input, std::string* output);

// The same, tried again while the tool reports a lock held by another process (on /etc/passwd or
// /etc/shadow, which tests running in parallel share).
int RunAdminRetryingLocks(const std::vector<std::string>& argv, const std::string& input, std::string* output);

// The words of `argv` joined by blanks.
std::string CommandText(const std::vector<std::string>& argv);

#endif
