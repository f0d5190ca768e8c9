#include "VmStopping.h"

#include "OperationTrace.h"
#include "SshServer.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kSuspended = "suspended";
const char* const kShutDown = "shut down";
const char* const kPoweredOff = "powered off";
const char* const kSuspendRefused = "left running: the suspend was refused";
const char* const kShutdownRefused = "left running: the suspend and the guest shutdown were refused";
const char* const kShutdownTooLong = "left running: still on after the guest shutdown's wait";
const char* const kPowerOffRefused = "left running: the suspend and the power-off were refused";
const char* const kSkipped = "left running: -skip";
const char* const kFallingBack = "VM %s %s: %s (code %d), falling back\n";
const char* const kLeftRunning = "VM %s %s: %s\n";
const char* const kStoppedAs = "VM %s %s: %s\n";

// The host said no to this VM: the others are still worth trying. Any other
// failure (the connection, a reply out of step) ends the run.
bool IsRefusal(int code) { return code == SSH_CLI_CMD_FAILED_ERR || code == SSH_VERIFY_ERR; }

// Shut down or powered off after a refused suspend: marked, so that the resume boots it.
VmStopResult Stopped(VirtualMachineServer& vm, const char* how) {
    vm.MarkToReboot();
    vm.SetStopped(how);
    KelTrace(TRACE_DEBUG, "StopVm", kStoppedAs, vm.GetId().c_str(), vm.GetName().c_str(), how);
    return {VmFate::kStopped, SSH_SUCCESS};
}

VmStopResult LeftRunning(VirtualMachineServer& vm, const char* why) {
    vm.SetStopped(why);
    KelTrace(TRACE_WARNING, "StopVm", kLeftRunning, vm.GetId().c_str(), vm.GetName().c_str(), why);
    return {VmFate::kLeftRunning, SSH_SUCCESS};
}

void TraceFallback(VirtualMachineServer& vm, const char* what, int code) {
    KelTrace(TRACE_DEBUG, "StopVm", kFallingBack, vm.GetId().c_str(), vm.GetName().c_str(), what, code);
}

// The guest shuts itself down, or the VM is powered off: after a refused suspend.
VmStopResult FallBack(VirtualMachineServer& vm, const SuspendPolicy& policy) {
    int rc = vm.Shutdown();
    if (rc == SSH_SUCCESS) rc = vm.WaitUntilPoweredOff(policy.shutdownSeconds);
    if (rc == SSH_SUCCESS) return Stopped(vm, kShutDown);
    if (!IsRefusal(rc)) return {VmFate::kFailed, rc};
    if (policy.onRefusal == OnRefusal::kShutdown)
        return LeftRunning(vm, rc == SSH_VERIFY_ERR ? kShutdownTooLong : kShutdownRefused);
    TraceFallback(vm, "the guest did not shut down", rc);
    rc = vm.PowerOff();
    if (rc == SSH_SUCCESS) return Stopped(vm, kPoweredOff);
    if (!IsRefusal(rc)) return {VmFate::kFailed, rc};
    return LeftRunning(vm, kPowerOffRefused);
}

}  // namespace

VmStopResult StopVm(VirtualMachineServer& vm, const SuspendPolicy& policy) {
    if (!vm.WasPoweredOn()) return {VmFate::kStopped, SSH_SUCCESS};
    int rc = vm.Suspend();
    bool fallsBack = policy.onRefusal != OnRefusal::kStop;
    if (rc == SSH_SUCCESS) {
        if (fallsBack) vm.SetStopped(kSuspended);
        return {VmFate::kStopped, SSH_SUCCESS};
    }
    if (!fallsBack || !IsRefusal(rc)) return {VmFate::kFailed, rc};
    if (policy.onRefusal == OnRefusal::kSkip) return LeftRunning(vm, kSuspendRefused);
    TraceFallback(vm, "the suspend was refused", rc);
    return FallBack(vm, policy);
}

VmFate LeaveVmAlone(VirtualMachineServer& vm) {
    if (!vm.WasPoweredOn()) return VmFate::kStopped;
    LeftRunning(vm, kSkipped);
    return VmFate::kLeftRunning;
}

}  // namespace SshSrv
