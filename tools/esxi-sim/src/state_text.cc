#include "state_text.h"

#include <cstdlib>
#include <sstream>

namespace esxisim {

namespace {

const char kYes[] = "yes";
const char kNo[] = "no";

bool ParseBool(const std::string& value, bool* out) {
    if (value != kYes && value != kNo) return false;
    *out = value == kYes;
    return true;
}

bool ParseNumber(const std::string& value, long* out) {
    if (value.empty()) return false;
    char* end = nullptr;
    *out = std::strtol(value.c_str(), &end, 10);
    return *end == '\0' && *out >= 0;
}

bool ParsePower(const std::string& value, PowerState* out) {
    if (value == "on") *out = PowerState::kOn;
    else if (value == "off") *out = PowerState::kOff;
    else if (value == "suspended") *out = PowerState::kSuspended;
    else return false;
    return true;
}

const char* PowerWord(PowerState state) {
    switch (state) {
        case PowerState::kOn: return "on";
        case PowerState::kOff: return "off";
        case PowerState::kSuspended: return "suspended";
    }
    return "";
}

const char* PromptWord(PromptStyle style) { return style == PromptStyle::kBracket ? "bracket" : "busybox"; }

bool ParsePrompt(const std::string& value, PromptStyle* out) {
    if (value == "busybox") *out = PromptStyle::kBusybox;
    else if (value == "bracket") *out = PromptStyle::kBracket;
    else return false;
    return true;
}

bool ParseProfile(const std::string& value, const VersionProfile** out) {
    *out = FindProfile(value);
    return *out != nullptr;
}

bool AddInvalidVm(const std::string& id, HostState* host) {
    host->invalid_vms.push_back(id);
    return !id.empty();
}

// Hosts refuse maintenance while a VM runs, always; older state files still say so with this switch.
bool AcceptRefusalSwitch(const std::string& value) { return value == kYes; }

bool ApplyHostKey(const std::string& key, const std::string& value, HostState* host, bool* ok) {
    if (key == "hostname") {
        *ok = !value.empty();
        host->hostname = value;
    } else if (key == "esxi_version") *ok = ParseProfile(value, &host->profile);
    else if (key == "prompt") *ok = ParsePrompt(value, &host->prompt);
    else if (key == "maintenance") *ok = ParseBool(value, &host->in_maintenance);
    else if (key == "refuse_maintenance_while_running") *ok = AcceptRefusalSwitch(value);
    else if (key == "task_counter") *ok = ParseNumber(value, &host->task_counter);
    else if (key == "invalid_vm") *ok = AddInvalidVm(value, host);
    else return false;
    return true;
}

void AppendNoteLine(const std::string& value, VmState* vm, bool first) {
    if (!first) vm->note += '\n';
    vm->note += value;
}

bool ParseSeconds(const std::string& value, int* out) {
    long seconds = 0;
    if (!ParseNumber(value, &seconds) || seconds > 3600) return false;
    *out = static_cast<int>(seconds);
    return true;
}

bool ApplyVmKey(const std::string& key, const std::string& value, VmState* vm, bool* ok) {
    *ok = true;
    if (key == "name") vm->name = value;
    else if (key == "file") vm->file = value;
    else if (key == "guest") vm->guest_os = value;
    else if (key == "version") vm->version = value;
    else if (key == "power") *ok = ParsePower(value, &vm->power);
    else if (key == "refuse_suspend") *ok = ParseBool(value, &vm->refuse_suspend);
    else if (key == "suspend_seconds") *ok = ParseSeconds(value, &vm->suspend_seconds);
    else return false;
    return true;
}

class Parser {
public:
    explicit Parser(HostState* host) : host_(host) {}

    // Returns an empty string when the line is good, else the reason.
    std::string Line(const std::string& line) {
        if (line.empty() || line[0] == '#') return "";
        size_t blank = line.find(' ');
        std::string key = line.substr(0, blank);
        std::string value = blank == std::string::npos ? "" : line.substr(blank + 1);
        return Pair(key, value);
    }

private:
    std::string Pair(const std::string& key, const std::string& value) {
        bool ok = true;
        if (key == "vm") return StartVm(value);
        if (ApplyHostKey(key, value, host_, &ok)) return ok ? "" : "bad value for " + key;
        if (key == "note") return Note(value);
        if (!HasVm()) return "unknown key " + key;
        if (ApplyVmKey(key, value, Vm(), &ok)) return ok ? "" : "bad value for " + key;
        return "unknown key " + key;
    }

    std::string StartVm(const std::string& id) {
        if (id.empty()) return "vm without id";
        if (host_->FindVm(id)) return "duplicate vm " + id;
        host_->vms.emplace_back();
        host_->vms.back().id = id;
        note_lines_ = 0;
        return "";
    }

    std::string Note(const std::string& value) {
        if (!HasVm()) return "note outside a vm";
        AppendNoteLine(value, Vm(), note_lines_++ == 0);
        return "";
    }

    bool HasVm() const { return !host_->vms.empty(); }
    VmState* Vm() { return &host_->vms.back(); }

    HostState* host_;
    int note_lines_ = 0;
};

void FormatVm(const VmState& vm, std::ostringstream& out) {
    out << "vm " << vm.id << "\n"
        << "name " << vm.name << "\n"
        << "file " << vm.file << "\n"
        << "guest " << vm.guest_os << "\n"
        << "version " << vm.version << "\n"
        << "power " << PowerWord(vm.power) << "\n";
    std::istringstream note(vm.note);
    for (std::string line; !vm.note.empty() && std::getline(note, line);) out << "note " << line << "\n";
    if (!vm.note.empty() && vm.note.back() == '\n') out << "note \n";
    out << "refuse_suspend " << (vm.refuse_suspend ? kYes : kNo) << "\n"
        << "suspend_seconds " << vm.suspend_seconds << "\n";
}

}  // namespace

bool ParseState(const std::string& text, HostState* host, std::string* error) {
    *host = HostState();
    Parser parser(host);
    std::istringstream in(text);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::string reason = parser.Line(line);
        if (reason.empty()) continue;
        *error = "line " + std::to_string(number) + ": " + reason;
        return false;
    }
    return true;
}

std::string FormatState(const HostState& host) {
    std::ostringstream out;
    out << "hostname " << host.hostname << "\n"
        << "esxi_version " << host.profile->version << "\n";
    if (host.prompt != PromptStyle::kVersion) out << "prompt " << PromptWord(host.prompt) << "\n";
    out << "maintenance " << (host.in_maintenance ? kYes : kNo) << "\n"
        << "task_counter " << host.task_counter << "\n";
    for (const std::string& id : host.invalid_vms) out << "invalid_vm " << id << "\n";
    for (const VmState& vm : host.vms) FormatVm(vm, out);
    return out.str();
}

}  // namespace esxisim
