#include "list_file_text.h"

std::string ListRow(const std::string& id, const std::string& name, const std::string& status,
                    const std::string& mark, int timeout_seconds) {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\" name=\"" + name + "\"" + reboot + " status=\"" + status +
           "\" timeout=\"" + std::to_string(timeout_seconds) + "\"></virtualmachineserver>";
}

std::string ListFileText(const std::string& maintenance, const std::string& reboot, const std::string& rows,
                         const std::string& host) {
    return "<?xml version=\"1.0\"?>\n<esxiserver host=\"" + host + "\" maintenancemode=\"" + maintenance +
           "\" reboot=\"" + reboot + "\"><vms>" + rows + "</vms></esxiserver>\n";
}
