#include "VmTableRow.h"

#include "SshCommand.h"

namespace SshSrv {

namespace {

const size_t kColumnGap = 3;  // blanks between two columns
const char* const kVmxEnd = ".vmx";
const char* const kVersionStart = "vmx-";

bool is_digit(char c) { return c >= '0' && c <= '9'; }

size_t skip_blanks(const std::string& s, size_t p) {
    while (p < s.size() && s[p] == ' ') ++p;
    return p;
}

size_t skip_word(const std::string& s, size_t p) {
    while (p < s.size() && s[p] != ' ' && s[p] != '\t') ++p;
    return p;
}

// A run of at least three blanks starts at `p`; where it ends, or npos.
size_t skip_gap(const std::string& s, size_t p) {
    size_t end = skip_blanks(s, p);
    return end - p >= kColumnGap ? end : std::string::npos;
}

bool starts_with(const std::string& s, size_t p, const char* text) {
    return s.compare(p, std::char_traits<char>::length(text), text) == 0;
}

// The guest id, the version and the annotation after a file column that ends
// at `p`; false when they are not there.
bool read_tail(const std::string& s, size_t p, VmTableRow* row) {
    size_t guest = skip_gap(s, p);
    if (guest == std::string::npos || guest == s.size()) return false;
    size_t guest_end = skip_word(s, guest);
    size_t version = skip_gap(s, guest_end);
    if (version == std::string::npos || !starts_with(s, version, kVersionStart)) return false;
    size_t digits = version + std::char_traits<char>::length(kVersionStart);
    size_t end = digits;
    while (end < s.size() && is_digit(s[end])) ++end;
    if (end == digits || (end < s.size() && s[end] != ' ')) return false;
    row->guest = s.substr(guest, guest_end - guest);
    row->version = s.substr(version, end - version);
    size_t note = skip_blanks(s, end);
    size_t note_end = s.find_last_not_of(' ');
    row->annotation = note <= note_end && note_end != std::string::npos
                          ? s.substr(note, note_end + 1 - note) : "";
    return true;
}

// The file column's '[': the first one after the name's first character that
// follows a column gap and has its datastore's "] " before `file_end`.
size_t find_file_start(const std::string& s, size_t name, size_t file_end) {
    for (size_t p = s.find('[', name + 1); p != std::string::npos && p < file_end;
         p = s.find('[', p + 1)) {
        if (p - name < kColumnGap + 1 || s.compare(p - kColumnGap, kColumnGap, "   ") != 0) continue;
        size_t close = s.find("] ", p);
        if (close != std::string::npos && close < file_end) return p;
    }
    return std::string::npos;
}

}  // namespace

bool IsVmTableHeader(const std::string& line) {
    return line.find("Vmid") != std::string::npos && line.find("Name") != std::string::npos &&
           line.find("File") != std::string::npos;
}

bool ReadVmTableRow(const std::string& line, VmTableRow* row) {
    size_t id_end = 0;
    while (id_end < line.size() && is_digit(line[id_end])) ++id_end;
    if (id_end == 0 || id_end >= line.size() || line[id_end] != ' ') return false;
    size_t name = skip_blanks(line, id_end);
    if (name == line.size()) return false;
    if (!ESXiCommand::IsVmId(Env::String(line.substr(0, id_end).c_str()))) return false;
    // The first ".vmx" that ends a file column followed by the rest of a row.
    for (size_t p = line.find(kVmxEnd, name); p != std::string::npos; p = line.find(kVmxEnd, p + 1)) {
        size_t file_end = p + std::char_traits<char>::length(kVmxEnd);
        VmTableRow found;
        if (!read_tail(line, file_end, &found)) continue;
        size_t file = find_file_start(line, name, file_end);
        if (file == std::string::npos) continue;
        found.id = line.substr(0, id_end);
        found.name = line.substr(name, line.find_last_not_of(' ', file - 1) + 1 - name);
        found.file = line.substr(file, file_end - file);
        found.datastore = found.file.substr(1, found.file.find("] ") - 1);
        *row = found;
        return true;
    }
    return false;
}

}  // namespace SshSrv
