#include "command_line_watch.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

// Read with read(2): a process may end while it is read, and then the read fails with ESRCH.
std::string CommandLineOf(const char* pid) {
    std::string text;
    int fd = open((std::string("/proc/") + pid + "/cmdline").c_str(), O_RDONLY | O_CLOEXEC);
    char buffer[4096];
    for (ssize_t n = 0; fd >= 0 && (n = read(fd, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(n));
    }
    if (fd >= 0) close(fd);
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

}  // namespace

CommandLineWatch::CommandLineWatch(std::string secret) : secret_(std::move(secret)), thread_([this] {
    for (; !stop_; std::this_thread::sleep_for(std::chrono::milliseconds(20))) Scan();
}) {}

CommandLineWatch::~CommandLineWatch() {
    stop_ = true;
    thread_.join();
}

void CommandLineWatch::Scan() {
    DIR* proc = opendir("/proc");
    for (struct dirent* entry = proc ? readdir(proc) : nullptr; entry; entry = readdir(proc)) {
        if (atoi(entry->d_name) <= 0) continue;
        std::string line = CommandLineOf(entry->d_name);
        if (line.find(secret_) == std::string::npos) continue;
        std::lock_guard<std::mutex> lock(mutex_);
        if (seen_.find(line) == std::string::npos) seen_ += line + "\n";
    }
    if (proc) closedir(proc);
    ++scans_;
}

std::string CommandLineWatch::Seen() {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_;
}
