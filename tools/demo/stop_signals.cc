#include "stop_signals.h"

#include <dirent.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace {

volatile sig_atomic_t g_signal = 0;

void OnStopSignal(int signal) { g_signal = signal; }

// Parent pid of `pid` from /proc/PID/stat (the field after the parenthesised name).
pid_t ParentOf(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    size_t end_of_name = text.rfind(')');
    if (end_of_name == std::string::npos) return -1;
    std::istringstream fields(text.substr(end_of_name + 1));
    std::string state;
    pid_t parent = -1;
    fields >> state >> parent;
    return parent;
}

std::string CommandLineOf(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/cmdline");
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::vector<pid_t> ChildrenOf(pid_t parent) {
    std::vector<pid_t> children;
    DIR* proc = opendir("/proc");
    for (struct dirent* entry = proc ? readdir(proc) : nullptr; entry; entry = readdir(proc)) {
        pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
        if (pid > 0 && ParentOf(pid) == parent) children.push_back(pid);
    }
    if (proc) closedir(proc);
    return children;
}

}  // namespace

StopSignals::StopSignals(std::string child_program) : child_program_(std::move(child_program)) {
    struct sigaction action = {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    watcher_ = std::thread([this] { Watch(); });
}

StopSignals::~StopSignals() {
    done_ = true;
    watcher_.join();
}

bool StopSignals::requested() const { return g_signal != 0; }

int StopSignals::signal() const { return g_signal; }

void StopSignals::Watch() {
    while (!done_) {
        if (requested()) StopChildren();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

// VmNap's own child (plink) first: it runs in a session of its own and would outlive VmNap.
void StopSignals::StopChildren() const {
    for (pid_t run : ChildrenOf(getpid())) {
        if (CommandLineOf(run).find(child_program_) == std::string::npos) continue;
        for (pid_t client : ChildrenOf(run)) kill(client, SIGTERM);
        kill(run, SIGTERM);
    }
}
