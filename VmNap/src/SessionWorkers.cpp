#include "SessionWorkers.h"

#include <stdio.h>

#include <string>
#include <vector>

#include "ESXiCliParser.h"
#include "OperationTrace.h"
#include "SshCommand.h"
#include "SshServer.h"
#include "SshSession.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kSessionTag = "session %zu: ";
const char* const kVmTag = "VM %s %s: ";
const char* const kLoggedIn = "extra session logged in\n";
const char* const kNoLogin = "extra session did not log in (code %d): one worker fewer\n";
const char* const kLoggedOut = "extra session logged out\n";
const char* const kOpenCatched = "SessionWorkers::Open error catched\n";
const char* const kRunCatched = "SessionWorkers::Run error catched\n";
const char* const kCloseCatched = "SessionWorkers::Close error catched\n";
const char* const kShowCommandsCall = "m_pParser->Parse(pResponse, ESXiCommand::ESX_CMD_SHOW_COMMANDS, this)";

// Every line the calling thread traces while it lives starts with the tag.
class TraceTag {
public:
    explicit TraceTag(const std::string& tag) { kel_trace_set_tag(tag.c_str()); }
    ~TraceTag() { kel_trace_set_tag(NULL); }
    TraceTag(const TraceTag&) = delete;
    TraceTag& operator=(const TraceTag&) = delete;
};

std::string SessionTag(size_t worker) {
    char tag[64];
    snprintf(tag, sizeof(tag), kSessionTag, worker);
    return tag;
}

std::string VmTag(const VirtualMachineServer& vm) {
    Env::String id = vm.GetId(), name = vm.GetName();
    std::vector<char> tag(id.size() + name.size() + 16);
    snprintf(tag.data(), tag.size(), kVmTag, id.c_str(), name.c_str());
    return tag.data();
}

}  // namespace

struct SessionWorkers::Slot {
    Ssh::SshSession session;
    ESXiCliParser parser;
};

SessionWorkers::SessionWorkers(const std::vector<VirtualMachineServer*>& vms, size_t workers,
                               Ssh::SshSession* hostSession, CliParser* hostParser,
                               const SessionLogin& login, Operation operation)
    : vms_(vms),
      hostSession_(hostSession),
      hostParser_(hostParser),
      login_(login),
      operation_(operation) {
    for (size_t worker = 0; worker < workers; ++worker) slots_.emplace_back(new Slot());
}

SessionWorkers::~SessionWorkers() {}

bool SessionWorkers::Open(size_t worker) {
    if (worker == 0 || worker >= slots_.size()) return worker == 0;
    TraceTag tag(SessionTag(worker));
    try {
        if (LogIn(*slots_[worker])) return true;
    } catch (...) {
        KelTrace(TRACE_ERROR, "Open", kOpenCatched);
    }
    slots_[worker]->session.CloseSession();
    return false;
}

// The host's login, one try: the dialogue, and vim-cmd answers.
bool SessionWorkers::LogIn(Slot& slot) {
    const char* op = "Login";
    Ssh::SshSession& session = slot.session;
    int rc = session.Init();
    if (login_.loginSeconds > 0) session.SetTimeout(login_.loginSeconds);
    if (rc == SSH_SUCCESS)
        rc = session.RunSshClient(login_.address.c_str(), login_.user.c_str(), login_.password.c_str());
    char* pResponse = NULL;
    if (rc == SSH_SUCCESS) rc = session.GetResponse(&pResponse);
    if (rc == SSH_SUCCESS) {
        session.SetState(EXEC_REMOTE);
        if (login_.replySeconds > 0) session.SetTimeout(login_.replySeconds);
        rc = session.SendCommand(GET_ESXI_COMMAND(ESX_CMD_SHOW_COMMANDS));
    }
    if (rc == SSH_SUCCESS) rc = session.GetResponse(&pResponse);
    if (rc == SSH_SUCCESS) {
        rc = slot.parser.Parse(pResponse, ESXiCommand::ESX_CMD_SHOW_COMMANDS, NULL);
        if (rc != SSH_SUCCESS) StepFailed(op, kShowCommandsCall, rc);
    }
    if (rc != SSH_SUCCESS) {
        KelTrace(TRACE_WARNING, op, kNoLogin, rc);
        return false;
    }
    KelTrace(TRACE_DEBUG, op, kLoggedIn);
    return true;
}

VmOutcome SessionWorkers::Run(size_t vm, size_t worker) {
    VirtualMachineServer* pVm = vms_[vm];
    bool own = worker != 0 && worker < slots_.size();
    TraceTag tag(VmTag(*pVm));
    VmOutcome outcome = {SSH_INTERNAL_ERR, true};
    try {
        pVm->SetSession(own ? &slots_[worker]->session : hostSession_);
        pVm->SetParser(own ? &slots_[worker]->parser : hostParser_);
        outcome = operation_(vm);
    } catch (...) {
        KelTrace(TRACE_ERROR, "Run", kRunCatched);
    }
    pVm->SetSession(hostSession_);
    pVm->SetParser(hostParser_);
    return outcome;
}

void SessionWorkers::Close(size_t worker) {
    if (worker == 0 || worker >= slots_.size()) return;
    TraceTag tag(SessionTag(worker));
    try {
        Ssh::SshSession& session = slots_[worker]->session;
        session.SendCommand(GET_ESXI_COMMAND(ESX_CMD_LOGOUT));
        session.CloseSession();
        KelTrace(TRACE_DEBUG, "Close", kLoggedOut);
    } catch (...) {
        KelTrace(TRACE_ERROR, "Close", kCloseCatched);
    }
}

}  // namespace SshSrv
