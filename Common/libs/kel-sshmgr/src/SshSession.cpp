#include "SshSession.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "client_conversation.h"
#include "kel-tools-trace.h"
#include "reply_gathering.h"
#include "ssh_exec.h"
#include "ssh_socket.h"

namespace Ssh {

namespace {

const int kDefaultTimeout = 1000;
const char* const kArgsFormat = " -ssh %s@%s";
const char* const kLineEnd = "\n";

const char* const kMsgCantInitWinsock = "can't init winsock\n";
const char* const kMsgGenerateCommand = "generate run ssh session command\n";
const char* const kMsgPreparing = "preparing to execute ssh client...\n";
const char* const kMsgCantCreatePipes = "can't create pipes\n";
const char* const kMsgCantStart = "can't start ssh process\n";
const char* const kMsgExecuted = "ssh client is executed:\n%s%s\n";
const char* const kMsgSendData = "send data to ssh client's stdin\n";
const char* const kMsgCannotWrite = "cannot write data.\n";
const char* const kMsgGetResponse = "get response from ssh session\n";
const char* const kMsgNoContainer = "container for response not defined\n";
const char* const kMsgCantRead = "can't read data from ssh session\n";
const char* const kMsgToUser = "response will be returned to user for further parsing\n";
const char* const kMsgParsed = "default ssh session parser parsed response successfully\n";
const char* const kMsgReadData = "read data from ssh client's stdout\n";
const char* const kMsgTryRead = "try to read block of data\n";
const char* const kMsgCannotRead = "cannot read data\n";
const char* const kMsgTimeout = "client canceled by timeout\n";
const char* const kMsgParserInProgress = "default ssh session parser in progress\n";
const char* const kMsgEnterPassword = "enter password for system password request\n";
const char* const kMsgWrongPassword = "wrong password, terminate connection\n";
const char* const kMsgVerbose = "plink verbose information\n";
const char* const kMsgAccessDenied = "password refused, waiting for the client's next prompt\n";
const char* const kMsgShutOut =
    "the client ended after the password without a refusal: the host let it in and closed the "
    "connection\n";

const char* const kErrInit = "SshSession::Init error catched\n";
const char* const kErrRun = "SshSession::RunSshClient error\n";
const char* const kErrSend = "SshSession::SendCommand error catched\n";
const char* const kErrGetResponse = "SshSession::GetResponse error catched\n";
const char* const kErrClose = "SshSession::CloseSession error catched\n";
const char* const kErrGetData = "SshSession::GetData error catched\n";
const char* const kErrNormalize = "SshSession::NormalizeResponse error catched\n";
const char* const kErrParser = "SshSession::DefaultParser error catched\n";

// Keeps every other thread's trace lines back while it lives.
struct TraceHold {
    TraceHold() { kel_trace_hold(); }
    ~TraceHold() { kel_trace_release(); }
    TraceHold(const TraceHold&) = delete;
    TraceHold& operator=(const TraceHold&) = delete;
};

}  // namespace

SshSession::SshSession()
    : stdout_r(-1),
      stdout_w(-1),
      stdout_e(-1),
      stdin_r(-1),
      stdin_w(-1),
      stdout_def(-1),
      stdin_def(-1),
      stderr_def(-1),
      m_state(EXEC_INIT),
      m_iProcessId(0),
      m_nTimeout(kDefaultTimeout),
      m_bLineEndCutBefore(false),
      m_bLineEndCutAfter(false),
      m_bPasswordSent(false),
      m_bPasswordRefused(false),
      m_bHostKeyChanged(false) {
    m_szPath[0] = '\0';
    m_szArgs[0] = '\0';
    m_response[0] = '\0';
    m_command[0] = '\0';
}

SshSession::~SshSession() {
    CloseSession();
    winsock_cleanup();
}

SshCodes SshSession::Init() {
    try {
        if (winsock_init() == 0) return SSH_SUCCESS;
        KelTrace(TRACE_DEBUG, "Init", kMsgCantInitWinsock);
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrInit);
    }
    return SSH_INTERNAL_ERR;
}

SshCodes SshSession::GetRunSshCommand(const char* cszHost, const char* cszUser) {
    KelTrace(TRACE_DEBUG, "GetRunSshCommand", kMsgGenerateCommand);
    if (!locate_client(m_szPath, kBufSize)) return SSH_CLIENT_NOT_FOUND_ERR;
    snprintf(m_szArgs, kBufSize, kArgsFormat, cszUser, cszHost);
    return SSH_SUCCESS;
}

