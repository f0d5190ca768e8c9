// Every mode of VmNap against the simulated host of each ESXi version (tools/esxi-sim profiles), through
// the real plink and a real sshd: the same commands, host state and list file on every version. Newer
// hosts pad their VM tables so that a few VMs fill more than one 4095-byte read; the listing tests run
// hosts of 50 to 200 VMs. One process per test, so ctest -j runs them side by side.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "example_vms.h"
#include "simulated_host.h"
#include "state_store.h"
#include "vm_table.h"
#include "vmnap_over_ssh.h"

namespace {

using esxisim::HostState;
using esxisim::PowerState;
using esxisim::VmState;

const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";
const size_t kPieceSize = 4095;
const int kSecondsPerVm = 4;  // a generous bound on today's reply pace, for the run's time-out

const esxisim::VersionProfile& Profile(const std::string& version) { return *esxisim::FindProfile(version); }

// VM N is on when N % 3 == 1, off when N % 3 == 2, suspended otherwise.
std::vector<VmState> MixedVms(const std::string& version, int count) {
    std::vector<VmState> vms = esxisim::ExampleVms(Profile(version), count, PowerState::kOff);
    const PowerState cycle[] = {PowerState::kSuspended, PowerState::kOn, PowerState::kOff};
    for (size_t i = 0; i < vms.size(); ++i) vms[i].power = cycle[(i + 1) % 3];
    return vms;
}


const char* StatusText(PowerState power) { return esxisim::PowerStateText(power); }

// The VMs in the order of the host's table: ids sorted as strings.
std::vector<VmState> TableOrder(std::vector<VmState> vms) {
    std::sort(vms.begin(), vms.end(), [](const VmState& a, const VmState& b) { return a.id < b.id; });
    return vms;
}

class VmNapOnVersion {
public:
    explicit VmNapOnVersion(const std::string& version) : version_(version), remote_(VMNAP_EXE) {}

    bool Start() { return remote_.Start(ESXI_SIM_PATH); }

    void SetHost(bool maintenance, const std::vector<VmState>& vms) {
        HostState host;
        host.hostname = "esx01";
        host.profile = &Profile(version_);
        host.in_maintenance = maintenance;
        host.vms = vms;
        std::string error;
        ASSERT_TRUE(esxisim::StateStore(remote_.StatePath()).Write(host, &error)) << error;
    }

    HostState HostNow() const {
        HostState host;
        std::string error;
        EXPECT_TRUE(esxisim::StateStore(remote_.StatePath()).Read(&host, &error)) << error;
        return host;
    }

    VmNapOverSsh& remote() { return remote_; }

private:
    std::string version_;
    VmNapOverSsh remote_;
};

std::string Powers(const std::vector<VmState>& vms) {
    std::string text;
    for (const VmState& vm : vms) text += vm.id + ":" + StatusText(vm.power) + " ";
    return text;
}

class EsxiVersion : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(host_.Start()) << host_.remote().error();
    }

    ProgramResult Run(const std::string& mode, const std::vector<std::string>& extra = {}) {
        return host_.remote().Run(mode, extra);
    }
    std::string Explain(const ProgramResult& r) { return host_.remote().Explain(r); }
    std::string ListNow() { return host_.remote().ListNow(); }

    // Enough VMs on 7.0 and later that the table is longer than one read.
    int RoundTripVms() const { return Profile(GetParam()).annotation_width > 0 ? 15 : 5; }

    VmNapOnVersion host_{GetParam()};
};

