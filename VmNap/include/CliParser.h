// Base of the response parsers: the command being answered, the object that
// receives the results, and the cutting of replies into lines and tokens.
#ifndef VMNAP_CLI_PARSER_H
#define VMNAP_CLI_PARSER_H

#include "EnvString.h"

namespace SshSrv {

class SshServer;

class CliParser {
public:
    CliParser();
    virtual ~CliParser() {}

    // Stores the command id and the owner; a reply recognised as an error
    // turns the id into SSH_CMD_ERROR. Always succeeds.
    virtual int Parse(const char* response, int command, SshServer* owner);
    virtual int ParseLine(const char* line) = 0;
    virtual bool HasError(const char* response) const = 0;

    // Calls ParseLine on every non-empty line; the code of the last call.
    int ParseLines(const char* response);
    // The next blank-separated token of `line` from index `pos`.
    Env::String GetToken(const char* line, int& pos) const;

protected:
    int m_iCommand;
    SshServer* m_pOwner;
};

}  // namespace SshSrv

#endif
