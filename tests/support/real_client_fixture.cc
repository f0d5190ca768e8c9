#include "real_client_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include "host_state.h"
#include "state_store.h"
#include "state_text.h"

const char kListFile[] = "esxi_vms.xml";
const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";

const std::string kHostBeforeSuspend = Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
const std::string kHostAfterSuspend =
    Host("yes", 2) + Vm("1", "web01", "suspended") + Vm("2", "backup", "off");

std::string SuspendedList() {
    return ListFile("true", "true", Row("1", "web01", "Suspended", "to reboot") + Row("2", "backup", "Powered off"));
}

bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

RealClient::RealClient() : remote_(VMNAP_EXE) {}

void RealClient::SetUp() {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    ASSERT_TRUE(remote_.Start(ESXI_SIM_PATH)) << remote_.error();
}

void RealClient::SetHostInAnyOrder(const std::string& text) {
    esxisim::HostState parsed;
    std::string error;
    ASSERT_TRUE(esxisim::ParseState(text, &parsed, &error)) << error;
    SetHost(esxisim::FormatState(parsed));
}

void RealClient::WriteTextFile(const std::string& path, const std::string& text) {
    std::string error;
    ASSERT_TRUE(simulated::WriteState(path, text, &error)) << error;
}

ProgramRun RealClient::Command(const std::string& mode, const std::vector<std::string>& extra,
                               const std::string& password) {
    remote_.set_host(host_);
    return remote_.Command(mode, extra, password);
}

ProgramResult RealClient::Run(const std::string& mode, const std::vector<std::string>& extra,
                              const std::string& password) {
    remote_.set_host(host_);
    return remote_.Run(mode, extra, password);
}

esxisim::HostState RealClient::Settled() const {
    esxisim::HostState host;
    std::string error;
    EXPECT_TRUE(esxisim::StateStore(StatePath()).Read(&host, &error)) << error;
    return host;
}

bool RealClient::PowerIs(const std::string& id, esxisim::PowerState power) const {
    esxisim::HostState host = Settled();
    const esxisim::VmState* vm = host.FindVm(id);
    return vm != nullptr && vm->power == power;
}
