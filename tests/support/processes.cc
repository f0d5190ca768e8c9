#include "processes.h"

#include <dirent.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <time.h>

#include <fstream>
#include <sstream>

namespace {

std::string ReadLine(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

}  // namespace

std::string ProcessName(pid_t pid) { return ReadLine("/proc/" + std::to_string(pid) + "/comm"); }

namespace {

// The state letter of /proc/PID/stat ("R", "S", "Z", ...); empty when there is no such process. The name
// before it may hold blanks, so the fields are read after its last ')'.
std::string StateAndParent(pid_t pid, pid_t* parent) {
    std::string stat = ReadLine("/proc/" + std::to_string(pid) + "/stat");
    size_t end = stat.rfind(')');
    if (end == std::string::npos) return "";
    std::istringstream fields(stat.substr(end + 1));
    std::string state;
    pid_t ppid = 0;
    if (!(fields >> state >> ppid)) return "";
    if (parent != nullptr) *parent = ppid;
    return state;
}

}  // namespace

bool HasEnded(pid_t pid) {
    std::string state = StateAndParent(pid, nullptr);
    return state.empty() || state == "Z" || state == "X";
}

std::vector<pid_t> ChildProcesses(pid_t parent) {
    std::vector<pid_t> children;
    DIR* proc = opendir("/proc");
    for (struct dirent* entry = proc ? readdir(proc) : nullptr; entry; entry = readdir(proc)) {
        pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
        if (pid <= 0) continue;
        pid_t ppid = 0;
        if (!StateAndParent(pid, &ppid).empty() && ppid == parent) children.push_back(pid);
    }
    if (proc) closedir(proc);
    return children;
}

bool IsSleeping(pid_t pid) {
    std::string call = ReadLine("/proc/" + std::to_string(pid) + "/syscall");
    long number = call.empty() ? -1 : atol(call.c_str());
    return number == SYS_nanosleep || number == SYS_clock_nanosleep;
}

pid_t FindProcess(const std::vector<pid_t>& pids, const std::string& name, bool sleeping) {
    for (pid_t pid : pids) {
        if (ProcessName(pid) == name && (!sleeping || IsSleeping(pid))) return pid;
    }
    return 0;
}

void SleepSeconds(double seconds) {
    struct timespec ts;
    ts.tv_sec = static_cast<time_t>(seconds);
    ts.tv_nsec = static_cast<long>((seconds - ts.tv_sec) * 1e9);
    nanosleep(&ts, nullptr);
}
