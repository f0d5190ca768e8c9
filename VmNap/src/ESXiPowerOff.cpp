// suspend_vms -poweroff: the host, its VMs stopped and in maintenance mode,
// is asked to power itself off.
#include "CliParser.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kAccepted = "the host accepted the power-off: its power goes off in %d s\n";
const char* const kRefused = "the host did not accept the power-off: %.300s\n";
const char* const kPowerOffCatched = "ESXiServer::PowerOffHost error catched\n";
const char* const kPowerOffSendCall =
    "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_POWEROFF_HOST))";
const char* const kPowerOffParseCall =
    "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_POWEROFF_HOST, this)";

}  // namespace

int ESXiServer::PowerOffHost() {
    const char* op = "PowerOffHost";
    try {
        char* pResponse = NULL;
        int rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_POWEROFF_HOST), kPowerOffSendCall,
                                &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        rc = m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_POWEROFF_HOST, this);
        if (rc != SSH_SUCCESS) {
            KelTrace(TRACE_ERROR, op, kRefused, pResponse);
            return StepFailed(op, kPowerOffParseCall, rc);
        }
        KelTrace(TRACE_INFO, op, kAccepted, ESXiCommand::kPowerOffDelaySeconds);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kPowerOffCatched);
        return SSH_INTERNAL_ERR;
    }
}

}  // namespace SshSrv
