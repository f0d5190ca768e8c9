// The host's login: one try on the client started last, or, with a wait for a
// booting host (-waitminutes), tries on fresh clients until it succeeds.
#include "BootWait.h"
#include "ESXiCliParser.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"
#include "ssh_socket.h"

namespace SshSrv {

namespace {

const char* const kSshPort = "22";
const char* const kLoginCatched = "ESXiServer::Login error catched\n";
const char* const kShowCommandsSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_SHOW_COMMANDS))";
const char* const kShowCommandsParseCall =
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SHOW_COMMANDS, this)";

// The wait's view of the host: its login, a new client, its SSH port.
class BootingHost : public BootWait::Host {
public:
    explicit BootingHost(ESXiServer& host) : host_(host) {}

    BootWait::Attempt LogIn() override {
        BootWait::Attempt attempt;
        attempt.status = host_.LogInOnce();
        attempt.hostKeyChanged = host_.GetSession()->HostKeyChanged();
        attempt.hostdStarting = host_.HostdStarting();
        return attempt;
    }
    int StartClient() override {
        host_.GetSession()->CloseSession();
        return host_.Init(host_.ClientAddress());
    }
    bool PortAnswers() override {
        return port_answers(host_.ClientAddress().c_str(), kSshPort, BootWait::kPortLookMs);
    }

private:
    ESXiServer& host_;
};

}  // namespace

int ESXiServer::Login() {
    if (m_nBootWaitSeconds <= 0) return LogInOnce();
    BootingHost booting(*this);
    BootWait::Clock clock;
    return BootWait::LogInWithin(booting, m_nBootWaitSeconds, clock);
}

int ESXiServer::LogInAgain(double deadline) {
    BootingHost booting(*this);
    BootWait::Clock clock;
    return BootWait::LogInAgainBefore(booting, m_nBootWaitSeconds, deadline, clock);
}

// Gets through the login dialogue, checks that vim-cmd answers and reads the
// maintenance state.
int ESXiServer::LogInOnce() {
    const char* op = "Login";
    int rc = SSH_SUCCESS;
    m_bHostdStarting = false;
    try {
        char* pResponse = NULL;
        rc = m_pSshSession->GetResponse(&pResponse);
        if (rc != SSH_SUCCESS) return StepFailed(op, kGetResponseCall, rc);
        m_pSshSession->SetState(EXEC_REMOTE);
        if (m_nReplyTimeout > 0) m_pSshSession->SetTimeout(m_nReplyTimeout);
        rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_SHOW_COMMANDS), kShowCommandsSendCall,
                            &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SHOW_COMMANDS, this);
        if (rc != SSH_SUCCESS) {
            NoteHostdReply(pResponse);
            return StepFailed(op, kShowCommandsParseCall, rc);
        }
        rc = GetMaintenance();
        if (rc != SSH_SUCCESS) return StepFailed(op, kGetMaintenanceCall, rc);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kLoginCatched);
        return m_pSshSession->StateToSshcode(static_cast<SshCodes>(rc));
    }
}

void ESXiServer::NoteHostdReply(const char* response) {
    if (ESXiCliParser::SaysHostdIsStarting(response)) m_bHostdStarting = true;
}

}  // namespace SshSrv
