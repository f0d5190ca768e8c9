// The Ansible playbook and role of contrib/ansible with Debian's ansible-playbook: three simulated ESXi
// hosts behind one real sshd (127.0.0.1 to 127.0.0.3 of its private network namespace), the VmNap
// executable and the real plink on the control node, the password in the environment only. ansible-playbook
// runs inside the namespace with a local connection, so it can reach nothing else.
#include <gtest/gtest.h>

#include <unistd.h>

#include <regex>
#include <string>

#include "command_line_watch.h"
#include "power_on_when_suspended.h"
#include "run_program.h"
#include "simulated_host.h"
#include "simulated_hosts.h"
#include "sshd_fixture.h"
#include "temp_dir.h"

namespace {

using simulated::Host;
using simulated::Vm;

const std::string kPlaybook = std::string(VMNAP_CONTRIB_DIR) + "/ansible/vmnap.yml";
const char kIp[] = "/usr/sbin/ip";
const char kAnsiblePlaybook[] = "/usr/bin/ansible-playbook";
const char kPlink[] = "/usr/bin/plink";
const int kPlaybookSeconds = 240;

std::string HostBefore(const std::string& name) {
    return Host("no", 1, "busybox", name) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
}

// esx03's web01 takes a second to suspend: time for someone to start its backup VM meanwhile.
std::string RefusingHostBefore() {
    return Host("no", 1, "busybox", "esx03") + Vm("1", "web01", "on", "no", 1) + Vm("2", "backup", "off");
}

std::string HostSuspended(const std::string& name) {
    return Host("yes", 2, "busybox", name) + Vm("1", "web01", "suspended") + Vm("2", "backup", "off");
}

std::string HostResumed(const std::string& name) {
    return Host("no", 3, "busybox", name) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
}

// esx03, like every host, refuses maintenance mode while a VM runs, and someone starts its backup VM
// while its web01 suspends.
std::string RefusingHostAfterSuspend() {
    return Host("no", 1, "busybox", "esx03") + Vm("1", "web01", "suspended", "no", 1) + Vm("2", "backup", "on");
}

// The resume powers web01 on again: the suspend had stopped it and its list file keeps the mark.
std::string RefusingHostAfterResume() {
    return Host("no", 1, "busybox", "esx03") + Vm("1", "web01", "on", "no", 1) + Vm("2", "backup", "on");
}

// The recap line of one host, e.g. "esx01 : ok=5 changed=1 unreachable=0 failed=0".
bool RecapSays(const std::string& output, const std::string& host, int changed, int failed) {
    std::regex line("\n" + host + " +: ok=[0-9]+ +changed=" + std::to_string(changed) + " +unreachable=0 +failed=" +
                    std::to_string(failed) + " ");
    return std::regex_search(output, line);
}

class AnsibleFleet : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        std::string error;
        ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
        ASSERT_TRUE(hosts_.Prepare(&error)) << error;
        ASSERT_TRUE(hosts_.Set(0, HostBefore("esx01"), &error)) << error;
        ASSERT_TRUE(hosts_.Set(1, HostBefore("esx02"), &error)) << error;
        ASSERT_TRUE(hosts_.Set(2, RefusingHostBefore(), &error)) << error;
        ASSERT_EQ(0, symlink(kPlink, work_.file("plink").c_str()));
        std::string inventory = "[esxi]\n";
        for (size_t i = 0; i < hosts_.size(); ++i) {
            inventory += hosts_.name(i) + " vmnap_host=" + hosts_.address(i) + "\n";
        }
        control_.Write("inventory", inventory + "\n[esxi:vars]\nansible_connection=local\n");
        control_.Write("settings.json", "{\"vmnap_command\": \"" VMNAP_EXE "\", \"vmnap_chdir\": \"" + work_.path() +
                                            "\", \"vmnap_list_dir\": \"" + work_.path() + "\", \"vmnap_user\": \"" +
                                            sshd_.user() + "\"}\n");
    }

    ProgramResult Playbook(const std::string& action) {
        ProgramRun run;
        run.path = kIp;
        run.args = {"netns", "exec", sshd_.netns(), kAnsiblePlaybook, "-i", control_.file("inventory"), kPlaybook,
                    "-e", "@" + control_.file("settings.json"), "-e", "vmnap_action=" + action};
        run.cwd = control_.path();
        run.env = sshd_.client_env();
        run.env.insert(run.env.end(), {"VMNAP_PASSWORD=" + sshd_.password(), "ANSIBLE_HOME=" + control_.file("ansible-home"), "ANSIBLE_LOCAL_TEMP=" + control_.file("tmp"),
                   "ANSIBLE_NOCOLOR=1", "ANSIBLE_RETRY_FILES_ENABLED=0",
                   "ANSIBLE_PYTHON_INTERPRETER=/usr/bin/python3"});
        run.merge_stderr = true;
        run.timeout_seconds = kPlaybookSeconds;
        return RunProgram(run);
    }

    std::string Explain(const ProgramResult& r) const {
        std::string text = "ansible-playbook:\n" + r.out + "\nsshd:\n" + sshd_.ReadSshdLog();
        for (size_t i = 0; i < hosts_.size(); ++i) text += hosts_.name(i) + ":\n" + hosts_.Read(i);
        return text;
    }

    SshdFixture sshd_;
    SimulatedHosts hosts_{&sshd_, {"esx01", "esx02", "esx03"}};
    TempDir work_, control_;
};

