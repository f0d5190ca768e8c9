#include "esxcli.h"

#include <cmath>
#include <iostream>

#include "esxcli_texts.h"
#include "host_clock.h"
#include "state_values.h"

namespace esxisim {

namespace {

const int kFailed = 1;

struct PowerOffRequest {
    long delay_seconds = 0;
    std::string reason;
    bool has_reason = false;
    std::string error;  // what esxcli says about the options; empty when they are good
};

bool TakeValue(const std::vector<std::string>& args, size_t* i, std::string* value) {
    if (*i + 1 >= args.size()) return false;
    *value = args[++*i];
    return true;
}

// "-d N", "--delay N", "--delay=N"; the same for -r|--reason.
bool ReadOption(const std::vector<std::string>& args, size_t* i, PowerOffRequest* request) {
    const std::string& arg = args[*i];
    std::string value;
    bool delay = arg == "-d" || arg == "--delay" || arg.compare(0, 8, "--delay=") == 0;
    bool reason = arg == "-r" || arg == "--reason" || arg.compare(0, 9, "--reason=") == 0;
    if (!delay && !reason) return false;
    size_t equals = arg.find('=');
    if (equals != std::string::npos) value = arg.substr(equals + 1);
    else if (!TakeValue(args, i, &value)) return false;
    if (delay && !ParseNumber(value, &request->delay_seconds)) request->error = kInvalidDelay + value + "\n";
    if (reason) request->has_reason = true;
    if (reason) request->reason = value;
    return true;
}

PowerOffRequest ReadPowerOff(const std::vector<std::string>& args) {
    PowerOffRequest request;
    for (size_t i = 3; i < args.size() && request.error.empty(); ++i) {
        if (!ReadOption(args, &i, &request)) request.error = kInvalidOption + args[i] + "\n";
    }
    if (request.error.empty() && !request.has_reason) request.error = kMissingReason;
    return request;
}

// The power goes off `delay` seconds from now (host_clock.h); an earlier power-off under way stands.
// The moment is cut to the millisecond the state file keeps, so that one without delay is already due
// when the state is read again.
std::string SchedulePowerOff(HostState* host, long delay) {
    if (!host->in_maintenance) return kNotInMaintenance;
    double at = std::floor((EpochNow() + static_cast<double>(delay)) * 1000) / 1000;
    if (host->poweroff_at <= 0 || at < host->poweroff_at) host->poweroff_at = at;
    return "";
}

int PowerOff(const std::vector<std::string>& args, const StateStore& store, std::ostream& out) {
    PowerOffRequest request = ReadPowerOff(args);
    if (!request.error.empty()) {
        out << request.error << kPowerOffUsage;
        return kFailed;
    }
    std::string refusal;
    std::string error;
    if (!store.Update([&](HostState* host) { refusal = SchedulePowerOff(host, request.delay_seconds); }, &error)) {
        return ReportStateError(error);
    }
    out << refusal;
    return refusal.empty() ? 0 : kFailed;
}

int MaintenanceModeGet(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << (host.in_maintenance ? kEnabled : kDisabled);
    return 0;
}

// Microseconds since the host came on, as a line of digits and nothing else.
int UptimeGet(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << UptimeMicroseconds(host, EpochNow()) << "\n";
    return 0;
}

bool Is(const std::vector<std::string>& args, const std::vector<std::string>& command) {
    if (args.size() < command.size()) return false;
    for (size_t i = 0; i < command.size(); ++i) {
        if (args[i] != command[i]) return false;
    }
    return true;
}

int Unknown(const std::vector<std::string>& args, std::ostream& out) {
    std::string words;
    for (const std::string& arg : args) words += (words.empty() ? "" : " ") + arg;
    out << kUnknownCommand << words << "\n\n";
    return kFailed;
}

int NotSimulated(const std::vector<std::string>& args) {
    std::cerr << kNotSimulated << args[0] << " " << args[1] << " " << args[2] << "\n";
    return kFailed;
}

}  // namespace

int RunEsxcli(const std::vector<std::string>& args, const StateStore& store, std::ostream& out) {
    if (args.empty()) {
        out << kEsxcliUsage;
        return kFailed;
    }
    if (Is(args, {"system", "shutdown", "poweroff"})) return PowerOff(args, store, out);
    if (Is(args, {"system", "maintenanceMode", "get"}) && args.size() == 3) return MaintenanceModeGet(store, out);
    if (Is(args, {"system", "stats", "uptime", "get"}) && args.size() == 4) return UptimeGet(store, out);
    if (Is(args, {"system", "shutdown", "reboot"}) || Is(args, {"system", "maintenanceMode", "set"})) {
        return NotSimulated(args);
    }
    if (args.size() == 2 && Is(args, {"system", "shutdown"})) {
        out << kShutdownListing;
        return 0;
    }
    return Unknown(args, out);
}

}  // namespace esxisim
