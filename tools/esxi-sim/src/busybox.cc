#include "busybox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

namespace esxisim {

namespace {

const char* const kBusyboxPaths[] = {"/bin/busybox", "/usr/bin/busybox"};

// Runs "BUSYBOX --list" with its output on a pipe; its standard error stays ours.
bool ListOutput(const std::string& busybox, std::string* output, std::string* error) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        *error = std::string("pipe: ") + std::strerror(errno);
        return false;
    }
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        execl(busybox.c_str(), "busybox", "--list", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    char buffer[4096];
    for (ssize_t n; (n = read(fds[0], buffer, sizeof(buffer))) != 0;) {
        if (n > 0) output->append(buffer, static_cast<size_t>(n));
        else if (errno != EINTR) break;
    }
    close(fds[0]);
    int status = 0;
    bool ran = pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!ran) *error = busybox + " --list failed";
    return ran;
}

}  // namespace

std::string FindBusybox() {
    for (const char* path : kBusyboxPaths) {
        if (access(path, X_OK) == 0) return path;
    }
    return "";
}

bool BusyboxApplets(const std::string& busybox, std::vector<std::string>* applets, std::string* error) {
    std::string output;
    if (!ListOutput(busybox, &output, error)) return false;
    std::istringstream lines(output);
    for (std::string name; std::getline(lines, name);) {
        if (!name.empty()) applets->push_back(name);
    }
    return true;
}

}  // namespace esxisim
