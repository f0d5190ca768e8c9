#include "demo_host.h"

#include "host_state.h"
#include "state_store.h"
#include "state_text.h"

namespace {

const char kHostState[] =
    "hostname esx-demo\n"
    "maintenance no\n"
    "vm 1\n"
    "name web01\n"
    "file [datastore1] web01/web01.vmx\n"
    "guest centos64Guest\n"
    "version vmx-08\n"
    "power on\n"
    "note public web server\n"
    "vm 2\n"
    "name db01\n"
    "file [datastore1] db01/db01.vmx\n"
    "guest rhel6_64Guest\n"
    "version vmx-08\n"
    "power on\n"
    "note primary database\n"
    "note owner: data team\n"
    "vm 3\n"
    "name build server\n"
    "file [datastore1] build server/build server.vmx\n"
    "guest debian6_64Guest\n"
    "version vmx-08\n"
    "power on\n"
    "vm 4\n"
    "name old-test\n"
    "file [datastore1] old-test/old-test.vmx\n"
    "guest otherLinux64Guest\n"
    "version vmx-07\n"
    "power off\n";

std::string PowerLines(const esxisim::HostState& host) {
    std::string text;
    for (const esxisim::VmState& vm : host.vms) {
        text += "vm " + vm.id + " \"" + vm.name + "\": " + esxisim::PowerStateText(vm.power) + "\n";
    }
    return text;
}

void BreakBefore(const std::string& marker, const std::string& line_break, std::string* text) {
    for (size_t at = text->find(marker); at != std::string::npos;
         at = text->find(marker, at + line_break.size() + marker.size())) {
        text->insert(at, line_break);
    }
}

}  // namespace

std::string DemoHostState(const std::string& version) {
    std::string text = kHostState;
    if (!version.empty()) text.insert(text.find('\n') + 1, "esxi_version " + version + "\n");
    return text;
}

std::string HostSummary(const std::string& state_path) {
    esxisim::HostState host;
    std::string error;
    if (!esxisim::StateStore(state_path).Read(&host, &error)) return error + "\n";
    return std::string("maintenance mode: ") + (host.in_maintenance ? "yes" : "no") + "\n" + PowerLines(host);
}

bool HostIsBackToStart(const std::string& state_path, const std::string& version) {
    esxisim::HostState now, start;
    std::string error;
    bool read = esxisim::StateStore(state_path).Read(&now, &error) &&
                esxisim::ParseState(DemoHostState(version), &start, &error);
    return read && !now.in_maintenance && PowerLines(now) == PowerLines(start);
}

std::string WithVmsOnLines(const std::string& xml) {
    std::string text = xml;
    BreakBefore("<virtualmachineserver ", "\n  ", &text);
    BreakBefore("</vms>", "\n", &text);
    return text;
}
