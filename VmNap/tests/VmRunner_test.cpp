// The runner of several VM operations at once, with a fake operation: the
// bound on operations in flight, the queue's order, what ends a run, a stop
// asked for by signal, and workers whose session does not open.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "StopRequest.h"
#include "VmRunner.h"

using SshSrv::RunVms;
using SshSrv::RunVmsByGroup;
using SshSrv::VmOutcome;
using SshSrv::VmRunSummary;
using SshSrv::VmWorkers;

namespace {

const int kRefused = 11;

// Each VM takes `ms`; the ones in `refused` give kRefused (ending the run when
// `ends`) once `together` operations are in flight, or the queue has no more.
class FakeWorkers : public VmWorkers {
public:
    FakeWorkers(size_t count, int ms) : count_(count), ms_(ms), finished_(count, false) {}

    bool Open(size_t worker) override {
        std::lock_guard<std::mutex> guard(lock_);
        opened_.insert(worker);
        return closedToUs_.count(worker) == 0;
    }
    VmOutcome Run(size_t vm, size_t worker) override {
        {
            std::unique_lock<std::mutex> guard(lock_);
            order_.push_back(vm);
            workersSeen_.insert(worker);
            ++inFlight_;
            maxInFlight_ = std::max(maxInFlight_, inFlight_);
            if (inFlight_ >= together_ || order_.size() == count_) together_reached_ = true;
            changed_.notify_all();
            if (vm < waitFor_)
                changed_.wait_for(guard, std::chrono::seconds(5),
                                  [this] { return together_reached_; });
        }
        if (vm == signalAt_) kill(getpid(), SIGTERM);
        bool refused = refused_.count(vm) != 0;
        if (!refused) std::this_thread::sleep_for(std::chrono::milliseconds(ms_));
        std::lock_guard<std::mutex> guard(lock_);
        --inFlight_;
        finished_[vm] = true;
        changed_.notify_all();
        return refused ? VmOutcome{kRefused, ends_} : VmOutcome{0, false};
    }
    void Close(size_t worker) override {
        std::lock_guard<std::mutex> guard(lock_);
        closed_.insert(worker);
    }

