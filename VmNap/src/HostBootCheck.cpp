#include "HostBootCheck.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>

#include "StopRequest.h"
#include "kel-tools-trace.h"
#include "shell_prompt.h"
#include "ssh_defines.h"

namespace HostBootCheck {

namespace {

const int kMaxEpochDigits = 18;

const char* const kBooted = "the host booted %lld s after the power-off was asked for: it has been down\n";
const char* const kNotDown =
    "the host has not gone down since the power-off was asked for (epoch %lld; up for %llu s): "
    "it is still powering off\n";
const char* const kLookAgain = "looking again in %d s, after the host has gone down and come back\n";
const char* const kLeftAlone =
    "the host was asked to power off and was not seen booted since: the resume leaves it alone, "
    "nothing is changed, every mark is kept\n";
const char* const kStopDuringCheck = "stop requested, the wait for the host's power-off ends\n";

bool all_digits(const std::string& text, size_t most) {
    if (text.empty() || text.size() > most) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    return true;
}

bool blank(const std::string& line) { return line.find_first_not_of(" \t") == std::string::npos; }

// The reply's lines, each without its line end.
std::string next_line(const char** cursor) {
    const char* start = *cursor;
    const char* end = strchr(start, '\n');
    size_t length = end != NULL ? static_cast<size_t>(end - start) : strlen(start);
    *cursor = start + length + (end != NULL ? 1 : 0);
    std::string line(start, length);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

int stopped() {
    KelTrace(TRACE_DEBUG, "BootCheck", kStopDuringCheck);
    return StopRequest::kStatusStopped;
}

int left_alone() {
    KelTrace(TRACE_ERROR, "BootCheck", kLeftAlone);
    return SSH_CANNOT_CONNECT_ERR;
}

// A read that failed as one does while the host goes down or boots (the
// connection refused or broken, a reply that never came); a reply that is no
// uptime (11) is not among them.
bool host_going_or_coming(int status) {
    BootWait::Attempt attempt;
    attempt.status = status;
    return BootWait::WorthAnotherAttempt(attempt);
}

// One look at the host logged in: 0 with `booted` set when its uptime says
// it has booted since the power-off; a read that failed as the host goes down
// counts as not booted yet; any other failure's status ends the check.
int look(Host& host, long long powerOffAt, Clock& clock, bool* booted) {
    *booted = false;
    unsigned long long micros = 0;
    int rc = host.ReadUptime(&micros);
    if (rc != SSH_SUCCESS) return host_going_or_coming(rc) ? SSH_SUCCESS : rc;
    double now = clock.EpochNow();
    *booted = BootedSince(powerOffAt, now, micros);
    long long bootedAt = static_cast<long long>(now - static_cast<double>(micros) / 1e6);
    if (*booted) KelTrace(TRACE_INFO, "BootCheck", kBooted, bootedAt - powerOffAt);
    else KelTrace(TRACE_INFO, "BootCheck", kNotDown, powerOffAt, micros / 1000000ULL);
    return SSH_SUCCESS;
}

}  // namespace

bool ParseUptime(const char* reply, unsigned long long* micros) {
    if (reply == NULL || !ends_with_shell_prompt(reply)) return false;
    std::string digits;
    const char* cursor = reply;
    while (*cursor != '\0') {
        std::string line = next_line(&cursor);
        if (blank(line) || is_prompt_line(line.c_str())) continue;
        if (!digits.empty() || !all_digits(line, kMaxUptimeDigits)) return false;
        digits = line;
    }
    if (digits.empty()) return false;
    *micros = strtoull(digits.c_str(), NULL, 10);
    return true;
}

bool BootedSince(long long powerOffAt, double now, unsigned long long uptimeMicros) {
    double booted = now - static_cast<double>(uptimeMicros) / 1e6;
    return booted >= static_cast<double>(powerOffAt) + kBootMarginSeconds;
}

bool ParsePowerOffAt(const char* text, long long* epoch) {
    if (text == NULL || !all_digits(text, kMaxEpochDigits)) return false;
    *epoch = strtoll(text, NULL, 10);
    return true;
}

double Clock::EpochNow() {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

int WaitForBootSince(Host& host, long long powerOffAt, double deadline, Clock& clock) {
    for (;;) {
        bool booted = false;
        int rc = look(host, powerOffAt, clock, &booted);
        if (rc != SSH_SUCCESS || booted) return rc;
        if (clock.Stopped()) return stopped();
        if (clock.Now() + BootWait::kRetrySeconds > deadline) return left_alone();
        KelTrace(TRACE_INFO, "BootCheck", kLookAgain, BootWait::kRetrySeconds);
        if (!clock.Pause(BootWait::kRetrySeconds)) return stopped();
        rc = host.LogInAgain(deadline);
        if (rc == SSH_CANNOT_CONNECT_ERR) return left_alone();
        if (rc != SSH_SUCCESS) return rc;
    }
}

}  // namespace HostBootCheck
