// The command line of a systemd service, worked out the way systemd does it for the simple forms the
// package's units use, so that tests can run a unit's command without a running systemd.
#ifndef VMNAP_TEST_SUPPORT_UNIT_COMMAND_H
#define VMNAP_TEST_SUPPORT_UNIT_COMMAND_H

#include <map>
#include <string>
#include <vector>

using UnitEnvironment = std::map<std::string, std::string>;

// NAME=value lines of an EnvironmentFile=: blank lines and lines starting with '#' are skipped, and one
// pair of double or single quotes around a value is removed.
UnitEnvironment ReadEnvironmentFile(const std::string& text);

// The words of the unit's ExecStart= line: "%i" becomes `instance`, "${NAME}" the variable's value
// (empty when unset) and a word "$NAME" the value's blank-separated words (none when unset). Quotes,
// other specifiers and a missing or second ExecStart= are not handled: false with `error` set.
bool UnitCommand(const std::string& unit_text, const std::string& instance, const UnitEnvironment& env,
                 std::vector<std::string>* argv, std::string* error);

#endif
