#include "text_wait.h"

#include <chrono>
#include <thread>

#include "temp_dir.h"

size_t CountOf(const std::string& haystack, const std::string& text) {
    size_t count = 0;
    for (size_t at = haystack.find(text); !text.empty() && at != std::string::npos; at = haystack.find(text, at + text.size())) {
        ++count;
    }
    return count;
}

bool WaitForText(const std::string& path, const std::string& text, int seconds, size_t count) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (CountOf(ReadFile(path), text) < count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}
