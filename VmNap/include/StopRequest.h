// A stop asked for from outside: SIGTERM (systemctl stop, a unit's time-out,
// shutdown), SIGINT (Ctrl-C) or SIGHUP (the terminal went away). The signal
// only sets a flag; the run looks at it between its steps, lets the step in
// flight finish, saves the list file and ends with kStatusStopped.
#ifndef VMNAP_STOP_REQUEST_H
#define VMNAP_STOP_REQUEST_H

namespace StopRequest {

// Exit status of a run that a stop cut short: a step was left undone.
const int kStatusStopped = 17;

// Installs the handlers of the three signals (SA_RESTART: a read or write in
// progress is resumed, not failed).
void Install();

// True once one of the signals came.
bool Requested();

// The first signal that asked for the stop; 0 when none came.
int Signal();

// Forgets a stop asked for earlier, for a process that goes through several
// runs (the tests).
void Clear();

}  // namespace StopRequest

#endif
