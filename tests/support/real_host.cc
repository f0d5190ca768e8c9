#include "real_host.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <sstream>

#include "host_state.h"
#include "state_store.h"
#include "state_text.h"

namespace realhost {

const char kListFile[] = "esxi_vms.xml";
const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";

std::string Vm(const std::string& id, const std::string& name, const std::string& power,
               const std::string& refuse_suspend, int suspend_seconds) {
    return "vm " + id + "\nname " + name + "\nfile [datastore1] " + name + "/" + name +
           ".vmx\nguest centos64Guest\nversion vmx-08\npower " + power + "\nrefuse_suspend " +
           refuse_suspend + "\nsuspend_seconds " + std::to_string(suspend_seconds) + "\n";
}

std::string Host(const std::string& maintenance, int task_counter, const std::string& refuse,
                 const std::string& prompt) {
    return "hostname esx01\nprompt " + prompt + "\nmaintenance " + maintenance +
           "\nrefuse_maintenance_while_running " + refuse + "\ntask_counter " +
           std::to_string(task_counter) + "\n";
}

std::string Row(const std::string& id, const std::string& name, const std::string& status,
                const std::string& mark) {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\" name=\"" + name + "\"" + reboot + " status=\"" +
           status + "\" timeout=\"300\"></virtualmachineserver>";
}

std::string ListFile(const std::string& maintenance, const std::string& reboot, const std::string& rows) {
    return "<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.1\" maintenancemode=\"" + maintenance +
           "\" reboot=\"" + reboot + "\"><vms>" + rows + "</vms></esxiserver>\n";
}

}  // namespace realhost

namespace {

const char kIp[] = "/usr/sbin/ip";
const char kPlink[] = "/usr/bin/plink";
const int kRunTimeoutSeconds = 55;
const char kWrapperVariable[] = "VMNAP_TEST_WRAPPER";

// The words of $VMNAP_TEST_WRAPPER (split on blanks), to run the tool under e.g. valgrind.
std::vector<std::string> Wrapper() {
    const char* text = getenv(kWrapperVariable);
    std::vector<std::string> words;
    std::istringstream in(text != nullptr ? text : "");
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

}  // namespace

void RealHostTest::SetUp() {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
    ASSERT_EQ(0, symlink(kPlink, work_.file("plink").c_str()));
}

void RealHostTest::WriteStateFile(const std::string& path, const std::string& text) {
    std::string error;
    esxisim::HostState parsed;
    ASSERT_TRUE(esxisim::ParseState(text, &parsed, &error)) << error;
    ASSERT_EQ(text, esxisim::FormatState(parsed));
    ASSERT_TRUE(esxisim::StateStore(path).Write(parsed, &error)) << error;
}

ProgramRun RealHostTest::Command(const std::string& mode, const std::vector<std::string>& extra,
                                 const std::string& password) const {
    ProgramRun run;
    run.path = kIp;
    run.args = {"netns", "exec", sshd_.netns()};
    std::vector<std::string> wrapper = Wrapper();
    run.args.insert(run.args.end(), wrapper.begin(), wrapper.end());
    run.args.insert(run.args.end(), {VMNAP_EXE, "-host", host_, "-usr", sshd_.user(), "-pwd",
                                     password.empty() ? sshd_.password() : password, "-mode", mode});
    run.args.insert(run.args.end(), extra.begin(), extra.end());
    run.cwd = work_.path();
    run.env = {"HOME=" + sshd_.client_home()};
    run.new_session = true;
    run.timeout_seconds = kRunTimeoutSeconds;
    return run;
}

ProgramResult RealHostTest::Run(const std::string& mode, const std::vector<std::string>& extra,
                                const std::string& password) {
    time_t start = time(nullptr);
    ProgramResult result = RunProgram(Command(mode, extra, password));
    last_seconds_ = static_cast<int>(time(nullptr) - start);
    result.out = NormalizeStamps(result.out);
    return result;
}

std::string RealHostTest::Explain(const ProgramResult& r) const {
    return "after " + std::to_string(last_seconds_) + " s\nstdout:\n" + r.out + "\nstderr:\n" + r.err +
           "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + HostNow();
}
