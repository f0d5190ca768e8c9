#include "simulated_host.h"

#include "host_state.h"
#include "state_store.h"
#include "state_text.h"

namespace simulated {

std::string Vm(const std::string& id, const std::string& name, const std::string& power,
               const std::string& refuse_suspend, int suspend_seconds) {
    return "vm " + id + "\nname " + name + "\nfile [datastore1] " + name + "/" + name +
           ".vmx\nguest centos64Guest\nversion vmx-08\npower " + power + "\nrefuse_suspend " +
           refuse_suspend + "\nsuspend_seconds " + std::to_string(suspend_seconds) + "\n";
}

std::string Host(const std::string& maintenance, int task_counter, const std::string& prompt,
                 const std::string& hostname) {
    return "hostname " + hostname + "\nesxi_version 5.5\nprompt " + prompt + "\nmaintenance " + maintenance +
           "\ntask_counter " + std::to_string(task_counter) + "\n";
}

std::string HostOfVersion(const std::string& version, const std::string& maintenance, int task_counter) {
    return "hostname esx01\nesxi_version " + version + "\nprompt " + (version == "5.5" ? "busybox" : "bracket") +
           "\nmaintenance " + maintenance + "\ntask_counter " + std::to_string(task_counter) + "\n";
}

std::string Row(const std::string& id, const std::string& name, const std::string& status,
                const std::string& mark, int timeout_seconds) {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\" name=\"" + name + "\"" + reboot + " status=\"" +
           status + "\" timeout=\"" + std::to_string(timeout_seconds) + "\"></virtualmachineserver>";
}

std::string ListFile(const std::string& maintenance, const std::string& reboot, const std::string& rows,
                     const std::string& host) {
    return "<?xml version=\"1.0\"?>\n<esxiserver host=\"" + host + "\" maintenancemode=\"" + maintenance +
           "\" reboot=\"" + reboot + "\"><vms>" + rows + "</vms></esxiserver>\n";
}

bool WriteState(const std::string& path, const std::string& text, std::string* error) {
    esxisim::HostState parsed;
    if (!esxisim::ParseState(text, &parsed, error)) return false;
    if (esxisim::FormatState(parsed) != text) {
        *error = "the simulator would write this state differently:\n" + esxisim::FormatState(parsed);
        return false;
    }
    return esxisim::StateStore(path).Write(parsed, error);
}

}  // namespace simulated