SshCodes SshSession::RunSshClient(const char* cszHost, const char* cszUser,
                                  const char* cszPassword) {
    try {
        KelTrace(TRACE_DEBUG, "RunSshClient", kMsgPreparing);
        SshCodes code = GetRunSshCommand(cszHost, cszUser);
        if (code != SSH_SUCCESS) return code;
        m_state = EXEC_INIT;
        m_bPasswordSent = false;
        m_bPasswordRefused = false;
        m_bHostKeyChanged = false;
        m_sHost = cszHost != NULL ? cszHost : "";
        m_sPassword = cszPassword != NULL ? cszPassword : "";
        if (!StartClient()) {
            KelTrace(TRACE_DEBUG, "RunSshClient", kMsgCantCreatePipes);
            return SSH_INTERNAL_ERR;
        }
        if (m_iProcessId == 0) {
            CloseSession();
            KelTrace(TRACE_DEBUG, "RunSshClient", kMsgCantStart);
            return SSH_CANNOT_CONNECT_ERR;
        }
        KelTrace(TRACE_DEBUG, "RunSshClient", kMsgExecuted, m_szPath, m_szArgs);
        m_state = EXEC_CONNECTING;
        return SSH_SUCCESS;
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrRun);
    }
    return StateToSshcode(SSH_INTERNAL_ERR);
}

// The standard descriptors point at the new pipes until start_ssh_process has
// restored them: no thread may trace, and no other client may start, until
// then; the client's first second is given after that. False when the pipes
// could not be made.
bool SshSession::StartClient() {
    {
        TraceHold hold;
        if (!create_pipes(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e,
                          stdin_r, stdin_w))
            return false;
        m_state = EXEC_STARTING;
        m_iProcessId = start_ssh_process(stdin_r, stdout_w, stdout_e, stdin_def, stdout_def,
                                         stderr_def, m_szPath, m_szArgs);
        if (m_iProcessId == 0) CloseDescriptors();  // a client that did not start leaves them redirected
    }
    if (m_iProcessId != 0) client_start_pause();
    return true;
}

SshCodes SshSession::SendCommand(const std::string& sCommand) {
    try {
        KelTrace(TRACE_DEBUG, "SendCommand", kMsgSendData);
        snprintf(m_command, kBufSize, "%s", sCommand.c_str());
        str_remove_ending(m_command);
        if (sCommand.empty()) return SSH_SUCCESS;
        int written = write_fdhandle(stdin_w, sCommand.c_str());
        if (written > 0) {
            trace_sent(sCommand.c_str(), written);
            return SSH_SUCCESS;
        }
        if (m_state == EXEC_QUIT) return SSH_SUCCESS;
        kel_trace(TRACE_ERROR, kMsgCannotWrite);
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrSend);
    }
    return StateToSshcode(SSH_SUCCESS);
}

SshCodes SshSession::GetResponse(char** ppResponse) {
    SshCodes retval = SSH_SUCCESS;
    try {
        KelTrace(TRACE_DEBUG, "GetResponse", kMsgGetResponse);
        if (ppResponse == NULL) {
            KelTrace(TRACE_ERROR, "GetResponse", kMsgNoContainer);
            return StateToSshcode(retval);
        }
        *ppResponse = m_response;
        for (;;) {
            memset(m_response, 0, kBufSize);
            SshCodes code = GetData();
            if (code != SSH_SUCCESS) return code;
            if (m_response[0] == '\0') return NoReply(retval);
            if (DefaultParser(retval) == 0) {
                KelTrace(TRACE_DEBUG, "GetResponse", kMsgToUser);
                return retval;
            }
            KelTrace(TRACE_DEBUG, "GetResponse", kMsgParsed);
            if (m_command[0] != '\0' && !WriteAnswer()) return StateToSshcode(retval);
        }
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrGetResponse);
    }
    return StateToSshcode(retval);
}

