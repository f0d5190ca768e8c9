// What the simulated esxcli prints. Texts from a real host name their source; the others are choices
// (README, "Choices where real output is unknown").
#ifndef ESXI_SIM_ESXCLI_TEXTS_H
#define ESXI_SIM_ESXCLI_TEXTS_H

namespace esxisim {

// jreypo/jreypo.github.io, "Power and maintenance operations in ESXi 5.1 with esxcli" (2012): the listing of
// "esxcli system shutdown", and "esxcli system shutdown poweroff" without its reason.
extern const char kShutdownListing[];
extern const char kMissingReason[];
extern const char kPowerOffUsage[];

// Section 5a of the reference output (ESXi 8.0.3): "esxcli system maintenanceMode get".
extern const char kEnabled[];
extern const char kDisabled[];

// ESXi 9.0.0 transcript: "Error: Unknown command or namespace system uptime get", then an empty line.
extern const char kUnknownCommand[];

// Choices: esxcli without arguments, a bad option or delay, a power-off outside maintenance mode (the
// message of the InvalidState fault the API documents for it), and the commands the simulator lists but
// does not carry out (on standard error).
extern const char kEsxcliUsage[];
extern const char kInvalidOption[];
extern const char kInvalidDelay[];
extern const char kNotInMaintenance[];
extern const char kNotSimulated[];

}  // namespace esxisim

#endif
