// Which waiting VM starts next in a suspend run with several at once: the
// datastore groups, and the pick: an idle datastore, then the most left per worker, then order.
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
    // group 1 has two in flight and two waiting, group 0 one in flight and one waiting: group 1 has more
    // left for each worker it would have.
    EXPECT_EQ(4u, PickNextVm({1, 0, 0, 1, 1, 1}, {F, F, W, F, W, W}));
    // as much left for each: group 0, which has fewer in flight.
    EXPECT_EQ(2u, PickNextVm({1, 0, 0, 0, 1, 1, 1}, {F, F, W, W, F, W, W}));
}

// A datastore whose VMs took longer gets more workers: what is left there is the waiting VMs times how long
// its VMs took; a group with none done yet is taken to be as slow as all done VMs on average.
TEST(PickNextVm, ADatastoreWhoseVmsTakeLongerGetsMoreWorkers) {
    std::vector<size_t> group = {0, 0, 0, 0, 1, 1, 1, 1};
    std::vector<VmState> state = {D, F, W, W, D, F, W, W};
    // group 0's VM took 2 s, group 1's 6 s: group 1 has 2 x 6 / 2 left for each worker, group 0 2 x 2 / 2.
    EXPECT_EQ(6u, PickNextVm(group, state, {2, 0, 0, 0, 6, 0, 0, 0}));
    // the other way round: group 0.
    EXPECT_EQ(2u, PickNextVm(group, state, {6, 0, 0, 0, 2, 0, 0, 0}));
    // group 1 already has two in flight: 2 x 6 / 3 = 4 beside group 0's 2 x 2 / 2 = 2: still group 1.
    EXPECT_EQ(7u, PickNextVm({0, 0, 0, 0, 1, 1, 1, 1, 1}, {D, F, W, W, D, F, F, W, W},
                             {2, 0, 0, 0, 6, 0, 0, 0, 0}));
    // nothing of group 1 done: it counts the 2 s of group 0's VM, and has more waiting.
    EXPECT_EQ(5u, PickNextVm(group, {D, F, W, W, F, W, W, W}, {2, 0, 0, 0, 0, 0, 0, 0}));
    // a group with nothing in flight goes first, however little it has left.
    EXPECT_EQ(7u, PickNextVm(group, {D, F, W, W, D, D, D, W}, {9, 0, 0, 0, 1, 1, 1, 0}));
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