// The client ended without a reply. One that ends during the login after its
// password went out, with no refusal of it, was let in and shut out again (a
// host that is booting or powering off): a connection that did not come
// about, not a wrong password.
SshCodes SshSession::NoReply(SshCodes retval) {
    KelTrace(TRACE_DEBUG, "GetResponse", kMsgCantRead);
    if (m_state == EXEC_LOGIN && m_bPasswordSent && !m_bPasswordRefused) {
        KelTrace(TRACE_DEBUG, "GetResponse", kMsgShutOut);
        m_state = EXEC_CONNECTING;
    }
    return StateToSshcode(retval);
}

bool SshSession::OutputFollows(int ms) const {
    return get_bytes_avail(stdout_r) > 0 || wait_fdhandle(stdout_r, ms) > 0;
}

// Writes the answer DefaultParser prepared in m_command; false when nothing was written.
bool SshSession::WriteAnswer() {
    int written = write_fdhandle(stdin_w, m_command);
    if (written > 0) {
        trace_sent(m_command, written);
        return true;
    }
    KelTrace(TRACE_ERROR, "GetResponse", kMsgCannotWrite);
    return false;
}

SshCodes SshSession::GetData() {
    SshCodes retval = SSH_SUCCESS;
    try {
        KelTrace(TRACE_DEBUG, "GetData", kMsgReadData);
        ReplyGathering reply(m_response, kBufSize);
        time_t tStartTime = time(NULL);
        m_bLineEndCutBefore = m_bLineEndCutAfter = false;
        int more = 1;
        while (more != 0 && check_process(m_iProcessId) == 0 &&
               !(difftime(time(NULL), tStartTime) > m_nTimeout))
            more = ReadRound(reply, tStartTime, retval);
        if (more != 0) {  // the client ended or the time ran out: no reply
            if (is_refused_password(m_response)) m_bPasswordRefused = true;
            reply.Reset();
        }
        return CheckTimeout(tStartTime, retval);
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrGetData);
    }
    return StateToSshcode(retval);
}

// Waits for the client's next output, at most until the reply's quiet second
// is over, and takes in what came. 0 ends the read (a reply or an error is in
// hand), 1 asks for another round.
int SshSession::ReadRound(ReplyGathering& reply, time_t& tStartTime, SshCodes& retval) {
    KelTrace(TRACE_DEBUG, "GetData", kMsgTryRead);
    int waitMs = reply.WaitMs();
    if (wait_fdhandle(stdout_r, waitMs) != 0 && get_bytes_avail(stdout_r) <= 0)
        wait_for_exit(m_iProcessId, waitMs);  // the output is closed: only the client's end is left
    int nAvailable = std::min(get_bytes_avail(stdout_r), reply.Room());
    if (nAvailable <= 0) return reply.QuietOver() ? DeliverReply(reply) : 1;
    tStartTime = time(NULL);
    int got = read_fdhandle(stdout_r, reply.Tail(), reply.Room(), nAvailable);
    if (got <= 0) {
        KelTrace(TRACE_ERROR, "GetData", kMsgCannotRead);
        reply.Reset();
        retval = StateToSshcode(retval);
        return 0;
    }
    reply.Took(got);
    return reply.Complete() ? DeliverReply(reply) : 1;
}

// Normalises the gathered reply; one that held only the echo and line ends is
// dropped and reading goes on (1).
int SshSession::DeliverReply(ReplyGathering& reply) {
    NormalizeResponse();
    if (m_response[0] != '\0') return 0;
    reply.Reset();
    return 1;
}

SshCodes SshSession::CheckTimeout(time_t tStartTime, SshCodes retval) {
    if (!(difftime(time(NULL), tStartTime) > m_nTimeout)) return retval;
    if (m_state == EXEC_TERMINATED || m_state == EXEC_QUIT) return retval;
    kel_trace(TRACE_DEBUG, kMsgTimeout);
    if (m_state != EXEC_CONNECTING) m_state = EXEC_CANCELED_BY_TIMEOUT;
    return StateToSshcode(retval);
}

void SshSession::NormalizeResponse() {
    try {
        const char* src = m_response;
        const char* echo = strstr(m_response, m_command);
        if (echo != NULL) {
            src = echo + strlen(m_command);
            while (*src == '\r' || *src == '\n') ++src;
        }
        if (src > m_response && (src[-1] == '\r' || src[-1] == '\n')) m_bLineEndCutBefore = true;
        char* dst = m_response;
        bool endCut = false;
        while (*src != '\0') {
            if (*src == '\r' && src[1] != '\n') {
                ++src;
                endCut = *src == '\0';
                if (endCut) break;
            }
            *dst++ = *src++;
        }
        *dst = '\0';
        size_t kept = strlen(m_response);
        str_remove_ending(m_response);
        m_bLineEndCutAfter = endCut || strlen(m_response) < kept;
        // A piece of nothing but line ends still parts what comes before and after it.
        if (m_response[0] == '\0' && m_bLineEndCutAfter) m_bLineEndCutBefore = true;
        trace_recv(m_response);
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrNormalize);
    }
}

