// The values of the state file's keys: yes/no switches, counts, seconds and points in time.
#ifndef ESXI_SIM_STATE_VALUES_H
#define ESXI_SIM_STATE_VALUES_H

#include <string>
#include <vector>

namespace esxisim {

extern const char kYes[];
extern const char kNo[];

const char* YesNo(bool value);

// "yes" or "no".
bool ParseBool(const std::string& value, bool* out);

// A whole number, 0 or more.
bool ParseNumber(const std::string& value, long* out);

// A whole number from 0 to `max`.
bool ParseBounded(const std::string& value, long max, int* out);

// Seconds since the epoch, digits with an optional fraction ("1732390005" or "1732390005.250"), more than 0.
bool ParseEpoch(const std::string& value, double* out);

// The form ParseEpoch reads: milliseconds kept.
std::string FormatEpoch(double epoch);

// The words of `value` split at single blanks.
std::vector<std::string> Words(const std::string& value);

}  // namespace esxisim

#endif
