#include "host_keys.h"

#include "state_values.h"

namespace esxisim {

namespace {

const int kMaxStallSeconds = 3600;
const int kMaxPauseSeconds = 3600;
const int kDefaultStallSeconds = 600;

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

bool AddText(const std::string& value, std::vector<std::string>* list) {
    list->push_back(value);
    return !value.empty();
}

// Hosts refuse maintenance while a VM runs, always; older state files still say so with this switch.
bool AcceptRefusalSwitch(const std::string& value) { return value == kYes; }

bool ApplyIdentityKey(const std::string& key, const std::string& value, HostState* host, bool* ok) {
    if (key == "hostname") {
        *ok = !value.empty();
        host->hostname = value;
    } else if (key == "esxi_version") *ok = ParseProfile(value, &host->profile);
    else if (key == "prompt") *ok = ParsePrompt(value, &host->prompt);
    else return false;
    return true;
}

bool ApplyBehaviourKey(const std::string& key, const std::string& value, HostState* host, bool* ok) {
    if (key == "maintenance") *ok = ParseBool(value, &host->in_maintenance);
    else if (key == "refuse_maintenance_while_running") *ok = AcceptRefusalSwitch(value);
    else if (key == "task_counter") *ok = ParseNumber(value, &host->task_counter);
    else if (key == "invalid_vm") *ok = AddText(value, &host->invalid_vms);
    else if (key == "stall") *ok = AddText(value, &host->stalls);
    else if (key == "stall_seconds") *ok = ParseBounded(value, kMaxStallSeconds, &host->stall_seconds);
    else return false;
    return true;
}

bool ApplyPowerKey(const std::string& key, const std::string& value, HostState* host, bool* ok) {
    if (key == "powered_off") *ok = ParseBool(value, &host->powered_off);
    else if (key == "poweroff_at") *ok = ParseEpoch(value, &host->poweroff_at);
    else if (key == "boot_ssh_at") *ok = ParseEpoch(value, &host->boot_ssh_at);
    else if (key == "boot_hostd_at") *ok = ParseEpoch(value, &host->boot_hostd_at);
    else if (key == "booted_at") *ok = ParseEpoch(value, &host->booted_at);
    else return false;
    return true;
}

bool IsDigits(const std::string& word) {
    return !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
}

// "NAME WRITE_MBPS READ_MBPS", the name possibly with blanks: a value that ends in two numbers. Any other
// value is a VM's datastore (vm_keys.h).
bool IsDatastoreSpeed(const std::string& value) {
    std::vector<std::string> words = Words(value);
    return words.size() >= 3 && IsDigits(words[words.size() - 2]) && IsDigits(words.back());
}

// Both speeds at least 1 MB/s.
bool ParseDatastoreSpeed(const std::string& value, Datastore* out) {
    std::vector<std::string> words = Words(value);
    size_t name_end = value.size() - words[words.size() - 1].size() - words[words.size() - 2].size() - 2;
    out->name = value.substr(0, name_end);
    return ParseNumber(words[words.size() - 2], &out->write_mbps) && out->write_mbps > 0 &&
           ParseNumber(words.back(), &out->read_mbps) && out->read_mbps > 0 && !out->name.empty();
}

bool AddDatastore(const std::string& value, HostState* host) {
    Datastore datastore;
    if (!ParseDatastoreSpeed(value, &datastore)) return false;
    host->datastores.push_back(datastore);
    return true;
}

bool ApplyDatastoreKey(const std::string& key, const std::string& value, HostState* host, bool* ok) {
    if (key == "datastore" && IsDatastoreSpeed(value)) *ok = AddDatastore(value, host);
    else if (key == "op_pause_seconds") *ok = ParseBounded(value, kMaxPauseSeconds, &host->op_pause_seconds);
    else if (key == "max_in_flight") *ok = ParseNumber(value, &host->max_in_flight);
    else return false;
    return true;
}

void FormatDatastoreKeys(const HostState& host, std::ostream& out) {
    for (const Datastore& datastore : host.datastores) {
        out << "datastore " << datastore.name << " " << datastore.write_mbps << " " << datastore.read_mbps << "\n";
    }
    if (host.op_pause_seconds != 0) out << "op_pause_seconds " << host.op_pause_seconds << "\n";
    if (host.max_in_flight >= 0) out << "max_in_flight " << host.max_in_flight << "\n";
}

void FormatMoment(const char* key, double epoch, std::ostream& out) {
    if (epoch > 0) out << key << " " << FormatEpoch(epoch) << "\n";
}

void FormatPowerKeys(const HostState& host, std::ostream& out) {
    if (host.powered_off) out << "powered_off " << kYes << "\n";
    FormatMoment("poweroff_at", host.poweroff_at, out);
    FormatMoment("boot_ssh_at", host.boot_ssh_at, out);
    FormatMoment("boot_hostd_at", host.boot_hostd_at, out);
    FormatMoment("booted_at", host.booted_at, out);
}

}  // namespace

bool ApplyHostKey(const std::string& key, const std::string& value, HostState* host, bool* ok) {
    *ok = true;
    return ApplyIdentityKey(key, value, host, ok) || ApplyBehaviourKey(key, value, host, ok) ||
           ApplyPowerKey(key, value, host, ok) || ApplyDatastoreKey(key, value, host, ok);
}

void FormatHostKeys(const HostState& host, std::ostream& out) {
    out << "hostname " << host.hostname << "\n"
        << "esxi_version " << host.profile->version << "\n";
    if (host.prompt != PromptStyle::kVersion) out << "prompt " << PromptWord(host.prompt) << "\n";
    out << "maintenance " << YesNo(host.in_maintenance) << "\n"
        << "task_counter " << host.task_counter << "\n";
    for (const std::string& id : host.invalid_vms) out << "invalid_vm " << id << "\n";
    for (const std::string& path : host.stalls) out << "stall " << path << "\n";
    if (host.stall_seconds != kDefaultStallSeconds) out << "stall_seconds " << host.stall_seconds << "\n";
    FormatPowerKeys(host, out);
    FormatDatastoreKeys(host, out);
}

}  // namespace esxisim