// plink reports a refused password on its own, about 2.6 s before it asks
// again: keep reading, so that the second prompt ends the login.
bool SshSession::is_refused_password(const char* text) const {
    return m_state == EXEC_LOGIN && has(text, "Access denied");
}

int SshSession::DefaultParser(SshCodes& errcode) {
    try {
        KelTrace(TRACE_DEBUG, "DefaultParser", kMsgParserInProgress);
        m_command[0] = '\0';
        if (m_state == EXEC_REMOTE) return ParseShellReply();
        if (is_host_key_mismatch(m_response)) return RefuseChangedHostKey(errcode);
        if (is_host_key_question(m_response)) {
            m_state = EXEC_KEY_EXCHANGE;
            snprintf(m_command, kBufSize, "y%s", kLineEnd);
            return 1;
        }
        if (is_password_prompt(m_response)) return ParsePassword(errcode);
        if (isVerboseInformation(m_response)) {
            KelTrace(TRACE_DEBUG, "DefaultParser", kMsgVerbose);
            return 1;
        }
        if (is_refused_password(m_response)) {
            m_bPasswordRefused = true;
            KelTrace(TRACE_DEBUG, "DefaultParser", kMsgAccessDenied);
            return 1;
        }
        if (is_logout(m_response)) {
            m_state = EXEC_QUIT;
            return 1;
        }
        return answer_quit_question(m_response, m_state == EXEC_QUIT, m_command, kBufSize);
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrParser);
    }
    errcode = StateToSshcode(errcode);
    return 0;
}

// Once the shell answers, a reply is the host's own output, VM names and notes
// included: none of it is a question of the client. Only plink's own fatal
// error, as the reply's last line, says that the connection is gone.
int SshSession::ParseShellReply() {
    const char* lf = strrchr(m_response, '\n');
    if (!is_connection_lost(lf != NULL ? lf + 1 : m_response)) return 0;
    m_state = EXEC_QUIT;
    return 1;
}

// A changed host key is never trusted: Return cancels the connection, and the
// login ends as one that could not connect.
int SshSession::RefuseChangedHostKey(SshCodes& errcode) {
    snprintf(m_command, kBufSize, "%s", kLineEnd);
    WriteAnswer();
    trace_host_key_changed("DefaultParser", m_sHost.c_str());
    m_bHostKeyChanged = true;
    m_state = EXEC_CONNECTING;
    errcode = SSH_CANNOT_CONNECT_ERR;
    return 0;
}

// Answers the first password prompt of each client; a second prompt of the
// same client is a refused password, never answered again.
int SshSession::ParsePassword(SshCodes& errcode) {
    m_state = EXEC_LOGIN;
    if (!m_bPasswordSent) {
        snprintf(m_command, kBufSize, "%s%s", m_sPassword.c_str(), kLineEnd);
        m_bPasswordSent = true;
        KelTrace(TRACE_DEBUG, "DefaultParser", kMsgEnterPassword);
        return 1;
    }
    m_bPasswordRefused = true;
    KelTrace(TRACE_DEBUG, "DefaultParser", kMsgWrongPassword);
    errcode = StateToSshcode(errcode);
    return 0;
}

SshCodes SshSession::StateToSshcode(SshCodes curcode) const {
    return execstate_to_exit_code(curcode, m_state);
}

void SshSession::CloseSession() {
    try {
        TerminateClient();
        CloseDescriptors();
    } catch (...) {
        kel_trace(TRACE_ERROR, kErrClose);
    }
}

void SshSession::TerminateClient() {
    terminate_client(m_iProcessId);
    m_iProcessId = 0;
}

void SshSession::CloseDescriptors() {
    release_client_fds(stdin_def, stdout_def, stderr_def, stdout_r, stdout_w, stdout_e, stdin_r,
                       stdin_w);
}

}  // namespace Ssh
