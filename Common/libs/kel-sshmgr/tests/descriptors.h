// What a test process has open, to check that nothing leaks or stays redirected.
#ifndef KEL_SSHMGR_TESTS_DESCRIPTORS_H
#define KEL_SSHMGR_TESTS_DESCRIPTORS_H

#include <map>
#include <string>

// Every open descriptor of this process and what it refers to (readlink of /proc/self/fd/N).
std::map<int, std::string> OpenDescriptors();

// What descriptor `fd` refers to; empty when it is closed.
std::string DescriptorTarget(int fd);

// Text of the captured standard output with the debug mode switched on before.
void StartDebugCapture();
std::string StopCapture();

// Seconds on a monotonic clock.
double Now();

#endif
