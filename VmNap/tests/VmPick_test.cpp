// Which waiting VM starts next in a suspend run with several at once: the
// datastore groups, and the pick by VMs in flight, then VMs waiting, then order.
#include "VmPick.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using SshSrv::DatastoreGroups;
using SshSrv::PickNextVm;
using SshSrv::VmState;

const VmState W = VmState::kWaiting;
const VmState F = VmState::kInFlight;
const VmState D = VmState::kDone;

TEST(DatastoreGroups, OneGroupPerNameAndOneForEachVmWithoutAName) {
    std::vector<size_t> g = DatastoreGroups({"ssd", "", "hdd", "ssd", "", "hdd", "datastore 2"});
    ASSERT_EQ(7u, g.size());
    EXPECT_EQ(g[0], g[3]);
    EXPECT_EQ(g[2], g[5]);
    EXPECT_NE(g[0], g[2]);
    EXPECT_NE(g[1], g[4]) << "VMs without a datastore name are not one group";
    for (size_t other : {g[0], g[2], g[4], g[6]}) EXPECT_NE(g[1], other);
    for (size_t other : {g[0], g[2], g[1], g[6]}) EXPECT_NE(g[4], other);
    EXPECT_NE(g[6], g[0]);
    EXPECT_NE(g[6], g[2]);
}

TEST(DatastoreGroups, NamesDifferInCaseAndBlanks) {
    std::vector<size_t> g = DatastoreGroups({"ds", "DS", "ds ", "ds"});
    EXPECT_NE(g[0], g[1]);
    EXPECT_NE(g[0], g[2]);
    EXPECT_EQ(g[0], g[3]);
}

TEST(PickNextVm, AtTheStartTheDatastoreWithTheMostWaitingThenTheFirstInOrder) {
    // group 1 has three VMs waiting, group 0 two: the first of group 1.
    EXPECT_EQ(1u, PickNextVm({0, 1, 0, 1, 1}, {W, W, W, W, W}));
    // equal: the first VM in order.
    EXPECT_EQ(0u, PickNextVm({0, 1, 0, 1}, {W, W, W, W}));
}

TEST(PickNextVm, TheDatastoreWithTheFewestInFlightGoesFirst) {
    // group 0 has one in flight and three waiting, group 1 none in flight and one waiting.
    EXPECT_EQ(4u, PickNextVm({0, 0, 0, 0, 1}, {F, W, W, W, W}));
    // both have one in flight: group 0 has more waiting.
    EXPECT_EQ(1u, PickNextVm({0, 0, 0, 1, 1}, {F, W, W, F, W}));
    // group 1 has two in flight, group 0 one: group 0, though it has fewer waiting.
    EXPECT_EQ(2u, PickNextVm({1, 0, 0, 1, 1, 1}, {F, F, W, F, W, W}));
}

TEST(PickNextVm, VmsDoneCountForNothing) {
    // group 0: one done, one waiting; group 1: two waiting: group 1 has more waiting.
    EXPECT_EQ(2u, PickNextVm({0, 0, 1, 1}, {D, W, W, W}));
    // done VMs are neither in flight nor waiting: equal, the first in order.
    EXPECT_EQ(1u, PickNextVm({0, 0, 1, 1}, {D, W, D, W}));
}

TEST(PickNextVm, VmsOfTheirOwnGroupGoInTheOrderGiven) {
    std::vector<size_t> own = {0, 1, 2, 3};
    EXPECT_EQ(0u, PickNextVm(own, {W, W, W, W}));
    EXPECT_EQ(1u, PickNextVm(own, {F, W, W, W}));
    EXPECT_EQ(3u, PickNextVm(own, {F, D, F, W}));
}

TEST(PickNextVm, NoneWaiting) {
    EXPECT_EQ(3u, PickNextVm({0, 1, 0}, {F, D, D}));
    EXPECT_EQ(0u, PickNextVm({}, {}));
}

}  // namespace
