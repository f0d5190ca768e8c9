#include "state_text.h"

#include <sstream>

#include "host_keys.h"
#include "vm_keys.h"

namespace esxisim {

namespace {

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
        if (note_lines_++ > 0) Vm()->note += '\n';
        Vm()->note += value;
        return "";
    }

    bool HasVm() const { return !host_->vms.empty(); }
    VmState* Vm() { return &host_->vms.back(); }

    HostState* host_;
    int note_lines_ = 0;
};

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
    FormatHostKeys(host, out);
    for (const VmState& vm : host.vms) FormatVm(vm, out);
    return out.str();
}

}  // namespace esxisim
