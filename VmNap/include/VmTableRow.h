// One row of the VM table that "vim-cmd vmsvc/getallvms" prints.
//
// A row is: the VM id (digits) at the start of the line, blanks, the name
// (anything, blanks included), at least three blanks, the file column
// ("[datastore] path/name.vmx", the datastore possibly empty), at least three
// blanks, the guest id (one word), at least three blanks, the hardware version
// ("vmx-NN"), then the annotation's first line. Every other line (the header,
// "Skipping invalid VM 'N'", an annotation's further lines, blank lines, the
// prompt) is not a row. Columns are joined by three blanks and padded, so the
// name ends where the first run of three blanks meets a file column that is
// followed by a guest id and a version; the name's padding is not part of it.
#ifndef VMNAP_VM_TABLE_ROW_H
#define VMNAP_VM_TABLE_ROW_H

#include <string>

namespace SshSrv {

struct VmTableRow {
    std::string id;
    std::string name;
    std::string file;
    std::string datastore;   // the name in brackets at the file's start (may be empty)
    std::string guest;
    std::string version;
    std::string annotation;  // the first line of the note, without the column's padding
};

// `line` (without its line end) is a row of the table; fills `row` when it is.
bool ReadVmTableRow(const std::string& line, VmTableRow* row);

// `line` is the table's header: it names the Vmid, Name and File columns.
bool IsVmTableHeader(const std::string& line);

}  // namespace SshSrv

#endif
