// What the list file of an earlier run still says: one rule, used by both
// modes, for which marks carry over and when the job of a suspend is done.
//
// A VM marked "to reboot" keeps its mark until its power-on is confirmed: a
// later suspend keeps the mark of every such VM that is still not running, and
// reboot_vms powers on every marked VM. The host's reboot flag (the tool put
// the host into maintenance mode) carries over while the host is still in it.
#include "OperationTrace.h"
#include "SshServer.h"

namespace SshSrv {

namespace {

const char* const kMarkKept = "VM %s %s keeps the mark of an earlier run\n";
const char* const kFlagKept = "the host stays recorded as put into maintenance mode by an earlier run\n";

const VirtualMachineServer* AsVm(const Env::XmlObject* item) {
    return static_cast<const VirtualMachineServer*>(item);
}

}  // namespace

void ESXiServer::TakeEarlierRecord(const ESXiServer& earlier) {
    m_earlierMarks.clear();
    for (const Env::XmlObject* item : earlier.GetVMs())
        if (AsVm(item)->IsMarkedToReboot()) m_earlierMarks.insert(AsVm(item)->GetId());
    m_bEarlierReboot = earlier.GetReboot();
}

bool ESXiServer::AnyVmMarked() const {
    for (const Env::XmlObject* item : m_VMs)
        if (AsVm(item)->IsMarkedToReboot()) return true;
    return false;
}

// Called once the VMs' states are read: a VM the earlier run stopped and that
// still does not run is marked again, so that reboot_vms brings it back.
void ESXiServer::CarryOverMarks() {
    for (Env::XmlObject* item : m_VMs) {
        VirtualMachineServer* vm = static_cast<VirtualMachineServer*>(item);
        if (m_earlierMarks.count(vm->GetId()) == 0 || vm->WasPoweredOn()) continue;
        vm->MarkToReboot();
        KelTrace(TRACE_DEBUG, "Suspend", kMarkKept, vm->GetId().c_str(), vm->GetName().c_str());
    }
    if (!m_bEarlierReboot || !GetMaintenanceMode()) return;
    SetReboot(true);
    KelTrace(TRACE_DEBUG, "Suspend", kFlagKept);
}

}  // namespace SshSrv
