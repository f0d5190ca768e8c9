// A stop asked for by a signal while the host works: the step in flight
// finishes, nothing new is sent, and what was done stays recorded on the
// objects that the list file is saved from.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "SshServer.h"
#include "StopRequest.h"
#include "esxi_script.h"
#include "fake_plink_dir.h"
#include "host_fixture.h"
#include "ssh_defines.h"

namespace {

using namespace esxi_cmd;  // the command lines the host receives

const char kLogin[] = "secret\nvim-cmd\nvim-cmd hostsvc/hostsummary | grep inMaintenanceMode\n";
const char kStopped[] = "stop requested, %s ends before its next step\n";

const char kThreeVms[] =
    "Vmid   Name    File                  Guest OS        Version   Annotation\n"
    "1      web     [ds1] web/web.vmx     centos64Guest   vmx-08              \n"
    "2      db      [ds1] db/db.vmx       centos64Guest   vmx-08              \n"
    "3      mail    [ds1] mail/mail.vmx   centos64Guest   vmx-08              \n";

std::string StopTrace(const std::string& op) {
    char text[128];
    snprintf(text, sizeof(text), kStopped, op.c_str());
    return "trace> " + op + ": " + text;
}

// Sends SIGTERM to this process as soon as the client has received `text`.
class StopWhenReceived {
public:
    StopWhenReceived(const FakePlinkDir& dir, const std::string& text)
        : thread_([this, &dir, text] { fired_ = dir.WaitForReceived(text, 20) && kill(getpid(), SIGTERM) == 0; }) {}
    ~StopWhenReceived() { Join(); }
    bool Join() {
        if (thread_.joinable()) thread_.join();
        return fired_;
    }

private:
    std::atomic<bool> fired_{false};
    std::thread thread_;
};

class WorkflowStop : public HostTest {
protected:
    void SetUp() override {
        StopRequest::Clear();
        StopRequest::Install();
    }
    void TearDown() override {
        StopRequest::Clear();
        signal(SIGTERM, SIG_DFL);
    }
    // A slow power command: its progress line, a second, then the prompt.
    static EsxiScript& Slow(EsxiScript& s, const std::string& command, const std::string& progress) {
        return s.AnswerWithoutPrompt(command, progress).Sleep(1).Print("~ # ");
    }
};

TEST_F(WorkflowStop, SuspendFinishesTheVmInFlightAndStartsNoOther) {
    EsxiScript s = EsxiScript::LoggedIn("root", "secret", false);
    s.Answer(kAllVms, kThreeVms);
    for (const char* id : {"1", "2", "3"}) s.Answer(State(id), EsxiScript::PowerState("Powered on"));
    Slow(s, Suspend("1"), "Suspending VM:\n").Answer(State("1"), EsxiScript::PowerState("Suspended")).Wait();
    Start(s);
    StopWhenReceived stop(dir_, Suspend("1"));
    EXPECT_EQ(StopRequest::kStatusStopped, host_->Suspend());
    EXPECT_TRUE(stop.Join());
    EXPECT_EQ(std::string(kLogin) + kAllVms + State("1") + State("2") + State("3") + Suspend("1") + State("1"),
              Finish());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_EQ("Suspended", Vm(0)->GetStatus());
    EXPECT_EQ("", Vm(1)->GetRebootStatus());
    EXPECT_EQ("Powered on", Vm(1)->GetStatus());
    EXPECT_FALSE(host_->GetReboot());
    EXPECT_TRUE(Traced(StopTrace("Suspend"))) << trace_;
}

TEST_F(WorkflowStop, SuspendOfTheLastVmIsNotFollowedByMaintenance) {
    EsxiScript s = EsxiScript::LoggedIn("root", "secret", false);
    s.Answer(kAllVms, kThreeVms)
        .Answer(State("1"), EsxiScript::PowerState("Powered off"))
        .Answer(State("2"), EsxiScript::PowerState("Powered off"))
        .Answer(State("3"), EsxiScript::PowerState("Powered on"));
    Slow(s, Suspend("3"), "Suspending VM:\n").Answer(State("3"), EsxiScript::PowerState("Suspended")).Wait();
    Start(s);
    StopWhenReceived stop(dir_, Suspend("3"));
    EXPECT_EQ(StopRequest::kStatusStopped, host_->Suspend());
    EXPECT_TRUE(stop.Join());
    EXPECT_EQ(std::string(kLogin) + kAllVms + State("1") + State("2") + State("3") + Suspend("3") + State("3"),
              Finish());
    EXPECT_EQ("to reboot", Vm(2)->GetRebootStatus());
    EXPECT_FALSE(host_->GetMaintenanceMode());
    EXPECT_FALSE(host_->GetReboot());
}

// A stop during the login leaves the host in maintenance and the record as it was.
TEST_F(WorkflowStop, RebootStoppedDuringTheLoginDoesNotLeaveMaintenance) {
    EsxiScript s;
    s.Login("root", "secret")
        .Answer(kShow, EsxiScript::kShowCommands)
        .Raw(ScriptExpect(kMaintenance))
        .Sleep(1)
        .Print("vim-cmd hostsvc/hostsummary | grep inMaintenanceMode\r\n" +
               WithCrLf(EsxiScript::Maintenance(true)) + "~ # ")
        .Wait();
    Start(s);
    host_->SetReboot(true);
    host_->AddChild("1", "web");
    Vm(0)->SetRebootStatus("to reboot");
    StopWhenReceived stop(dir_, kMaintenance);
    EXPECT_EQ(StopRequest::kStatusStopped, host_->Reboot());
    EXPECT_TRUE(stop.Join());
    EXPECT_EQ(kLogin, Finish());
    EXPECT_TRUE(host_->GetReboot());
    EXPECT_EQ("to reboot", Vm(0)->GetRebootStatus());
    EXPECT_TRUE(Traced(StopTrace("Reboot"))) << trace_;
}

TEST_F(WorkflowStop, RebootFinishesThePowerOnInFlightAndStartsNoOther) {
    EsxiScript s = EsxiScript::LoggedIn("root", "secret", true);
    s.Answer(kExit, "'vim.Task:haTask-ha-host-vim.HostSystem.exitMaintenanceMode-18'\n")
        .Answer(kMaintenance, EsxiScript::Maintenance(false));
    Slow(s, PowerOn("1"), "Powering on VM:\n").Answer(State("1"), EsxiScript::PowerState("Powered on")).Wait();
    Start(s);
    host_->SetReboot(true);
    host_->AddChild("1", "web");
    host_->AddChild("2", "db");
    Vm(0)->SetRebootStatus("to reboot");
    Vm(1)->SetRebootStatus("to reboot");
    StopWhenReceived stop(dir_, PowerOn("1"));
    EXPECT_EQ(StopRequest::kStatusStopped, host_->Reboot());
    EXPECT_TRUE(stop.Join());
    EXPECT_EQ(std::string(kLogin) + kExit + kMaintenance + PowerOn("1") + State("1"), Finish());
    EXPECT_EQ("rebooted", Vm(0)->GetRebootStatus());
    EXPECT_EQ("to reboot", Vm(1)->GetRebootStatus());
}

}  // namespace
