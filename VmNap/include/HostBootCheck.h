// Whether a host that suspend_vms -poweroff asked to power off has been down
// since: the list file keeps the moment of the request (the tool's clock,
// epoch seconds), the host tells its uptime, and the tool's clock now minus
// that uptime is when the host booted. No clock of the host is compared with
// the tool's. A host that has not booted since the request has not gone down
// yet: it is still in the delay of its power-off, and whatever the resume
// started there would lose its power seconds later.
#ifndef VMNAP_HOST_BOOT_CHECK_H
#define VMNAP_HOST_BOOT_CHECK_H

#include "BootWait.h"

namespace HostBootCheck {

// The power goes off no sooner than the power-off's delay after the request,
// so a boot is at least that much later. A boot counts from half the delay
// on: the other half is room for the time the uptime's reply takes, which
// makes the boot look later than it was.
const int kBootMarginSeconds = 5;

// The most digits an uptime may have: 16 digits of microseconds are over 300 years.
const int kMaxUptimeDigits = 16;

// Reads the reply of "esxcli system stats uptime get": microseconds since the
// host booted, one line of 1 to 16 digits, with nothing else before the
// shell's prompt but blank lines. Any other reply is false.
bool ParseUptime(const char* reply, unsigned long long* micros);

// The host, whose uptime read at `now` (epoch seconds, the tool's clock) was
// `uptimeMicros`, has booted since the power-off asked for at `powerOffAt`.
bool BootedSince(long long powerOffAt, double now, unsigned long long uptimeMicros);

// The moment of the request as the list file keeps it: 1 to 18 digits.
bool ParsePowerOffAt(const char* text, long long* epoch);

// The host side of the check.
class Host {
public:
    virtual ~Host() {}
    // Sends the uptime command on the client logged in last: its status, and
    // the uptime when that is 0 (a reply that is no uptime: 11).
    virtual int ReadUptime(unsigned long long* micros) = 0;
    // Ends the client and logs in on a new one, trying again while the host
    // is off or boots, until `deadline` (BootWait::Clock::Now()).
    virtual int LogInAgain(double deadline) = 0;
};

// The time of the check: BootWait's clock and pauses, and the wall clock.
class Clock : public BootWait::Clock {
public:
    // Seconds since the epoch, the tool's own clock.
    virtual double EpochNow();
};

// On a host logged in: 0 once it has booted since `powerOffAt`. While it has
// not, the check is made again every BootWait::kRetrySeconds on a new login,
// through the host's power-off and boot, until `deadline`; then (or at once
// when `deadline` has passed) 3. A stop ends it with 17; a read of the uptime
// that failed otherwise than as a host going down or booting ends it with its
// status.
int WaitForBootSince(Host& host, long long powerOffAt, double deadline, Clock& clock);

}  // namespace HostBootCheck

#endif
