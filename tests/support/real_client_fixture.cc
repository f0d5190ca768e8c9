#include "real_client_fixture.h"

#include <sys/stat.h>
#include <time.h>
#include <stdlib.h>
#include <unistd.h>

#include <sstream>

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

const char kListFile[] = "esxi_vms.xml";
const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";

const std::string kHostBeforeSuspend = Host("no", 1) + Vm("1", "web01", "on") + Vm("2", "backup", "off");
const std::string kHostAfterSuspend =
    Host("yes", 2) + Vm("1", "web01", "suspended") + Vm("2", "backup", "off");

std::string SuspendedList() {
    return ListFile("true", "true", Row("1", "web01", "Suspended", "to reboot") + Row("2", "backup", "Powered off"));
}

bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

void RealClient::SetUp() {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    ASSERT_TRUE(sshd_.Start(ESXI_SIM_PATH)) << sshd_.error();
    ASSERT_EQ(0, symlink(kPlink, work_.file("plink").c_str()));
}

void RealClient::WriteTextFile(const std::string& path, const std::string& text) {
    std::string error;
    ASSERT_TRUE(simulated::WriteState(path, text, &error)) << error;
}

ProgramRun RealClient::Command(const std::string& mode, const std::vector<std::string>& extra,
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
    run.env = sshd_.client_env();
    run.new_session = true;
    run.timeout_seconds = kRunTimeoutSeconds;
    return run;
}

ProgramResult RealClient::Run(const std::string& mode, const std::vector<std::string>& extra,
                              const std::string& password) {
    time_t start = time(nullptr);
    ProgramResult result = RunProgram(Command(mode, extra, password));
    last_seconds_ = static_cast<int>(time(nullptr) - start);
    result.out = NormalizeStamps(result.out);
    return result;
}

std::string RealClient::Explain(const ProgramResult& r) const {
    return "after " + std::to_string(last_seconds_) + " s\nstdout:\n" + r.out + "\nstderr:\n" + r.err +
           "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + HostNow();
}
