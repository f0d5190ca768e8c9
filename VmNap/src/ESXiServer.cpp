// The ESXi host object: construction, the SSH client, login and its VM list.
#include <stdio.h>

#include "ESXiCliParser.h"
#include "HostBootCheck.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

typedef Env::XmlAttrInvoker<ESXiServer> Attr;
typedef Env::XmlChildInvokerStatic<ESXiServer> Child;

const char* const kDefaultCatched = "ESXiServer error catched\n";
const char* const kConstructorCatched = "ESXiServer::ESXiServer error catched\n";
const char* const kDestructorCatched = "ESXiServer::~ESXiServer error catched\n";
const char* const kInitCatched = "ESXiServer::Init error catched\n";
const char* const kIsPoweredOnCatched = "ESXiServer::IsPoweredOn error catched\n";
const char* const kAddChildCatched = "ESXiServer::AddVirtualMachine error catched\n";
const char* const kAddChild = "add child server, id: %s, name: %s\n";
const char* const kNotPlainVmId = "vm id to reboot is not a number: %s\n";
const char* const kNotPlainPowerOffAt = "the moment of the power-off is not a number: %s\n";

// ESXi numbers its VMs; the id goes unquoted into a shell command line.
bool is_plain_vm_id(const Env::String& id) {
    if (id.empty()) return false;
    for (char c : id)
        if (c < '0' || c > '9') return false;
    return true;
}

}  // namespace

ESXiServer::ESXiServerStructure ESXiServer::m_gESXiServerStructure;

ESXiServer::ESXiServerStructure::ESXiServerStructure() {
    RegisterCreator("ESXiServer", &ESXiServer::Create);
    AddChild("Host", new Attr(&ESXiServer::GetHostStr, &ESXiServer::SetHostStr));
    AddChild("VMs", new Child(&ESXiServer::GetVMsObj, &ESXiServer::GetVMsObj));
    AddChild("MaintenanceMode",
             new Attr(&ESXiServer::GetMaintenanceModeStr, &ESXiServer::SetMaintenanceModeStr));
    AddChild("Reboot", new Attr(&ESXiServer::GetRebootStr, &ESXiServer::SetRebootStr));
    AddChild("PowerOffAt", new Attr(&ESXiServer::GetPowerOffAtStr, &ESXiServer::SetPowerOffAtStr));
}

ESXiServer::ESXiServer() {
    try {
        CreateParserAndSession();
    } catch (...) {
        KelTrace(TRACE_ERROR, "ESXiServer", kDefaultCatched);
    }
}

ESXiServer::ESXiServer(const Env::String& host, const Env::String& user,
                       const Env::String& password) {
    try {
        SetHost(host);
        SetUser(user);
        SetPassword(password);
        CreateParserAndSession();
    } catch (...) {
        KelTrace(TRACE_ERROR, "ESXiServer", kConstructorCatched);
    }
}

void ESXiServer::CreateParserAndSession() {
    m_pParser = new ESXiCliParser();
    m_pSshSession = new Ssh::SshSession();
}

ESXiServer::~ESXiServer() {
    try {
        delete m_pParser;
        m_pParser = NULL;
        delete m_pSshSession;
        m_pSshSession = NULL;
    } catch (...) {
        KelTrace(TRACE_ERROR, "~ESXiServer", kDestructorCatched);
    }
}

const Env::XmlObject::XmlObjectStructure& ESXiServer::GetXmlStructure() const {
    return m_gESXiServerStructure;
}

int ESXiServer::Init(const Env::String& address) {
    int rc = SSH_SUCCESS;
    try {
        m_sClientAddress = address;
        rc = m_pSshSession->Init();
        if (rc != SSH_SUCCESS) return rc;
        if (m_nLoginTimeout > 0) m_pSshSession->SetTimeout(m_nLoginTimeout);
        return m_pSshSession->RunSshClient(address.c_str(), GetUser().c_str(),
                                           GetPassword().c_str());
    } catch (...) {
        KelTrace(TRACE_ERROR, "Init", kInitCatched);
        return m_pSshSession->StateToSshcode(static_cast<SshCodes>(rc));
    }
}

// 0 when any VM runs; an empty host counts as running.
int ESXiServer::IsPoweredOn() {
    const char* op = "IsPoweredOn";
    try {
        int rc = Login();
        if (rc != SSH_SUCCESS) return StepFailed(op, kLoginCall, rc);
        rc = GetAllVms();
        if (rc != SSH_SUCCESS) return StepFailed(op, kGetAllVmsCall, rc);
        for (Env::XmlObject* item : m_VMs) {
            rc = static_cast<SshServer*>(item)->IsPoweredOn();
            if (rc != SSH_VERIFY_ERR) break;
        }
        return rc;
    } catch (...) {
        KelTrace(TRACE_ERROR, op, kIsPoweredOnCatched);
        return SSH_INTERNAL_ERR;
    }
}

int ESXiServer::AddChild(const Env::String& id, const Env::String& name) {
    try {
        KelTrace(TRACE_DEBUG, "AddChild", kAddChild, id.c_str(), name.c_str());
        VirtualMachineServer* vm = new VirtualMachineServer(m_pSshSession, m_pParser, id, name);
        vm->SetTimeout(GetTimeout());
        m_VMs.push_back(vm);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, "AddChild", kAddChildCatched);
        return SSH_INTERNAL_ERR;
    }
}

void ESXiServer::SetChildDatastore(const Env::String& id, const std::string& datastore) {
    VirtualMachineServer* last = nullptr;
    for (Env::XmlObject* item : m_VMs) {
        VirtualMachineServer* vm = static_cast<VirtualMachineServer*>(item);
        if (vm->GetId() == id) last = vm;
    }
    if (last != nullptr) last->SetDatastore(datastore);
}

// Children read from the file borrow the host's session and parser. A file
// that names a VM to power on by anything but a plain id, or gives the moment
// of a power-off as anything but digits, is not taken.
bool ESXiServer::FromXml(const Env::XmlNode* node) {
    bool result = Env::XmlObject::FromXml(node);
    for (Env::XmlObject* item : m_VMs) {
        SshServer* vm = static_cast<SshServer*>(item);
        vm->SetSession(m_pSshSession);
        vm->SetParser(m_pParser);
    }
    return result && MarkedVmsHavePlainIds() && PowerOffAtIsPlain();
}

bool ESXiServer::PowerOffAtIsPlain() const {
    long long epoch = 0;
    Env::String text = m_PowerOffAt.Get();
    if (text.empty() || HostBootCheck::ParsePowerOffAt(text.c_str(), &epoch)) return true;
    KelTrace(TRACE_DEBUG, "FromXml", kNotPlainPowerOffAt, text.c_str());
    return false;
}

void ESXiServer::RecordPowerOff(long long epoch) {
    char text[32] = {0};
    snprintf(text, sizeof(text), "%lld", epoch);
    m_PowerOffAt.Set(Env::String(text));
}

bool ESXiServer::MarkedVmsHavePlainIds() const {
    for (const Env::XmlObject* item : m_VMs) {
        const VirtualMachineServer* vm = static_cast<const VirtualMachineServer*>(item);
        if (!vm->IsMarkedToReboot() || is_plain_vm_id(vm->GetId())) continue;
        KelTrace(TRACE_DEBUG, "FromXml", kNotPlainVmId, vm->GetId().c_str());
        return false;
    }
    return true;
}

bool ESXiServer::XmlObjChildVMs::AcceptsItem(const Env::XmlObject& item) const {
    return dynamic_cast<const VirtualMachineServer*>(&item) != nullptr;
}

}  // namespace SshSrv
