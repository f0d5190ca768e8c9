#include "BootWait.h"

#include <time.h>

#include "StopRequest.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

namespace BootWait {

namespace {

const double kPauseSliceSeconds = 0.1;

const char* const kTryAgain = "the host is not ready yet (status %d): trying again in %d s\n";
const char* const kHostdStarting = "vim-cmd cannot reach hostd yet: the host is still starting\n";
const char* const kPortSilent = "port 22 of the host does not answer yet: looking again in %d s\n";
const char* const kGaveUp = "the host did not take the login within %d min (-waitminutes): status %d\n";
const char* const kStopDuringWait = "stop requested, the wait for the host ends\n";

int stopped() {
    KelTrace(TRACE_DEBUG, "BootWait", kStopDuringWait);
    return StopRequest::kStatusStopped;
}

int gave_up(int waitSeconds, int status) {
    KelTrace(TRACE_ERROR, "BootWait", kGaveUp, waitSeconds / 60, status);
    return status;
}

// Looks at the SSH port until it answers: 0, 3 when the time is up first, 17
// at a stop.
int reach_port(Host& host, int waitSeconds, double deadline, Clock& clock) {
    for (;;) {
        bool answers = host.PortAnswers();
        if (clock.Stopped()) return stopped();
        if (answers) return SSH_SUCCESS;
        if (clock.Now() + kRetrySeconds > deadline) return gave_up(waitSeconds, SSH_CANNOT_CONNECT_ERR);
        KelTrace(TRACE_INFO, "BootWait", kPortSilent, kRetrySeconds);
        if (!clock.Pause(kRetrySeconds)) return stopped();
    }
}

}  // namespace

bool WorthAnotherAttempt(const Attempt& attempt) {
    switch (attempt.status) {
        case SSH_CANNOT_CONNECT_ERR: return !attempt.hostKeyChanged;
        case SSH_REMOTE_PARSER_ERR:
        case SSH_REMOTE_TIMEOUT_ERR: return true;
        case SSH_CLI_CMD_FAILED_ERR: return attempt.hostdStarting;
        default: return false;
    }
}

double Clock::Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

bool Clock::Stopped() { return StopRequest::Requested(); }

bool Clock::Pause(double seconds) {
    double end = Now() + seconds;
    while (!Stopped()) {
        double left = end - Now();
        if (left <= 0) return true;
        double slice = left < kPauseSliceSeconds ? left : kPauseSliceSeconds;
        struct timespec ts;
        ts.tv_sec = static_cast<time_t>(slice);
        ts.tv_nsec = static_cast<long>((slice - static_cast<double>(ts.tv_sec)) * 1e9);
        nanosleep(&ts, nullptr);
    }
    return false;
}

namespace {

// Logs in on the client started last, trying again on new clients until
// `deadline`; `waitSeconds` is the whole wait, for its message.
int log_in_before(Host& host, int waitSeconds, double deadline, Clock& clock) {
    Attempt attempt = host.LogIn();
    while (attempt.status != SSH_SUCCESS && WorthAnotherAttempt(attempt)) {
        if (attempt.hostdStarting) KelTrace(TRACE_INFO, "BootWait", kHostdStarting);
        if (clock.Stopped()) return stopped();
        if (clock.Now() + kRetrySeconds > deadline) return gave_up(waitSeconds, attempt.status);
        KelTrace(TRACE_INFO, "BootWait", kTryAgain, attempt.status, kRetrySeconds);
        if (!clock.Pause(kRetrySeconds)) return stopped();
        int rc = reach_port(host, waitSeconds, deadline, clock);
        if (rc == SSH_SUCCESS) rc = host.StartClient();
        if (rc != SSH_SUCCESS) return rc;
        attempt = host.LogIn();
    }
    return attempt.status;
}

}  // namespace

int LogInWithin(Host& host, int waitSeconds, Clock& clock) {
    return log_in_before(host, waitSeconds, clock.Now() + waitSeconds, clock);
}

int LogInAgainBefore(Host& host, int waitSeconds, double deadline, Clock& clock) {
    int rc = reach_port(host, waitSeconds, deadline, clock);
    if (rc == SSH_SUCCESS) rc = host.StartClient();
    if (rc != SSH_SUCCESS) return rc;
    return log_in_before(host, waitSeconds, deadline, clock);
}

}  // namespace BootWait
