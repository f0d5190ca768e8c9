// Trace helpers shared by the host and VM operations.
#ifndef VMNAP_OPERATION_TRACE_H
#define VMNAP_OPERATION_TRACE_H

#include "kel-tools-trace.h"

namespace SshSrv {

const char* const kStepFailed = "%s failed, error code - %d\n";

// Reports the failed step `call` of operation `op` at debug level and hands
// its code back, so callers can write `return StepFailed(...)`.
inline int StepFailed(const char* op, const char* call, int code) {
    KelTrace(TRACE_DEBUG, op, kStepFailed, call, code);
    return code;
}

// The call texts printed by the failure traces.
const char* const kGetResponseCall = "m_pSshSession->GetResponse(&pResponse)";
const char* const kUpdateStatusCall = "UpdateStatus()";
const char* const kLoginCall = "Login()";
const char* const kGetAllVmsCall = "GetAllVms()";
const char* const kGetMaintenanceCall = "GetMaintenance()";
const char* const kVmSuspendCall = "pVm->Suspend()";
const char* const kVmRebootCall = "pVm->Reboot()";

}  // namespace SshSrv

#endif
