// Watches every process's command line (/proc/PID/cmdline, every 20 ms, in a thread) for a secret, to show
// that a password never appears where every local user can read it.
//
//   CommandLineWatch watch(password);
//   ... run things ...
//   EXPECT_EQ("", watch.Seen());
#ifndef VMNAP_TEST_SUPPORT_COMMAND_LINE_WATCH_H
#define VMNAP_TEST_SUPPORT_COMMAND_LINE_WATCH_H

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

class CommandLineWatch {
public:
    explicit CommandLineWatch(std::string secret);
    ~CommandLineWatch();  // stops watching
    CommandLineWatch(const CommandLineWatch&) = delete;
    CommandLineWatch& operator=(const CommandLineWatch&) = delete;

    // The command lines (arguments joined by blanks) that held the secret so far; empty when none did.
    std::string Seen();
    int scans() const { return scans_; }  // how many times every process was looked at

private:
    void Scan();

    const std::string secret_;
    std::mutex mutex_;
    std::string seen_;
    std::atomic<bool> stop_{false};
    std::atomic<int> scans_{0};
    std::thread thread_;
};

#endif
