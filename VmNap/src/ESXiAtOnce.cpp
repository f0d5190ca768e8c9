// suspend_vms and reboot_vms with several VM operations at once (-parallel):
// the same per-VM steps as one after another, each VM on one worker's session,
// and the same rules for what ends the run and what the run returns.
#include <algorithm>
#include <string>
#include <vector>

#include "OperationTrace.h"
#include "SessionWorkers.h"
#include "SshServer.h"
#include "StopRequest.h"
#include "VmPick.h"
#include "VmRunner.h"
#include "VmStopping.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kAtOnce = "%zu VMs, up to %zu at once\n";
const char* const kWorkers = "%zu sessions took part\n";
const char* const kStopBeforeNextVm = "stop requested, %s starts no further VM\n";
const char* const kLastGroup = "every other VM has finished, now the %zu of -last\n";

// The run ended early because of a stop asked for from outside.
int Stopped(const char* op) {
    KelTrace(TRACE_DEBUG, op, kStopBeforeNextVm, op);
    return StopRequest::kStatusStopped;
}

// The datastore group of each VM (VmPick.h), by the datastore the host's table named.
std::vector<size_t> DatastoreGroupsOf(const std::vector<VirtualMachineServer*>& vms) {
    std::vector<std::string> datastores;
    for (const VirtualMachineServer* vm : vms) datastores.push_back(vm->GetDatastore());
    return DatastoreGroups(datastores);
}

}  // namespace

size_t ESXiServer::WorkersFor(size_t vms) const {
    return std::min(vms, static_cast<size_t>(std::max(m_nParallel, 1)));
}

SessionLogin ESXiServer::WorkerLogin() const {
    SessionLogin login;
    login.address = m_sClientAddress;
    login.user = GetUser();
    login.password = GetPassword();
    login.loginSeconds = m_nLoginTimeout;
    login.replySeconds = m_nReplyTimeout;
    return login;
}

// The running VMs not named by -last, up to K at once, the next one to start
// on the least busy datastore; then, unless that ended the run or a stop was
// asked for, the -last ones, up to K at once in their order: they start only
// once every other VM has finished, as one after another.
int ESXiServer::StopTheVmsAtOnce(const std::vector<VirtualMachineServer*>& others,
                                 const std::vector<VirtualMachineServer*>& last,
                                 bool* leftRunning) {
    int rc = StopPhaseAtOnce(others, true, leftRunning);
    if (rc != SSH_SUCCESS || last.empty()) return rc;
    if (StopRequest::Requested()) return Stopped("Suspend");
    KelTrace(TRACE_DEBUG, "Suspend", kLastGroup, last.size());
    return StopPhaseAtOnce(last, false, leftRunning);
}

// StopVm on every VM of `running`; the first started whose failure ends the
// run gives the run's code, as it would one after another.
int ESXiServer::StopPhaseAtOnce(const std::vector<VirtualMachineServer*>& running, bool byDatastore,
                                bool* leftRunning) {
    const char* op = "Suspend";
    if (running.empty()) return SSH_SUCCESS;
    size_t workers = WorkersFor(running.size());
    KelTrace(TRACE_DEBUG, op, kAtOnce, running.size(), workers);
    std::vector<VmStopResult> results(running.size(), VmStopResult{VmFate::kStopped, SSH_SUCCESS});
    SessionWorkers work(running, workers, m_pSshSession, m_pParser, WorkerLogin(), [&](size_t vm) {
        results[vm] = StopVm(*running[vm], m_policy);
        return VmOutcome{results[vm].code, results[vm].fate == VmFate::kFailed};
    });
    VmRunSummary summary = byDatastore ? RunVmsByGroup(DatastoreGroupsOf(running), workers, work)
                                       : RunVms(running.size(), workers, work);
    KelTrace(TRACE_DEBUG, op, kWorkers, summary.workers);
    size_t failed = summary.FirstEnding();
    if (failed < running.size()) return StepFailed(op, kVmSuspendCall, results[failed].code);
    if (summary.stopped) return Stopped(op);
    for (size_t vm = 0; vm < running.size(); ++vm)
        if (summary.started[vm] && results[vm].fate == VmFate::kLeftRunning) *leftRunning = true;
    return SSH_SUCCESS;
}

// Powers on every marked VM whatever the others do; each failure is traced by
// its worker, the first one's code in list order is the result. The VMs start
// in list order: the list file does not say where a VM's files are.
int ESXiServer::RebootTheVmsAtOnce(const std::vector<VirtualMachineServer*>& marked) {
    const char* op = "Reboot";
    size_t workers = WorkersFor(marked.size());
    KelTrace(TRACE_DEBUG, op, kAtOnce, marked.size(), workers);
    SessionWorkers work(marked, workers, m_pSshSession, m_pParser, WorkerLogin(), [&](size_t vm) {
        int rc = marked[vm]->Reboot();
        if (rc != SSH_SUCCESS) StepFailed(op, kVmRebootCall, rc);
        return VmOutcome{rc, false};
    });
    VmRunSummary summary = RunVms(marked.size(), workers, work);
    KelTrace(TRACE_DEBUG, op, kWorkers, summary.workers);
    if (summary.stopped) return Stopped(op);
    for (size_t vm = 0; vm < marked.size(); ++vm)
        if (summary.started[vm] && summary.outcomes[vm].code != SSH_SUCCESS)
            return summary.outcomes[vm].code;
    return SSH_SUCCESS;
}

}  // namespace SshSrv
