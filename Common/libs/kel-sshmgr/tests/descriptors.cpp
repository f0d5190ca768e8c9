#include "descriptors.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "kel-tools-trace.h"

std::string DescriptorTarget(int fd) {
    char link[64];
    char target[4096];
    snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    ssize_t n = readlink(link, target, sizeof(target) - 1);
    if (n < 0) return "";
    return std::string(target, static_cast<size_t>(n));
}

std::map<int, std::string> OpenDescriptors() {
    std::map<int, std::string> open;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) return open;
    int own = dirfd(dir);
    while (struct dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        int fd = atoi(entry->d_name);
        if (fd != own) open[fd] = DescriptorTarget(fd);
    }
    closedir(dir);
    return open;
}

void StartDebugCapture() {
    kel_set_trace(TRACE_MODE_DEBUG);
    fflush(stdout);
    testing::internal::CaptureStdout();
}

std::string StopCapture() {
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}
