// reboot_vms after suspend_vms -poweroff: the host's uptime says whether it
// has been down since the power-off was asked for (HostBootCheck.h).
#include "HostBootCheck.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kNotAnUptime = "the host's uptime is not a number of microseconds: %.300s\n";
const char* const kReadUptimeCatched = "ESXiServer::ReadUptime error catched\n";
const char* const kBootCheckCatched = "ESXiServer::CheckBootSincePowerOff error catched\n";
const char* const kUptimeSendCall = "m_pSshSession->SendCommand(GET_ESXI_COMMAND(ESX_CMD_GET_UPTIME))";

// The check's view of the host: its uptime and a new login.
class PoweringHost : public HostBootCheck::Host {
public:
    explicit PoweringHost(ESXiServer& host) : host_(host) {}
    int ReadUptime(unsigned long long* micros) override { return host_.ReadUptime(micros); }
    int LogInAgain(double deadline) override { return host_.LogInAgain(deadline); }

private:
    ESXiServer& host_;
};

}  // namespace

int ESXiServer::ReadUptime(unsigned long long* micros) {
    const char* op = "ReadUptime";
    try {
        char* pResponse = NULL;
        int rc = SendAndReceive(op, GET_ESXI_COMMAND(ESX_CMD_GET_UPTIME), kUptimeSendCall, &pResponse);
        if (rc != SSH_SUCCESS) return rc;
        if (HostBootCheck::ParseUptime(pResponse, micros)) return SSH_SUCCESS;
        KelTrace(TRACE_ERROR, op, kNotAnUptime, pResponse);
        return SSH_CLI_CMD_FAILED_ERR;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kReadUptimeCatched);
        return SSH_INTERNAL_ERR;
    }
}

int ESXiServer::CheckBootSincePowerOff(double deadline) {
    try {
        long long powerOffAt = 0;
        if (!HostBootCheck::ParsePowerOffAt(m_PowerOffAt.Get().c_str(), &powerOffAt)) return SSH_INTERNAL_ERR;
        PoweringHost host(*this);
        HostBootCheck::Clock clock;
        return HostBootCheck::WaitForBootSince(host, powerOffAt, deadline, clock);
    } catch (...) {
        KelTrace(TRACE_ERROR, "CheckBootSincePowerOff", kBootCheckCatched);
        return SSH_INTERNAL_ERR;
    }
}

}  // namespace SshSrv
