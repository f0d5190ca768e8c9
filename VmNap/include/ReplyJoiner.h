// The pieces of one long reply joined back into its text. The session hands a
// long output over in pieces of at most 4095 bytes, each with the line ends at
// its edges dropped; the joiner puts a line end back where one was dropped, so
// that no line is lost or glued to the next at a piece boundary.
#ifndef VMNAP_REPLY_JOINER_H
#define VMNAP_REPLY_JOINER_H

#include <string>

namespace SshSrv {

class ReplyJoiner {
public:
    // `cutBefore` / `cutAfter`: a line end was dropped right before the piece's
    // first character / right after its last one.
    void Add(const char* piece, bool cutBefore, bool cutAfter);
    // The last line of the text so far is the shell prompt: the reply is whole.
    bool Complete() const;
    const std::string& Text() const { return m_text; }

private:
    std::string m_text;
    bool m_bLineEndPending = false;
};

}  // namespace SshSrv

#endif
