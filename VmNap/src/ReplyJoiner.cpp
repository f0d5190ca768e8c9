#include "ReplyJoiner.h"

#include "shell_prompt.h"

namespace SshSrv {

namespace {

const char* const kLineEnd = "\r\n";

}  // namespace

void ReplyJoiner::Add(const char* piece, bool cutBefore, bool cutAfter) {
    if (piece == NULL) return;
    if (!m_text.empty() && (m_bLineEndPending || cutBefore)) m_text += kLineEnd;
    m_text += piece;
    m_bLineEndPending = cutAfter;
}

bool ReplyJoiner::Complete() const { return ends_with_shell_prompt(m_text.c_str()); }

}  // namespace SshSrv
