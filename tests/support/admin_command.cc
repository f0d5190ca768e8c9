#include "admin_command.h"

#include <unistd.h>

#include "sshd_fixture_process.h"

namespace {

const int kAdminTimeoutSeconds = 30;
const int kLockRetries = 60;

}  // namespace

std::string IpPath() { return access("/usr/sbin/ip", X_OK) == 0 ? "/usr/sbin/ip" : "/sbin/ip"; }

int RunAdmin(const std::vector<std::string>& argv, const std::string& input, std::string* output) {
    PipedProcess tool;
    if (!tool.Start(argv)) return -1;
    tool.Write(input);
    tool.CloseInput();
    int status = tool.Wait(kAdminTimeoutSeconds);
    *output = tool.output();
    return status;
}

int RunAdminRetryingLocks(const std::vector<std::string>& argv, const std::string& input, std::string* output) {
    int status = -1;
    for (int attempt = 0; attempt < kLockRetries; ++attempt) {
        status = RunAdmin(argv, input, output);
        if (status == 0 || output->find("lock") == std::string::npos) return status;
        usleep(static_cast<useconds_t>(100 + 17 * (attempt % 7)) * 1000);
    }
    return status;
}

std::string CommandText(const std::vector<std::string>& argv) {
    std::string text;
    for (const std::string& arg : argv) text += (text.empty() ? "" : " ") + arg;
    return text;
}
