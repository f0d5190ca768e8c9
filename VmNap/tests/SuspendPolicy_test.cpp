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
    EXPECT_TRUE(order.skipped.empty());
}

TEST_F(OrderTest, LastInTheGivenOrderByIdOrWholeName) {
    SuspendPolicy policy;
    policy.last = {"ups", "storage vm"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("1 2 4 3 ", Ids(order.handled));
}

TEST_F(OrderTest, SkippedVmsAreApartAndWinOverLast) {
    SuspendPolicy policy;
    policy.skip = {"2"};
    policy.last = {"2", "1"};
    VmOrder order;
    std::string unmatched;
    ASSERT_TRUE(OrderVms(listed_, policy, &order, &unmatched));
    EXPECT_EQ("3 4 1 ", Ids(order.handled));
    EXPECT_EQ("2 ", Ids(order.skipped));
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
