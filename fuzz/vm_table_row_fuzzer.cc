// The VM table's row reader on arbitrary lines, and the listing parser on
// arbitrary tables: whatever the host prints, a VM has a digit id, and its name
// and file are taken from the row as printed.
#include <stddef.h>
#include <stdint.h>

#include <string>

#include "ESXiCliParser.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "VmTableRow.h"
#include "kel-tools-trace.h"

namespace {

const size_t kMaxReply = 4095;

void Check(bool holds) {
    if (!holds) __builtin_trap();
}

void CheckRow(const std::string& line) {
    SshSrv::VmTableRow row;
    if (!SshSrv::ReadVmTableRow(line, &row)) return;
    Check(SshSrv::ESXiCommand::IsVmId(row.id.c_str()));
    Check(line.compare(0, row.id.size(), row.id) == 0);
    Check(!row.name.empty() && line.find(row.name) != std::string::npos);
    Check(row.name.back() != ' ');
    Check(row.file.front() == '[' && row.file.size() >= 4 &&
          row.file.compare(row.file.size() - 4, 4, ".vmx") == 0);
    Check(row.version.compare(0, 4, "vmx-") == 0);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    kel_set_trace(TRACE_MODE_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size < kMaxReply ? size : kMaxReply);
    CheckRow(text.substr(0, text.find('\n')));
    SshSrv::ESXiServer host("127.0.0.1", "root", "secret");
    SshSrv::ESXiCliParser parser;
    parser.Parse(text.c_str(), SshSrv::ESXiCommand::ESX_CMD_GET_ALLVMS, &host);
    for (Env::XmlObject* item : host.GetVMs())
        Check(SshSrv::ESXiCommand::IsVmId(static_cast<SshSrv::VirtualMachineServer*>(item)->GetId()));
    return 0;
}
