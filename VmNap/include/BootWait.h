// Waiting for a host that is still booting (-waitminutes): the login is tried
// again a few seconds apart, each time on a fresh client, until it succeeds,
// fails for a reason no retry can mend, or the time is up. Before each new try
// the host's SSH port is looked at, so that no client is started while nothing
// answers there. A stop asked for ends the wait at once (StopRequest.h).
#ifndef VMNAP_BOOT_WAIT_H
#define VMNAP_BOOT_WAIT_H

namespace BootWait {

// Seconds from a failed try (or a look at the port that found nothing) to
// the next one.
const int kRetrySeconds = 5;
// How long one look at the SSH port waits for the host to answer.
const int kPortLookMs = 3000;

// What one login try came to.
struct Attempt {
    int status = 0;               // the login's status (0: logged in)
    bool hostKeyChanged = false;  // its 3 is the refusal of a changed host key
    bool hostdStarting = false;   // vim-cmd said it cannot reach hostd yet
};

// The policy: a try that failed so is worth another one after a pause while
// the host boots. Worth it: the host could not be reached (3, but never after
// a changed host key), the connection ended during the login (7), the login
// went silent (8), or vim-cmd could not reach hostd yet (11 with its text).
// Never: a wrong password (6: more tries would lock the account), a missing
// client, an internal error, or any other answer of the host.
bool WorthAnotherAttempt(const Attempt& attempt);

// The host side of the wait.
class Host {
public:
    virtual ~Host() {}
    // Logs in on the client started last.
    virtual Attempt LogIn() = 0;
    // Ends that client and starts a new one; the status of the start.
    virtual int StartClient() = 0;
    // One look at the host's SSH port: it accepts connections.
    virtual bool PortAnswers() = 0;
};

// The time of the wait: the clock, the pauses, and the stop that cuts them short.
class Clock {
public:
    virtual ~Clock() {}
    virtual double Now();  // seconds, monotonic
    virtual bool Stopped();  // a stop was asked for
    // Sleeps `seconds`; false as soon as a stop is asked for.
    virtual bool Pause(double seconds);
};

// Logs in on `host`, whose first client is started, trying again while the
// host boots, for at most `waitSeconds`. The status of the last try, 3 when
// the SSH port never answered at the end, or 17 (StopRequest::kStatusStopped)
// when a stop ended the wait.
int LogInWithin(Host& host, int waitSeconds, Clock& clock);

// The same on a new client, for a host that was logged in and is to be seen
// again (HostBootCheck.h): looks at the SSH port until it answers, starts a
// new client and logs in, trying again until `deadline` (Clock::Now());
// `waitSeconds` is the whole wait the deadline ends, for the messages.
int LogInAgainBefore(Host& host, int waitSeconds, double deadline, Clock& clock);

}  // namespace BootWait

#endif
