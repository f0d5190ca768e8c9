#include "esxcli_texts.h"

namespace esxisim {

const char kShutdownListing[] =
    "Usage: esxcli system shutdown {cmd} [cmd options]\n"
    "Available Commands:\n"
    "  poweroff              Power off the system. The host must be in maintenance mode.\n"
    "  reboot                Reboot the system. The host must be in maintenance mode.\n";

const char kMissingReason[] = "Error: Missing required parameter -r|--reason\n";

const char kPowerOffUsage[] =
    "Usage: esxcli system shutdown poweroff [cmd options]\n"
    "Description:\n"
    "  poweroff              Power off the system. The host must be in maintenance mode.\n"
    "Cmd options:\n"
    "  -d|--delay=<long>     Delay interval in seconds\n"
    "  -r|--reason=<str>     Reason for performing the operation (required)\n";

const char kEnabled[] = "Enabled\n";
const char kDisabled[] = "Disabled\n";

const char kUnknownCommand[] = "Error: Unknown command or namespace ";

const char kEsxcliUsage[] = "Usage: esxcli [options] {namespace}+ {cmd} [cmd options]\n";
const char kInvalidOption[] = "Error: Invalid option ";
const char kInvalidDelay[] = "Error: Invalid value for -d|--delay: ";
const char kNotInMaintenance[] = "The operation is not allowed in the current state.\n";
const char kNotSimulated[] = "esxi-sim: not simulated: esxcli ";

}  // namespace esxisim
