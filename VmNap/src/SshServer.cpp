#include "SshServer.h"

#include "OperationTrace.h"
#include "SshSession.h"
#include "XmlObjBuilder.h"
#include "XmlObjectDefs.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

typedef Env::XmlAttrInvoker<SshServer> Attr;

const char* const kCommandRefused =
    "command not sent: the VM id '%.64s' is not a number of at most ten digits\n";

}  // namespace

SshServer::SshServerStructure SshServer::m_gSshServerStructure;

SshServer::SshServerStructure::SshServerStructure() {
    RegisterCreator("SshServer", &SshServer::Create);
    AddChild("Name", new Attr(&SshServer::GetNameStr, &SshServer::SetNameStr));
    AddChild("Status", new Attr(&SshServer::GetStatusStr, &SshServer::SetStatusStr));
}

void SshServer::SshServerStructure::RegisterCreator(const char* name,
                                                    Env::XmlObject* (*creator)()) {
    Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
    if (builder != NULL) builder->RegisterCreator(name, creator);
}

SshServer::SshServer() : m_pParser(NULL), m_pSshSession(NULL) {}

SshServer::SshServer(Ssh::SshSession* pSession, CliParser* pParser, const Env::String& name)
    : m_pParser(pParser), m_pSshSession(pSession) {
    SetName(name);
}

const Env::XmlObject::XmlObjectStructure& SshServer::GetXmlStructure() const {
    return m_gSshServerStructure;
}

int SshServer::SendAndReceive(const char* op, const Env::String& command, const char* sendText,
                              char** ppResponse) {
    // The command builders give no text for an id that may not reach the host.
    if (command.empty()) {
        KelTrace(TRACE_ERROR, op, kCommandRefused, CommandId().c_str());
        return SSH_CLI_CMD_FAILED_ERR;
    }
    int rc = m_pSshSession->SendCommand(command);
    if (rc != SSH_SUCCESS) return StepFailed(op, sendText, rc);
    rc = m_pSshSession->GetResponse(ppResponse);
    if (rc != SSH_SUCCESS) return StepFailed(op, kGetResponseCall, rc);
    return SSH_SUCCESS;
}

// The operations a concrete server does not support.
int SshServer::Login() { return SSH_INTERNAL_ERR; }
int SshServer::Suspend() { return SSH_INTERNAL_ERR; }
int SshServer::Reboot() { return SSH_INTERNAL_ERR; }
int SshServer::PowerOn() { return SSH_INTERNAL_ERR; }
int SshServer::IsPoweredOn() { return SSH_INTERNAL_ERR; }
int SshServer::PowerOff() { return SSH_INTERNAL_ERR; }
int SshServer::UpdateStatus() { return SSH_INTERNAL_ERR; }
int SshServer::AddChild(const Env::String&, const Env::String&) { return SSH_INTERNAL_ERR; }

void SshServer::SetChildDatastore(const Env::String&, const std::string&) {}

}  // namespace SshSrv
