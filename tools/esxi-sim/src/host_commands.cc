#include "host_commands.h"

#include "fault_dump.h"

namespace esxisim {

namespace {

const char kEnterTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.enterMaintenanceMode-";
const char kExitTask[] = "'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-";

const char kSummaryHead[] =
    "(vim.host.Summary) {\n"
    "   dynamicType = <unset>,\n"
    "   host = 'vim.HostSystem:ha-host',\n"
    "   hardware = (vim.host.Summary.HardwareSummary) {\n"
    "      dynamicType = <unset>,\n"
    "      vendor = \"VMware, Inc.\",\n"
    "      model = \"VMware Virtual Platform\",\n"
    "      uuid = \"564d7a0e-3c1b-2f8a-5d4e-9b0c1a2b3c4d\",\n"
    "      memorySize = 8589463552,\n"
    "      cpuModel = \"Intel(R) Xeon(R) CPU E5-2620 0 @ 2.00GHz\",\n"
    "      cpuMhz = 1999,\n"
    "      numCpuPkgs = 1,\n"
    "      numCpuCores = 2,\n"
    "      numCpuThreads = 2,\n"
    "      numNics = 1,\n"
    "      numHBAs = 2,\n"
    "   },\n"
    "   runtime = (vim.host.RuntimeInfo) {\n"
    "      dynamicType = <unset>,\n"
    "      connectionState = \"connected\",\n"
    "      powerState = \"poweredOn\",\n"
    "      standbyMode = \"none\",\n";
const char kSummaryMaintenance[] = "      inMaintenanceMode = ";
const char kSummaryConfig[] =
    "      bootTime = \"2014-06-07T08:12:31.123Z\",\n"
    "   },\n"
    "   config = (vim.host.Summary.ConfigSummary) {\n"
    "      dynamicType = <unset>,\n"
    "      name = \"localhost.localdomain\",\n"
    "      port = 443,\n"
    "      product = (vim.AboutInfo) {\n"
    "         dynamicType = <unset>,\n"
    "         name = \"VMware ESXi\",\n";
const char kSummaryTail[] =
    "         apiType = \"HostAgent\",\n"
    "      },\n"
    "      vmotionEnabled = false,\n"
    "   },\n"
    "   overallStatus = \"gray\",\n"
    "   rebootRequired = false,\n"
    "   managementServerIp = <unset>,\n"
    "}\n";

std::string TaskReference(const char* prefix, long number) {
    return prefix + std::to_string(number) + "'\n";
}

std::string Enter(HostState* host) {
    if (host->in_maintenance) return InvalidStateFault();
    if (host->AnyVmPoweredOn()) return InvalidStateFault();
    host->in_maintenance = true;
    return TaskReference(kEnterTask, host->task_counter++);
}

std::string Exit(HostState* host) {
    if (!host->in_maintenance) return InvalidStateFault();
    host->in_maintenance = false;
    return TaskReference(kExitTask, host->task_counter++);
}

int Summary(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << FormatHostSummary(host);
    return 0;
}

int Maintenance(bool enter, const StateStore& store, std::ostream& out) {
    std::string text;
    std::string error;
    if (!store.Update([&](HostState* host) { text = enter ? Enter(host) : Exit(host); }, &error)) {
        return ReportStateError(error);
    }
    out << text;
    return 0;
}

}  // namespace

std::string FormatHostSummary(const HostState& host) {
    const VersionProfile& profile = *host.profile;
    return std::string(kSummaryHead) + kSummaryMaintenance + (host.in_maintenance ? "true" : "false") + ",\n" +
           kSummaryConfig + "         fullName = \"" + VersionLine(profile) + "\",\n" +
           "         vendor = \"VMware, Inc.\",\n" + "         version = \"" + profile.product_version + "\",\n" +
           "         build = \"" + profile.build + "\",\n" + kSummaryTail;
}

bool RunHostCommand(const std::string& name, const StateStore& store, std::ostream& out, int* status) {
    if (name == "hostsummary") *status = Summary(store, out);
    else if (name == "maintenance_mode_enter") *status = Maintenance(true, store, out);
    else if (name == "maintenance_mode_exit") *status = Maintenance(false, store, out);
    else return false;
    return true;
}

}  // namespace esxisim
