#include "CliParser.h"

#include <string.h>

#include <vector>

#include "SshCommand.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kParseLinesCatched = "CliParser::ParseLines error catched\n";

bool is_separator(char c) {
    return c == '\r' || c == '\n' || c == ' ' || c == '\t';
}

}  // namespace

CliParser::CliParser() : m_iCommand(SshCommand::SSH_CMD_UNKNOWN), m_pOwner(NULL) {}

int CliParser::Parse(const char* response, int command, SshServer* owner) {
    m_iCommand = command;
    m_pOwner = owner;
    if (HasError(response)) m_iCommand = SshCommand::SSH_CMD_ERROR;
    return SSH_SUCCESS;
}

// Walks a private copy; each LF ends a line, a CR right before it is dropped.
// A line whose handler fails stops the walk and is handed over once more
// after it, like a last line without a line end.
int CliParser::ParseLines(const char* response) {
    int result = SSH_SUCCESS;
    try {
        std::vector<char> copy(response, response + strlen(response) + 1);
        char* text = copy.data();
        char* line = text;
        for (char* p = text; *p != '\0'; ++p) {
            if (*p == '\n') {
                *p = '\0';
                if (*line != '\0') result = ParseLine(line);
                if (result != SSH_SUCCESS) break;
                line = p + 1;
            } else if (*p == '\r' && p[1] == '\n') {
                *p = '\0';
            }
        }
        if (*line != '\0') result = ParseLine(line);
    } catch (...) {
        KelTrace(TRACE_ERROR, "ParseLines", kParseLinesCatched);
        return SSH_INTERNAL_ERR;
    }
    return result;
}

Env::String CliParser::GetToken(const char* line, int& pos) const {
    Env::String token;
    while (line[pos] != '\0') {
        char c = line[pos++];
        if (!is_separator(c))
            token.push_back(c);
        else if (!token.empty())
            return token;
    }
    return token;
}

}  // namespace SshSrv