TEST_P(EsxiVersion, AccountCheckIs0) {
    host_.SetHost(false, MixedVms(GetParam(), 3));
    ProgramResult r = Run("account_check");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

TEST_P(EsxiVersion, CheckMaintenanceModeInMaintenanceIs0) {
    host_.SetHost(true, MixedVms(GetParam(), 2));
    ProgramResult r = Run("check_maintenance_mode");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

TEST_P(EsxiVersion, CheckMaintenanceModeOutOfMaintenanceIs13) {
    host_.SetHost(false, MixedVms(GetParam(), 2));
    ProgramResult r = Run("check_maintenance_mode");
    EXPECT_EQ(13, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

// The list file after suspend_vms on `start`: the running VMs suspended and marked.
std::string SuspendedList(const std::vector<VmState>& start) {
    std::string rows;
    for (const VmState& vm : TableOrder(start)) {
        bool ran = vm.power == PowerState::kOn;
        rows += simulated::Row(vm.id, vm.name, StatusText(ran ? PowerState::kSuspended : vm.power),
                        ran ? "to reboot" : "");
    }
    return simulated::ListFile("true", "true", rows);
}

// The list file after reboot_vms: the marked VMs powered on again.
std::string RebootedList(const std::vector<VmState>& start) {
    std::string rows;
    for (const VmState& vm : TableOrder(start)) {
        bool ran = vm.power == PowerState::kOn;
        rows += simulated::Row(vm.id, vm.name, StatusText(vm.power), ran ? "rebooted" : "");
    }
    return simulated::ListFile("false", "false", rows);
}

TEST_P(EsxiVersion, SuspendThenRebootLeavesEveryVmAsItWas) {
    std::vector<VmState> start = MixedVms(GetParam(), RoundTripVms());
    if (Profile(GetParam()).annotation_width > 0) {
        ASSERT_GT(esxisim::FormatVmTable(start, Profile(GetParam()).annotation_width).size(), kPieceSize);
    }
    host_.SetHost(false, start);
    host_.remote().set_timeout_seconds(60 + kSecondsPerVm * 2 * RoundTripVms());
    ProgramResult suspended = Run("suspend_vms");
    ASSERT_EQ(0, suspended.exit_status) << Explain(suspended);
    HostState host = host_.HostNow();
    EXPECT_TRUE(host.in_maintenance);
    for (const VmState& vm : host.vms) EXPECT_NE(PowerState::kOn, vm.power) << vm.id;
    EXPECT_EQ(SuspendedList(start), ListNow());

    ProgramResult rebooted = Run("reboot_vms");
    ASSERT_EQ(0, rebooted.exit_status) << Explain(rebooted);
    EXPECT_FALSE(host_.HostNow().in_maintenance);
    EXPECT_EQ(Powers(start), Powers(host_.HostNow().vms));
    EXPECT_EQ(RebootedList(start), ListNow());
}

TEST_P(EsxiVersion, VmThatRefusesToSuspendIs11WithTheVmsBeforeItMarked) {
    std::vector<VmState> vms = esxisim::ExampleVms(Profile(GetParam()), 4, PowerState::kOn);
    vms[2].refuse_suspend = true;
    host_.SetHost(false, vms);
    ProgramResult r = Run("suspend_vms");
    EXPECT_EQ(11, r.exit_status) << Explain(r);
    HostState host = host_.HostNow();
    EXPECT_FALSE(host.in_maintenance);
    EXPECT_EQ("1:Suspended 2:Suspended 3:Powered on 4:Powered on ", Powers(host.vms));
    EXPECT_EQ(simulated::ListFile("false", "false",
                           simulated::Row("1", vms[0].name, "Suspended", "to reboot") +
                               simulated::Row("2", vms[1].name, "Suspended", "to reboot") +
                               simulated::Row("3", vms[2].name, "Powered on") +
                               simulated::Row("4", vms[3].name, "Powered on")),
              ListNow());
}

std::string VersionName(const testing::TestParamInfo<const char*>& info) {
    std::string name = std::string("Esxi") + info.param;
    name.erase(name.find('.'), 1);
    return name;
}

INSTANTIATE_TEST_SUITE_P(Versions, EsxiVersion, testing::Values("5.5", "6.7", "7.0", "8.0"), VersionName);

// Hosts with many VMs, all powered off: suspend_vms reads the whole table, saves every VM and enters
// maintenance mode (so the file asks reboot_vms to take the host out again, though no VM is marked).
struct Listing {
    const char* version;
    int vms;
};

void PrintTo(const Listing& listing, std::ostream* out) { *out << listing.version << "/" << listing.vms; }

class ManyVms : public testing::TestWithParam<Listing> {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        ASSERT_TRUE(host_.Start()) << host_.remote().error();
    }

    VmNapOnVersion host_{GetParam().version};
};

TEST_P(ManyVms, SuspendVmsListsAndSavesEveryVm) {
    std::vector<VmState> vms =
        esxisim::ExampleVms(Profile(GetParam().version), GetParam().vms, PowerState::kOff);
    host_.SetHost(false, vms);
    host_.remote().set_timeout_seconds(60 + kSecondsPerVm * GetParam().vms);
    ProgramResult r = host_.remote().Run("suspend_vms");
    ASSERT_EQ(0, r.exit_status) << host_.remote().Explain(r);
    std::string rows;
    for (const VmState& vm : TableOrder(vms)) rows += simulated::Row(vm.id, vm.name, "Powered off");
    EXPECT_EQ(simulated::ListFile("true", "true", rows), host_.remote().ListNow());
    EXPECT_TRUE(host_.HostNow().in_maintenance);
    std::printf("%d VMs on ESXi %s: suspend_vms took %d s\n", GetParam().vms, GetParam().version,
                host_.remote().last_seconds());
}

INSTANTIATE_TEST_SUITE_P(Hosts, ManyVms,
                         testing::Values(Listing{"5.5", 50}, Listing{"7.0", 100}, Listing{"8.0", 200}),
                         [](const testing::TestParamInfo<Listing>& info) {
                             std::string name = std::string("Esxi") + info.param.version;
                             name.erase(name.find('.'), 1);
                             return name + "With" + std::to_string(info.param.vms) + "Vms";
                         });

}  // namespace
