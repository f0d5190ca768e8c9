#include "vm_keys.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "state_values.h"

namespace esxisim {

namespace {

const long kMaxSeconds = 3600;
const long kMaxMemoryMb = 24L * 1024 * 1024;  // 24 TB, the most a VM of ESXi 8.0 may have

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

bool ApplyDescriptionKey(const std::string& key, const std::string& value, VmState* vm, bool* ok) {
    if (key == "name") vm->name = value;
    else if (key == "file") vm->file = value;
    else if (key == "guest") vm->guest_os = value;
    else if (key == "version") vm->version = value;
    else if (key == "power") *ok = ParsePower(value, &vm->power);
    else return false;
    return true;
}

bool ApplyBehaviourKey(const std::string& key, const std::string& value, VmState* vm, bool* ok) {
    if (key == "refuse_suspend") *ok = ParseBool(value, &vm->refuse_suspend);
    else if (key == "suspend_seconds") *ok = ParseBounded(value, kMaxSeconds, &vm->suspend_seconds);
    else if (key == "refuse_power_on") *ok = ParseBool(value, &vm->refuse_power_on);
    else return false;
    return true;
}

bool ApplyGuestKey(const std::string& key, const std::string& value, VmState* vm, bool* ok) {
    if (key == "tools") *ok = ParseBool(value, &vm->tools);
    else if (key == "passthrough") *ok = ParseBool(value, &vm->passthrough);
    else if (key == "shutdown_seconds") *ok = ParseBounded(value, kMaxSeconds, &vm->shutdown_seconds);
    else if (key == "guest_shutdown_at") *ok = ParseEpoch(value, &vm->guest_shutdown_at);
    else return false;
    return true;
}

void FormatGuestKeys(const VmState& vm, std::ostream& out) {
    if (!vm.tools) out << "tools " << kNo << "\n";
    if (vm.passthrough) out << "passthrough " << kYes << "\n";
    if (vm.shutdown_seconds != 0) out << "shutdown_seconds " << vm.shutdown_seconds << "\n";
    if (vm.guest_shutdown_at > 0) out << "guest_shutdown_at " << FormatEpoch(vm.guest_shutdown_at) << "\n";
}

const char* OperationWord(OperationKind kind) { return kind == OperationKind::kSuspend ? "suspend" : "resume"; }

std::string FormatMb(double mb) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.3f", mb);
    return text;
}

bool ParseRemaining(const std::string& value, double* out) {
    char* end = nullptr;
    *out = std::strtod(value.c_str(), &end);
    return !value.empty() && *end == '\0' && *out >= 0;
}

// "suspend|resume pause PID" or "suspend|resume transfer PID REMAINING_MB AS_OF_EPOCH".
bool ParseOperation(const std::string& value, VmOperation* out) {
    std::vector<std::string> words = Words(value);
    if (words.size() < 3 || !ParseNumber(words[2], &out->pid) || out->pid == 0) return false;
    if (words[0] == "suspend") out->kind = OperationKind::kSuspend;
    else if (words[0] == "resume") out->kind = OperationKind::kResume;
    else return false;
    out->transferring = words[1] == "transfer";
    if (words[1] == "pause") return words.size() == 3;
    return out->transferring && words.size() == 5 && ParseRemaining(words[3], &out->remaining_mb) &&
           ParseEpoch(words[4], &out->as_of);
}

bool ApplyStorageKey(const std::string& key, const std::string& value, VmState* vm, bool* ok) {
    if (key == "memory_mb") *ok = ParseNumber(value, &vm->memory_mb) && vm->memory_mb <= kMaxMemoryMb;
    else if (key == "datastore") *ok = !(vm->datastore = value).empty();
    else if (key == "operation") *ok = ParseOperation(value, &vm->operation);
    else return false;
    return true;
}

void FormatStorageKeys(const VmState& vm, std::ostream& out) {
    if (vm.memory_mb != 0) out << "memory_mb " << vm.memory_mb << "\n";
    if (!vm.datastore.empty()) out << "datastore " << vm.datastore << "\n";
    const VmOperation& operation = vm.operation;
    if (operation.kind == OperationKind::kNone) return;
    out << "operation " << OperationWord(operation.kind) << " " << (operation.transferring ? "transfer" : "pause")
        << " " << operation.pid;
    if (operation.transferring) out << " " << FormatMb(operation.remaining_mb) << " " << FormatEpoch(operation.as_of);
    out << "\n";
}

void FormatNote(const std::string& note, std::ostream& out) {
    std::istringstream lines(note);
    for (std::string line; !note.empty() && std::getline(lines, line);) out << "note " << line << "\n";
    if (!note.empty() && note.back() == '\n') out << "note \n";
}

}  // namespace

bool ApplyVmKey(const std::string& key, const std::string& value, VmState* vm, bool* ok) {
    *ok = true;
    return ApplyDescriptionKey(key, value, vm, ok) || ApplyBehaviourKey(key, value, vm, ok) ||
           ApplyGuestKey(key, value, vm, ok) || ApplyStorageKey(key, value, vm, ok);
}

void FormatVm(const VmState& vm, std::ostream& out) {
    out << "vm " << vm.id << "\n"
        << "name " << vm.name << "\n"
        << "file " << vm.file << "\n"
        << "guest " << vm.guest_os << "\n"
        << "version " << vm.version << "\n"
        << "power " << PowerWord(vm.power) << "\n";
    FormatNote(vm.note, out);
    out << "refuse_suspend " << YesNo(vm.refuse_suspend) << "\n"
        << "suspend_seconds " << vm.suspend_seconds << "\n";
    if (vm.refuse_power_on) out << "refuse_power_on " << kYes << "\n";
    FormatGuestKeys(vm, out);
    FormatStorageKeys(vm, out);
}

}  // namespace esxisim
