// A host that goes silent in the middle of a reply ("stall" keys): vim-cmd run in-process.
#include "stalled_reply.h"

#include <gtest/gtest.h>
#include <time.h>

#include <sstream>
#include <string>

#include "host_programs.h"
#include "state_store.h"
#include "temp_dir.h"

namespace esxisim {
namespace {

double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

class StalledReplyTest : public ::testing::Test {
protected:
    int Run(const std::vector<std::string>& args) {
        out_.str("");
        return RunHostProgram("vim-cmd", args, StateStore(dir_.file("state")), out_);
    }

    // The whole reply of `args` on the same host without its stall keys.
    std::string WholeReply(const std::string& host, const std::vector<std::string>& args) {
        dir_.Write("state", host);
        EXPECT_EQ(0, Run(args));
        return out_.str();
    }

    TempDir dir_;
    std::ostringstream out_;
};

TEST(CommandPathTest, LeadingSlashDroppedAndTheBareVimCmdIsTheRoot) {
    EXPECT_EQ("vmsvc/getallvms", CommandPath({"vmsvc/getallvms"}));
    EXPECT_EQ("hostsvc/hostsummary", CommandPath({"/hostsvc/hostsummary"}));
    EXPECT_EQ("vmsvc/power.on", CommandPath({"vmsvc/power.on", "3"}));
    EXPECT_EQ("/", CommandPath({}));
    EXPECT_EQ("/", CommandPath({"/"}));
}

TEST(CommandPathTest, StallKeysAreReadTheSameWay) {
    HostState host;
    host.stalls = {"/hostsvc/hostsummary", "/"};
    EXPECT_TRUE(IsStalled(host, "hostsvc/hostsummary"));
    EXPECT_TRUE(IsStalled(host, "/"));
    EXPECT_FALSE(IsStalled(host, "vmsvc/getallvms"));
}

TEST_F(StalledReplyTest, TableStopsHalfwayAndTheCommandStaysSilentForTheStallSeconds) {
    const std::string host = "vm 1\nname web\nfile [ds] web/web.vmx\nvm 2\nname db\nfile [ds] db/db.vmx\n";
    std::string whole = WholeReply(host, {"vmsvc/getallvms"});
    dir_.Write("state", host + "stall vmsvc/getallvms\nstall_seconds 1\n");
    double start = Now();
    EXPECT_EQ(1, Run({"vmsvc/getallvms"}));
    EXPECT_GE(Now() - start, 1.0);
    EXPECT_LT(Now() - start, 1.8);
    EXPECT_EQ(whole.substr(0, whole.size() / 2), out_.str());
    EXPECT_LT(out_.str().size(), whole.size());
    EXPECT_NE('\n', out_.str().back()) << "the table is cut inside a line";
}

TEST_F(StalledReplyTest, BareVimCmdAndTheHostSummaryStallUnderTheirPaths) {
    std::string listing = WholeReply("", {});
    std::string summary = WholeReply("", {"hostsvc/hostsummary"});
    dir_.Write("state", "stall /\nstall hostsvc/hostsummary\nstall_seconds 0\n");
    EXPECT_EQ(1, Run({}));
    EXPECT_EQ(listing.substr(0, listing.size() / 2), out_.str());
    EXPECT_EQ(1, Run({"/hostsvc/hostsummary"}));
    EXPECT_EQ(summary.substr(0, summary.size() / 2), out_.str());
    EXPECT_EQ(0, Run({"vmsvc/getallvms"}));
    EXPECT_EQ(0u, out_.str().find("Vmid"));
}

TEST_F(StalledReplyTest, StalledPowerOperationIsStillCarriedOut) {
    dir_.Write("state", "stall vmsvc/power.suspend\nstall_seconds 0\nvm 4\npower on\n");
    EXPECT_EQ(1, Run({"vmsvc/power.suspend", "4"}));
    EXPECT_EQ("Suspend", out_.str());
    HostState host;
    std::string error;
    ASSERT_TRUE(StateStore(dir_.file("state")).Read(&host, &error)) << error;
    EXPECT_EQ(PowerState::kSuspended, host.FindVm("4")->power);
}

}  // namespace
}  // namespace esxisim
