#include "command_line_watch.h"

#include <dirent.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <utility>

namespace {

std::string CommandLineOf(const char* pid) {
    std::ifstream in(std::string("/proc/") + pid + "/cmdline", std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
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
