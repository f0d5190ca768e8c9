// The session's normalisation of a reply: the echo of the last command cut
// off, lone carriage returns dropped, the line end trimmed. The first byte is
// the length of the command part, the rest is the reply; each is cut to the
// session's buffer. The result must stay inside the reply it came from.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "SshSession.h"
#include "kel-tools-trace.h"

namespace {

// The session with its reply and command buffers open to the harness.
class ReplyProbe : public Ssh::SshSession {
public:
    using SshSession::NormalizeResponse;

    void Set(const std::string& command, const std::string& response) {
        snprintf(m_command, kBufSize, "%s", command.c_str());
        snprintf(m_response, kBufSize, "%s", response.c_str());
    }
    const char* Response() const { return m_response; }
    static size_t Capacity() { return kBufSize; }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    kel_set_trace(TRACE_MODE_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    size_t command_size = data[0] < size - 1 ? data[0] : size - 1;
    const char* text = reinterpret_cast<const char*>(data + 1);
    std::string command(text, command_size);
    std::string response(text + command_size, size - 1 - command_size);
    static ReplyProbe session;
    session.Set(command, response);
    size_t before = strlen(session.Response());
    session.NormalizeResponse();
    size_t after = strnlen(session.Response(), ReplyProbe::Capacity());
    if (after > before) abort();
    return 0;
}