    size_t count_;
    int ms_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<size_t> order_;
    std::vector<bool> finished_;
    std::set<size_t> workersSeen_, opened_, closed_, closedToUs_, refused_;
    size_t inFlight_ = 0, maxInFlight_ = 0;
    size_t together_ = 0;    // how many in flight the first VMs wait for
    bool together_reached_ = false;
    size_t waitFor_ = 0;     // VMs below this index wait
    size_t signalAt_ = ~size_t(0);
    bool ends_ = true;
};

size_t Started(const VmRunSummary& s) {
    size_t n = 0;
    for (bool started : s.started) n += started ? 1 : 0;
    return n;
}

TEST(VmRunner, NeverMoreThanKInFlightAndKAreReached) {
    FakeWorkers work(10, 40);
    work.together_ = 3;
    work.waitFor_ = 3;
    VmRunSummary s = RunVms(10, 3, work);
    EXPECT_EQ(3u, work.maxInFlight_);
    EXPECT_EQ(10u, Started(s));
    EXPECT_EQ(10u, work.order_.size());
    EXPECT_EQ(10u, std::set<size_t>(work.order_.begin(), work.order_.end()).size()) << "a VM ran twice";
    EXPECT_EQ(3u, s.workers);
    EXPECT_EQ(std::set<size_t>({0, 1, 2}), work.workersSeen_);
    EXPECT_EQ(std::set<size_t>({1, 2}), work.opened_) << "worker 0 is the caller's own";
    EXPECT_EQ(std::set<size_t>({1, 2}), work.closed_);
    EXPECT_FALSE(s.stopped);
    EXPECT_EQ(10u, s.FirstEnding());
}

TEST(VmRunner, OneWorkerRunsTheQueueInOrderOnTheCallersThread) {
    FakeWorkers work(5, 1);
    VmRunSummary s = RunVms(5, 1, work);
    EXPECT_EQ(std::vector<size_t>({0, 1, 2, 3, 4}), work.order_);
    EXPECT_EQ(1u, work.maxInFlight_);
    EXPECT_TRUE(work.opened_.empty());
    EXPECT_EQ(1u, s.workers);
}

// The first K of the queue are the ones in flight together at the start; the rest follow in order.
TEST(VmRunner, TheQueueGivesTheVmsInTheOrderGiven) {
    FakeWorkers work(7, 30);
    work.together_ = 3;
    work.waitFor_ = 3;
    RunVms(7, 3, work);
    ASSERT_EQ(7u, work.order_.size());
    EXPECT_EQ(std::set<size_t>({0, 1, 2}), std::set<size_t>(work.order_.begin(), work.order_.begin() + 3));
    EXPECT_EQ(std::set<size_t>({3, 4, 5, 6}), std::set<size_t>(work.order_.begin() + 3, work.order_.end()));
}

// By datastore group, one worker: nothing is in flight at a pick, so the group
// with the most waiting goes first, then equal groups take turns in order.
TEST(VmRunner, ByGroupTheDatastoreWithTheMostWaitingFirst) {
    FakeWorkers work(4, 1);
    VmRunSummary s = RunVmsByGroup({1, 0, 0, 0}, 1, work);
    EXPECT_EQ(std::vector<size_t>({1, 2, 0, 3}), s.startOrder);
    EXPECT_EQ(s.startOrder, work.order_);
}

// By datastore group, two workers: the second VM to start is on the other
// datastore, not the next in the order given.
TEST(VmRunner, ByGroupTheNextVmGoesToTheIdleDatastore) {
    FakeWorkers work(6, 30);
    VmRunSummary s = RunVmsByGroup({0, 0, 0, 0, 1, 1}, 2, work);
    ASSERT_EQ(6u, s.startOrder.size());
    EXPECT_EQ(0u, s.startOrder[0]);
    EXPECT_EQ(4u, s.startOrder[1]);
    EXPECT_EQ(6u, std::set<size_t>(s.startOrder.begin(), s.startOrder.end()).size());
    EXPECT_LE(work.maxInFlight_, 2u);
}

// By datastore group, a refusal that ends the run: none starts after it, and
// the run's answer is the first ending one in the order started.
TEST(VmRunner, ByGroupARefusalStartsNoFurtherVmAndTheFirstStartedIsReported) {
    FakeWorkers work(6, 200);
    work.refused_ = {4};
    work.together_ = 2;
    work.waitFor_ = 6;
    VmRunSummary s = RunVmsByGroup({0, 0, 0, 0, 1, 1}, 2, work);
    EXPECT_EQ(std::vector<size_t>({0, 4}), s.startOrder);
    EXPECT_EQ(4u, s.FirstEnding());
    EXPECT_TRUE(work.finished_[0]) << "the one in flight finished";
}

// A refusal that ends the run: the ones in flight finish, none starts after it.
TEST(VmRunner, AnOutcomeThatEndsTheRunStartsNoFurtherVmAndLetsTheOthersFinish) {
    FakeWorkers work(8, 200);
    work.refused_ = {1};
    work.together_ = 3;
    work.waitFor_ = 3;
    VmRunSummary s = RunVms(8, 3, work);
    EXPECT_EQ(std::vector<bool>({true, true, true, false, false, false, false, false}), s.started);
    EXPECT_TRUE(work.finished_[0] && work.finished_[2]) << "the ones in flight finished";
    EXPECT_EQ(1u, s.FirstEnding());
    EXPECT_EQ(kRefused, s.outcomes[1].code);
    EXPECT_EQ(0, s.outcomes[0].code);
    EXPECT_EQ(0, s.outcomes[2].code);
    EXPECT_FALSE(s.stopped);
    EXPECT_EQ(std::set<size_t>({1, 2}), work.closed_) << "every opened session is closed";
}

// Two that end the run: the first in the queue's order is the run's answer, whichever came first.
TEST(VmRunner, TheFirstEndingInQueueOrderIsReported) {
    FakeWorkers work(6, 100);
    work.refused_ = {1, 2};
    work.together_ = 3;
    work.waitFor_ = 3;
    VmRunSummary s = RunVms(6, 3, work);
    EXPECT_EQ(1u, s.FirstEnding());
    EXPECT_EQ(3u, Started(s));
}

// Refusals that the policy lets pass: every VM is tried.
TEST(VmRunner, OutcomesThatDoNotEndTheRunLetEveryVmBeTried) {
    FakeWorkers work(8, 20);
    work.refused_ = {1, 4, 7};
    work.ends_ = false;
    VmRunSummary s = RunVms(8, 3, work);
    EXPECT_EQ(8u, Started(s));
    EXPECT_EQ(8u, s.FirstEnding());
    for (size_t vm : {1, 4, 7}) EXPECT_EQ(kRefused, s.outcomes[vm].code) << vm;
    EXPECT_EQ(0, s.outcomes[0].code);
}

class VmRunnerStop : public testing::Test {
protected:
    void SetUp() override {
        StopRequest::Clear();
        StopRequest::Install();
    }
    void TearDown() override {
        StopRequest::Clear();
        for (int s : {SIGTERM, SIGINT, SIGHUP}) signal(s, SIG_DFL);
    }
};

// A stop signal while three run: they finish, no further VM starts, the run says it was stopped.
TEST_F(VmRunnerStop, AStopSignalStartsNoNewVmAndLetsTheOnesInFlightEnd) {
    FakeWorkers work(8, 200);
    work.together_ = 3;
    work.waitFor_ = 3;
    work.signalAt_ = 1;
    VmRunSummary s = RunVms(8, 3, work);
    EXPECT_TRUE(s.stopped);
    EXPECT_EQ(3u, Started(s));
    EXPECT_TRUE(work.finished_[0] && work.finished_[1] && work.finished_[2]);
    EXPECT_EQ(8u, s.FirstEnding());
}

TEST_F(VmRunnerStop, AStopAskedBeforehandStartsNothing) {
    ASSERT_EQ(0, kill(getpid(), SIGTERM));
    FakeWorkers work(4, 10);
    VmRunSummary s = RunVms(4, 2, work);
    EXPECT_TRUE(s.stopped);
    EXPECT_EQ(0u, Started(s));
}

// A session that does not open means one worker fewer; every VM still runs.
TEST(VmRunner, AWorkerWhoseSessionDoesNotOpenTakesNoVm) {
    FakeWorkers work(6, 30);
    work.closedToUs_ = {2};
    VmRunSummary s = RunVms(6, 3, work);
    EXPECT_EQ(6u, Started(s));
    EXPECT_EQ(2u, s.workers);
    EXPECT_EQ(0u, work.workersSeen_.count(2));
    EXPECT_EQ(0u, work.closed_.count(2)) << "nothing to close for a session that did not open";
}

// No session is opened while no VM waits for it.
TEST(VmRunner, NoSessionOpensWhenNoVmWaits) {
    FakeWorkers work(0, 10);
    VmRunSummary s = RunVms(0, 4, work);
    EXPECT_TRUE(work.opened_.empty());
    EXPECT_TRUE(s.started.empty());
    EXPECT_EQ(0u, s.FirstEnding());
}

}  // namespace
