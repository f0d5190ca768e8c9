// The demo's login step (VmNap through the real plink, run by the demo's own code) while root's plink
// configuration holds another key for 127.0.0.1 port 22: VmNap meets the first-contact question of a
// private cache, and root's files stay byte for byte as they were. (The whole demo takes a minute and a
// half; its two runs log in through this same step.)
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "demo_host.h"
#include "demo_steps.h"
#include "shadowed_root_home.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

namespace {

TEST(ForeignRootCache, DemoLoginStepUsesThePrivateCacheAndLeavesRootsFilesAlone) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    ShadowedRootHome root;
    ASSERT_TRUE(root.Plant()) << root.error();
    SshdFixture sshd;
    TempDir work;
    ASSERT_TRUE(sshd.Start(ESXI_SIM_PATH)) << sshd.error();
    ASSERT_TRUE(WriteWholeFile(sshd.shell_dir() + "/esxi-sim.state", DemoHostState()));
    ASSERT_TRUE(LinkPlink(work.path()));
    testing::internal::CaptureStdout();
    int status = RunVmNap(sshd, work.path(), "account_check");
    std::string shown = testing::internal::GetCapturedStdout();
    EXPECT_EQ(0, status) << shown;
    EXPECT_NE(std::string::npos, shown.find("exit status 0 after ")) << shown;
    EXPECT_EQ(0u, ReadFile(sshd.host_key_cache()).find("ssh-ed25519@22:127.0.0.1 0x"));
    EXPECT_EQ(std::string::npos, ReadFile(sshd.host_key_cache()).find(kForeignHostKeyLine));
    EXPECT_EQ(root.planted(), root.Files());
}

}  // namespace
