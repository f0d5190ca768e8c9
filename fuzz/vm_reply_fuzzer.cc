// The ESXi reply parser on arbitrary replies. The first byte chooses the
// command being answered (low four bits, modulo the number of command ids) and
// the owner (bit 4: a VM, else the host); the rest is the reply text, cut to
// what one read of the session can hold.
#include <stddef.h>
#include <stdint.h>

#include <string>

#include "ESXiCliParser.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "kel-tools-trace.h"

namespace {

const size_t kMaxReply = 4095;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    kel_set_trace(TRACE_MODE_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    int command = (data[0] & 0x0f) % SshSrv::ESXiCommand::ESX_CMD_LAST;
    std::string reply(reinterpret_cast<const char*>(data + 1), size - 1 < kMaxReply ? size - 1 : kMaxReply);
    SshSrv::ESXiServer host("127.0.0.1", "root", "secret");
    SshSrv::VirtualMachineServer vm(nullptr, nullptr, "1", "web01");
    SshSrv::SshServer* owner = (data[0] & 0x10) != 0 ? static_cast<SshSrv::SshServer*>(&vm) : &host;
    SshSrv::ESXiCliParser parser;
    parser.Parse(reply.c_str(), command, owner);
    for (Env::XmlObject* item : host.GetVMs()) static_cast<SshSrv::VirtualMachineServer*>(item)->GetId();
    return 0;
}
