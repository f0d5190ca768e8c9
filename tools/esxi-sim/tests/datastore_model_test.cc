// The datastore model: which datastore a VM's memory goes to, at what speed, shared by whom; max_in_flight;
// the example VMs' memory.
#include "datastore_model.h"

#include <gtest/gtest.h>

#include "example_vms.h"

namespace esxisim {
namespace {

VmState VmOn(const std::string& id, const std::string& file, OperationKind kind = OperationKind::kNone,
             bool transferring = false) {
    VmState vm;
    vm.id = id;
    vm.file = file;
    vm.power = PowerState::kOn;
    vm.operation.kind = kind;
    vm.operation.pid = 1;
    vm.operation.transferring = transferring;
    vm.operation.remaining_mb = transferring ? 100 : 0;  // a transfer under way has memory left to move
    return vm;
}

TEST(DatastoreModelTest, VmDatastoreIsItsKeyElseTheBracketsOfItsFile) {
    VmState vm = VmOn("1", "[datastore 2] web/web.vmx");
    EXPECT_EQ("datastore 2", VmDatastore(vm));
    vm.datastore = "fast";
    EXPECT_EQ("fast", VmDatastore(vm));
    EXPECT_EQ("", VmDatastore(VmOn("2", "web/web.vmx")));
    EXPECT_EQ("", VmDatastore(VmOn("3", "[] /var/run/crx/infra/vCLS-1/vCLS-1.vmx")));
}

TEST(DatastoreModelTest, SpeedIsTheHostsForANamedDatastoreElseTheProfiles) {
    HostState host;
    host.datastores = {{"ssd", 900, 1200}};
    EXPECT_EQ(900, DatastoreSpeed(host, "ssd", OperationKind::kSuspend));
    EXPECT_EQ(1200, DatastoreSpeed(host, "ssd", OperationKind::kResume));
    EXPECT_EQ(100, DatastoreSpeed(host, "datastore1", OperationKind::kSuspend));
    EXPECT_EQ(150, DatastoreSpeed(host, "datastore1", OperationKind::kResume));
    host.profile = FindProfile("8.0");
    EXPECT_EQ(1000, DatastoreSpeed(host, "datastore1", OperationKind::kSuspend));
    EXPECT_EQ(2000, DatastoreSpeed(host, "datastore1", OperationKind::kResume));
}

TEST(DatastoreModelTest, SpeedIsSharedByTheTransfersOfTheSameKindOnTheSameDatastore) {
    HostState host;
    host.datastores = {{"ds1", 300, 600}};
    host.vms = {VmOn("1", "[ds1] a/a.vmx", OperationKind::kSuspend, true),
                VmOn("2", "[ds1] b/b.vmx", OperationKind::kSuspend, true),
                VmOn("3", "[ds1] c/c.vmx", OperationKind::kSuspend, false),
                VmOn("4", "[ds1] d/d.vmx", OperationKind::kResume, true),
                VmOn("5", "[ds2] e/e.vmx", OperationKind::kSuspend, true),
                VmOn("6", "[ds1] f/f.vmx")};
    EXPECT_EQ(150, TransferShare(host, host.vms[0], OperationKind::kSuspend)) << "two writing";
    EXPECT_EQ(100, TransferShare(host, host.vms[2], OperationKind::kSuspend)) << "about to be the third";
    EXPECT_EQ(600, TransferShare(host, host.vms[3], OperationKind::kResume)) << "reads do not share writes";
    EXPECT_EQ(100, TransferShare(host, host.vms[4], OperationKind::kSuspend)) << "ds2 has the profile's speed";
    EXPECT_EQ(5, OperationsInFlight(host));
}

// 300 MB/s shared by two writers from 100 s on, one of them alone before: what each has moved by 102 s,
// whether the host is brought up to the present in one step or in several.
TEST(DatastoreModelTest, TransfersMoveOnAtTheirSharesSinceTheirLastMoment) {
    HostState host;
    host.datastores = {{"ds1", 300, 600}};
    host.vms = {VmOn("1", "[ds1] a/a.vmx", OperationKind::kSuspend, true),
                VmOn("2", "[ds1] b/b.vmx", OperationKind::kSuspend, true),
                VmOn("3", "[ds1] c/c.vmx", OperationKind::kSuspend, false)};
    host.vms[0].operation.remaining_mb = 1000;
    host.vms[0].operation.as_of = 99;
    host.vms[1].operation.remaining_mb = 500;
    host.vms[1].operation.as_of = 100;
    HostState stepwise = host;
    AdvanceTransfers(&host, 102);
    EXPECT_DOUBLE_EQ(1000 - 150 * 3, host.vms[0].operation.remaining_mb);
    EXPECT_DOUBLE_EQ(500 - 150 * 2, host.vms[1].operation.remaining_mb);
    EXPECT_EQ(102, host.vms[1].operation.as_of);
    EXPECT_EQ(0, host.vms[2].operation.remaining_mb) << "not transferring yet";
    AdvanceTransfers(&stepwise, 100.5);
    AdvanceTransfers(&stepwise, 102);
    EXPECT_DOUBLE_EQ(host.vms[0].operation.remaining_mb, stepwise.vms[0].operation.remaining_mb);
    AdvanceTransfers(&host, 110);
    EXPECT_EQ(0, host.vms[1].operation.remaining_mb) << "never below nothing";
}

// 300 MB/s shared by two writers from 100 s on: the first is done at 101 s (150 MB at 150 MB/s), and from
// then on the second has the whole speed, though no process has ended the first yet.
TEST(DatastoreModelTest, TransferThatIsDoneGivesItsShareToTheOthersFromThatMoment) {
    HostState host;
    host.datastores = {{"ds1", 300, 600}};
    host.vms = {VmOn("1", "[ds1] a/a.vmx", OperationKind::kSuspend, true),
                VmOn("2", "[ds1] b/b.vmx", OperationKind::kSuspend, true)};
    host.vms[0].operation.remaining_mb = 150;
    host.vms[0].operation.as_of = 100;
    host.vms[1].operation.remaining_mb = 600;
    host.vms[1].operation.as_of = 100;
    HostState stepwise = host;
    AdvanceTransfers(&host, 102);
    EXPECT_EQ(0, host.vms[0].operation.remaining_mb);
    EXPECT_TRUE(host.vms[0].operation.transferring) << "its process ends it";
    EXPECT_DOUBLE_EQ(600 - 150 - 300, host.vms[1].operation.remaining_mb);
    EXPECT_EQ(300, TransferShare(host, host.vms[1], OperationKind::kSuspend)) << "the done one takes no share";
    EXPECT_EQ(150, TransferShare(host, VmOn("3", "[ds1] c/c.vmx"), OperationKind::kSuspend))
        << "a third that starts now shares with the second alone";
    for (double now = 100.3; now < 102; now += 0.3) AdvanceTransfers(&stepwise, now);
    AdvanceTransfers(&stepwise, 102);
    EXPECT_NEAR(host.vms[1].operation.remaining_mb, stepwise.vms[1].operation.remaining_mb, 1e-9)
        << "the same in steps across the moment the first is done";
    AdvanceTransfers(&host, 103);
    EXPECT_EQ(0, host.vms[1].operation.remaining_mb);
}

// At an epoch of today a double resolves about a quarter of a microsecond: a transfer this close to its end
// is done at a moment that rounds to its last one, and still ends.
TEST(DatastoreModelTest, TransferDoneSoonerThanTheClockCanTellEndsAndTheOthersMoveOn) {
    HostState host;
    host.datastores = {{"ds1", 1000000, 1000000}};
    host.vms = {VmOn("1", "[ds1] a/a.vmx", OperationKind::kSuspend, true),
                VmOn("2", "[ds1] b/b.vmx", OperationKind::kSuspend, true)};
    const double epoch = 1763900000;
    host.vms[0].operation.remaining_mb = 0.0011;
    host.vms[0].operation.as_of = epoch;
    host.vms[1].operation.remaining_mb = 1000000;
    host.vms[1].operation.as_of = epoch;
    AdvanceTransfers(&host, epoch + 0.5);
    EXPECT_EQ(0, host.vms[0].operation.remaining_mb);
    EXPECT_NEAR(500000, host.vms[1].operation.remaining_mb, 1) << "alone at the whole speed";
}

TEST(DatastoreModelTest, MaxInFlightIsKeptOnlyWhenTheHostRecordsIt) {
    HostState host;
    RecordInFlight(&host, 3);
    EXPECT_EQ(-1, host.max_in_flight);
    host.max_in_flight = 0;
    RecordInFlight(&host, 3);
    RecordInFlight(&host, 2);
    EXPECT_EQ(3, host.max_in_flight);
}

TEST(DatastoreModelTest, ExampleVmsTakeNoTimeUnlessSized) {
    const VersionProfile& profile = *FindProfile("7.0");
    for (const VmState& vm : ExampleVms(profile, 5, PowerState::kOn)) EXPECT_EQ(0, vm.memory_mb);
    std::vector<VmState> sized = SizedExampleVms(profile, 5, PowerState::kOn);
    ASSERT_EQ(5u, sized.size());
    EXPECT_EQ(4096, sized[0].memory_mb);
    EXPECT_EQ(12288, sized[2].memory_mb) << "the appliance";
    EXPECT_EQ(4096, sized[4].memory_mb) << "the first example again";
    EXPECT_EQ("datastore1", VmDatastore(sized[0]));
}

}  // namespace
}  // namespace esxisim