TEST_F(AnsibleFleet, OnlyTheHostThatRefusesMaintenanceFailsAndResumeBringsTheOthersBack) {
    CommandLineWatch password_watch(sshd_.password());
    ProgramResult suspend;
    {
        PowerOnWhileSuspending someone_else(hosts_.state_path(2), "1", "2");
        suspend = Playbook("suspend");
        EXPECT_TRUE(someone_else.fired());
    }
    EXPECT_EQ(2, suspend.exit_status) << Explain(suspend);
    for (std::string name : {"esx01", "esx02"}) {
        EXPECT_NE(std::string::npos, suspend.out.find(name + ": suspend_vms exit status 0 (success)")) << Explain(suspend);
        EXPECT_TRUE(RecapSays(suspend.out, name, 1, 0)) << Explain(suspend);
        EXPECT_TRUE(work_.Exists(name + ".xml"));
    }
    EXPECT_NE(std::string::npos,
              suspend.out.find("esx03: suspend_vms exit status 13 (the host did not enter maintenance mode)"))
        << Explain(suspend);
    EXPECT_TRUE(RecapSays(suspend.out, "esx03", 0, 1)) << Explain(suspend);
    EXPECT_EQ(HostSuspended("esx01"), hosts_.Read(0));
    EXPECT_EQ(HostSuspended("esx02"), hosts_.Read(1));
    EXPECT_EQ(RefusingHostAfterSuspend(), hosts_.Read(2));

    // esx03 never reached maintenance mode, but its list file keeps web01 marked: reboot_vms brings it
    // back there too.
    // The resume waits for a host that is still booting, as the NUT example does (vmnap_resume_wait_minutes).
    CommandLineWatch wait_watch("-waitminutes 20");
    ProgramResult resume = Playbook("resume");
    EXPECT_EQ(0, resume.exit_status) << Explain(resume);
    EXPECT_NE(std::string::npos, wait_watch.Seen().find("-mode reboot_vms")) << wait_watch.Seen();
    for (std::string name : {"esx01", "esx02", "esx03"}) {
        EXPECT_NE(std::string::npos, resume.out.find(name + ": reboot_vms exit status 0 (success)")) << Explain(resume);
        EXPECT_TRUE(RecapSays(resume.out, name, 1, 0)) << Explain(resume);
    }
    EXPECT_EQ(HostResumed("esx01"), hosts_.Read(0));
    EXPECT_EQ(HostResumed("esx02"), hosts_.Read(1));
    EXPECT_EQ(RefusingHostAfterResume(), hosts_.Read(2));
    EXPECT_EQ("", password_watch.Seen()) << "the password on a command line";
}

}  // namespace
