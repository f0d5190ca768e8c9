#include "stalled_reply.h"

#include <time.h>

#include <cerrno>

namespace esxisim {

namespace {

const char kRoot[] = "/";
const int kStalledStatus = 1;

std::string NormalPath(std::string path) {
    if (!path.empty() && path[0] == '/') path.erase(0, 1);
    return path.empty() ? kRoot : path;
}

// Whole seconds, resumed after a signal that does not end the process.
void SleepSeconds(int seconds) {
    struct timespec left = {seconds, 0};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace

std::string CommandPath(const std::vector<std::string>& args) { return NormalPath(args.empty() ? "" : args[0]); }

bool IsStalled(const HostState& host, const std::string& path) {
    for (const std::string& stalled : host.stalls) {
        if (NormalPath(stalled) == path) return true;
    }
    return false;
}

int StallReply(const std::string& reply, int seconds, std::ostream& out) {
    out << reply.substr(0, reply.size() / 2) << std::flush;
    SleepSeconds(seconds);
    return kStalledStatus;
}

}  // namespace esxisim
