// A signal that comes while the tool waits (it is how a stop is asked for)
// must not cut a reply short or end a wait early: every sleep, poll and read
// below is interrupted over and over by a SignalStorm.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "SshSession.h"
#include "descriptors.h"
#include "fake_plink_dir.h"
#include "session_probe.h"
#include "signal_storm.h"
#include "ssh_io.h"

namespace {

const int kStormMs = 20;

TEST(SignalInterruptions, ClientStartStillWaitsItsWholeSecond) {
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    dir.Enter();
    Ssh::SshSession session;
    double start = Now();
    {
        SignalStorm storm(kStormMs);
        ASSERT_EQ(SSH_SUCCESS, session.RunSshClient(kHost, kUser, kPassword));
        EXPECT_GT(storm.sent(), 10);
    }
    EXPECT_GE(Now() - start, 0.95);
    session.CloseSession();
}

// Output that pauses half a second before the prompt is one reply, not two.
TEST(SignalInterruptions, ReplyWithAPauseIsNotCutShort) {
    RemoteSession remote({ScriptExpect("vim-cmd vmsvc/getallvms\n"),
                          ScriptPrint("vim-cmd vmsvc/getallvms\r\nVmid Name\r\n"), "sleep 0.5",
                          ScriptPrint("1    web01\r\n~ # "), "wait"});
    SshCodes rc;
    {
        SignalStorm storm(kStormMs);
        rc = remote.Exchange("vim-cmd vmsvc/getallvms\n");
        EXPECT_GT(storm.sent(), 10);
    }
    EXPECT_EQ(SSH_SUCCESS, rc);
    EXPECT_EQ("Vmid Name\r\n1    web01\r\n~ # ", std::string(remote.response));
}

// A suspend's progress line is still a reply of its own after its second of
// silence, and the prompt seconds later the next one.
TEST(SignalInterruptions, SlowSuspendGivesItsTwoReplies) {
    RemoteSession remote({ScriptExpect("vim-cmd vmsvc/power.suspend 1\n"),
                          ScriptPrint("vim-cmd vmsvc/power.suspend 1\r\nSuspending VM:\r\n"), "sleep 2",
                          ScriptPrint("~ # "), "wait"});
    SignalStorm storm(kStormMs);
    double start = Now();
    EXPECT_EQ(SSH_SUCCESS, remote.Exchange("vim-cmd vmsvc/power.suspend 1\n"));
    EXPECT_EQ("Suspending VM:", std::string(remote.response));
    EXPECT_GE(Now() - start, 0.95);
    EXPECT_EQ(SSH_SUCCESS, remote.session.GetResponse(&remote.response));
    EXPECT_EQ("~ # ", std::string(remote.response));
    EXPECT_GE(Now() - start, 1.9);
}

TEST(SignalInterruptions, WaitForExitWaitsItsWholeTimeForARunningClient) {
    FakePlinkDir dir;
    dir.WriteScript({"wait"});
    dir.Enter();
    Ssh::SshSession session;
    ASSERT_EQ(SSH_SUCCESS, session.RunSshClient(kHost, kUser, kPassword));
    double start = Now();
    {
        SignalStorm storm(kStormMs);
        wait_for_exit(dir.Pid(), 500);
    }
    EXPECT_GE(Now() - start, 0.45);
    session.CloseSession();
}

}  // namespace
