// The order and the exclusions of a suspend run, and the words of -onrefusal.
#include "SuspendPolicy.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SshServer.h"

namespace {

using SshSrv::OnRefusal;
using SshSrv::SuspendPolicy;
using SshSrv::VirtualMachineServer;
using SshSrv::VmOrder;

class OrderTest : public testing::Test {
protected:
    OrderTest() {
        const char* names[][2] = {{"1", "web"}, {"2", "db"}, {"3", "storage vm"}, {"4", "ups"}};
        for (auto& n : names) {
            vms_.emplace_back(new VirtualMachineServer(nullptr, nullptr, n[0], n[1]));
            listed_.push_back(vms_.back().get());
        }
    }
    std::string Ids(const std::vector<VirtualMachineServer*>& vms) const {
        std::string ids;
        for (const VirtualMachineServer* vm : vms) ids += vm->GetId() + " ";
        return ids;
    }
    std::vector<std::unique_ptr<VirtualMachineServer>> vms_;
    std::vector<VirtualMachineServer*> listed_;
};

TEST_F(OrderTest, WithoutOptionsTheListOrder) {
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, SuspendPolicy(), &order, &unmatched));
    EXPECT_EQ("1 2 3 4 ", Ids(order.handled));
    EXPECT_EQ(4u, order.lastFrom) << "no -last group";
    EXPECT_TRUE(order.skipped.empty());
}

TEST_F(OrderTest, LastInTheGivenOrderByIdOrWholeName) {
    SuspendPolicy policy;
    policy.last = {"ups", "storage vm"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("1 2 4 3 ", Ids(order.handled));
    EXPECT_EQ(2u, order.lastFrom) << "the -last group is 4 3";
}

TEST_F(OrderTest, SkippedVmsAreApartAndWinOverLast) {
    SuspendPolicy policy;
    policy.skip = {"2"};
    policy.last = {"2", "1"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("3 4 1 ", Ids(order.handled));
    EXPECT_EQ(2u, order.lastFrom) << "the -last group is 1 alone";
    EXPECT_EQ("2 ", Ids(order.skipped));
}

TEST_F(OrderTest, TheLastGroupStartsWhereTheOthersEndWhenItNamesOnlySkippedVms) {
    SuspendPolicy policy;
    policy.skip = {"db"};
    policy.last = {"2"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("1 3 4 ", Ids(order.handled));
    EXPECT_EQ(3u, order.lastFrom);
}

TEST_F(OrderTest, AnEntryThatNamesNoVmIsNamed) {
    SuspendPolicy policy;
    policy.last = {"web", "storage"};  // a part of a name is no name
    VmOrder order;
    std::string unmatched;
    EXPECT_FALSE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("storage", unmatched);
    policy.last.clear();
    policy.skip = {"9"};
    EXPECT_FALSE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("9", unmatched);
}

// The VM the tool runs in is never among the VMs the run stops itself, whatever -last says.
TEST_F(OrderTest, TheSelfVmIsApartFromTheOthers) {
    SuspendPolicy policy;
    policy.self = "ups";
    policy.last = {"ups", "1"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("2 3 1 ", Ids(order.handled));
    ASSERT_NE(nullptr, order.self);
    EXPECT_EQ("4", order.self->GetId());
    policy.self = "3";  // by id
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("2 4 1 ", Ids(order.handled));
    EXPECT_EQ("3", order.self->GetId());
}

// -skip wins over -self: a VM never touched is not left to the host either.
TEST_F(OrderTest, SkipWinsOverSelf) {
    SuspendPolicy policy;
    policy.self = "db";
    policy.skip = {"2"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ(nullptr, order.self);
    EXPECT_EQ("1 3 4 ", Ids(order.handled));
    EXPECT_EQ("2 ", Ids(order.skipped));
}

// Exactly one VM: by id or whole name; none, a part of a name, or two VMs (an id that is another VM's
// name) is not one.
TEST_F(OrderTest, TheSelfEntryNamesExactlyOneVm) {
    VirtualMachineServer* vm = nullptr;
    EXPECT_EQ(SshSrv::SelfMatch::kOne, FindSelfVm(listed_, "storage vm", &vm));
    EXPECT_EQ("3", vm->GetId());
    EXPECT_EQ(SshSrv::SelfMatch::kOne, FindSelfVm(listed_, "1", &vm));
    EXPECT_EQ("web", vm->GetName());
    EXPECT_EQ(SshSrv::SelfMatch::kNone, FindSelfVm(listed_, "storage", &vm));
    EXPECT_EQ(SshSrv::SelfMatch::kNone, FindSelfVm(listed_, "9", &vm));
    vms_.emplace_back(new VirtualMachineServer(nullptr, nullptr, "5", "2"));
    listed_.push_back(vms_.back().get());
    EXPECT_EQ(SshSrv::SelfMatch::kSeveral, FindSelfVm(listed_, "2", &vm));
    // Without a single match the run has no self VM to set apart.
    SuspendPolicy policy;
    policy.self = "2";
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ(nullptr, order.self);
}

TEST(OnRefusalWords, TheFourWordsAndNothingElse) {
    OnRefusal policy = OnRefusal::kStop;
    EXPECT_TRUE(ParseOnRefusal("skip", &policy));
    EXPECT_EQ(OnRefusal::kSkip, policy);
    EXPECT_TRUE(ParseOnRefusal("shutdown", &policy));
    EXPECT_EQ(OnRefusal::kShutdown, policy);
    EXPECT_TRUE(ParseOnRefusal("poweroff", &policy));
    EXPECT_EQ(OnRefusal::kPowerOff, policy);
    EXPECT_TRUE(ParseOnRefusal("stop", &policy));
    EXPECT_EQ(OnRefusal::kStop, policy);
    EXPECT_FALSE(ParseOnRefusal("PowerOff", &policy));
    EXPECT_FALSE(ParseOnRefusal("", &policy));
}

TEST(VmLists, CommaSeparatedWithoutEmptyEntries) {
    EXPECT_EQ((std::vector<std::string>{"1", "storage vm", "ups"}), SshSrv::SplitVmList("1,storage vm,,ups,"));
    EXPECT_TRUE(SshSrv::SplitVmList(",").empty());
}

}  // namespace
