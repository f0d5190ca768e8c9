#include "vm_table.h"

#include <algorithm>
#include <array>

namespace esxisim {

namespace {

const size_t kColumns = 6;
using Row = std::array<std::string, kColumns>;

const Row kTitles = {"Vmid", "Name", "File", "Guest OS", "Version", "Annotation"};
const char kSeparator[] = "   ";
// An ESXi 6.5 host's getallvms in a blog post's capture; ghettoVCB issue #270 shows the same line (for '30').
const char kSkippingInvalidVm[] = "Skipping invalid VM '";

Row Cells(const VmState& vm) {
    return {vm.id, vm.name, vm.file, vm.guest_os, vm.version, vm.note};
}

std::string Centred(const std::string& text, size_t width) {
    size_t left = (width - text.size()) / 2;
    return std::string(left, ' ') + text + std::string(width - text.size() - left, ' ');
}

std::string LeftJustified(const std::string& text, size_t width) {
    return text + std::string(width - text.size(), ' ');
}

std::string Join(const Row& row, const std::array<size_t, kColumns>& widths, bool centre) {
    std::string line;
    for (size_t i = 0; i < kColumns; ++i) {
        if (i > 0) line += kSeparator;
        line += centre ? Centred(row[i], widths[i]) : LeftJustified(row[i], widths[i]);
    }
    return line + "\n";
}

}  // namespace

std::string FormatVmTable(const std::vector<VmState>& vms, size_t annotation_width) {
    std::vector<Row> rows;
    for (const VmState& vm : vms) rows.push_back(Cells(vm));
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a[0] < b[0]; });
    std::array<size_t, kColumns> widths;
    for (size_t i = 0; i < kColumns; ++i) widths[i] = kTitles[i].size();
    widths[kColumns - 1] = std::max(widths[kColumns - 1], annotation_width);
    for (const Row& row : rows) {
        for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string table = Join(kTitles, widths, true);
    for (const Row& row : rows) table += Join(row, widths, false);
    return table;
}

std::string FormatSkippedVms(const std::vector<std::string>& ids) {
    std::string lines;
    for (const std::string& id : ids) lines += kSkippingInvalidVm + id + "'\n";
    return lines;
}

}  // namespace esxisim
