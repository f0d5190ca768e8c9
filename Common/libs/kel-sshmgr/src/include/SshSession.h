// One interactive SSH session: the plink client on pipes, its login dialogue
// and the command/response exchange with the remote shell.
#ifndef SSH_SESSION_H
#define SSH_SESSION_H

#include <sys/types.h>
#include <time.h>

#include <string>

#include "ssh_defines.h"
#include "ssh_io.h"

class ReplyGathering;

namespace Ssh {

class SshSession {
public:
    SshSession();
    virtual ~SshSession();
    SshSession(const SshSession&) = delete;
    SshSession& operator=(const SshSession&) = delete;

    SshCodes Init();
    // Starts a client for user@host. Each client gets the password once: a
    // second prompt of the same client is a wrong password (SSH_AUTH_ERR).
    // End the one before with CloseSession() first.
    SshCodes RunSshClient(const char* cszHost, const char* cszUser, const char* cszPassword);
    SshCodes SendCommand(const std::string& sCommand);
    // *ppResponse points at the session's buffer, valid until the next read.
    SshCodes GetResponse(char** ppResponse);
    // Whether a line end was dropped right before the first or right after the
    // last character of the last response (a piece of a longer output starts or
    // ends at a line end). Whoever joins pieces puts one back there.
    bool LineEndCutBefore() const { return m_bLineEndCutBefore; }
    bool LineEndCutAfter() const { return m_bLineEndCutAfter; }
    // The client prints more within `ms` milliseconds: what looked like the end
    // of a reply (a prompt-like line at a piece's end) was not.
    bool OutputFollows(int ms) const;
    void CloseSession();

    SshState GetState() const { return m_state; }
    void SetState(SshState state) { m_state = state; }
    SshCodes StateToSshcode(SshCodes curcode) const;
    // The client that was started last warned that the host's key differs
    // from the cached one, and the connection was cancelled (a 3 that no
    // retry can mend).
    bool HostKeyChanged() const { return m_bHostKeyChanged; }
    void SetTimeout(int seconds) { m_nTimeout = seconds; }
    int GetTimeout() const { return m_nTimeout; }

protected:
    static const int kBufSize = 4096;

    SshCodes GetRunSshCommand(const char* cszHost, const char* cszUser);
    // Reads one reply into m_response: as soon as the client's output ends
    // with the shell prompt or a question of the client, otherwise after a
    // second without new output; at most kBufSize - 1 bytes at a time. Gives
    // up after m_nTimeout seconds without output, or when the client ends.
    SshCodes GetData();
    void NormalizeResponse();
    // Non-zero: the text was handled (an answer may wait in m_command).
    int DefaultParser(SshCodes& errcode);

    fd_handle stdout_r;
    fd_handle stdout_w;
    fd_handle stdout_e;
    fd_handle stdin_r;
    fd_handle stdin_w;
    fd_handle stdout_def;
    fd_handle stdin_def;
    fd_handle stderr_def;
    SshState m_state;
    char m_szPath[kBufSize];
    char m_szArgs[kBufSize];
    char m_response[kBufSize];
    char m_command[kBufSize];
    pid_t m_iProcessId;
    int m_nTimeout;
    std::string m_sPassword;
    std::string m_sHost;
    bool m_bLineEndCutBefore;
    bool m_bLineEndCutAfter;
    bool m_bPasswordSent;     // the password went to the client started last
    bool m_bPasswordRefused;  // that client reported the password refused
    bool m_bHostKeyChanged;   // that client saw a changed host key

private:
    bool StartClient();
    int ReadRound(ReplyGathering& reply, time_t& tStartTime, SshCodes& retval);
    int DeliverReply(ReplyGathering& reply);
    SshCodes CheckTimeout(time_t tStartTime, SshCodes retval);
    SshCodes NoReply(SshCodes retval);
    bool WriteAnswer();
    int ParsePassword(SshCodes& errcode);
    int RefuseChangedHostKey(SshCodes& errcode);
    int ParseShellReply();
    bool is_refused_password(const char* text) const;
    void TerminateClient();
    void CloseDescriptors();
};

}  // namespace Ssh

#endif
