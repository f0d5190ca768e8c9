#include "vmnap_over_ssh.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <sstream>

namespace {

const char kIp[] = "/usr/sbin/ip";
const char kPlink[] = "/usr/bin/plink";
const char kWrapperVariable[] = "VMNAP_TEST_WRAPPER";
const char kStartsFile[] = "plink.starts";

// The words of $VMNAP_TEST_WRAPPER (split on blanks), to run the tool under e.g. valgrind.
std::vector<std::string> Wrapper() {
    const char* text = getenv(kWrapperVariable);
    std::vector<std::string> words;
    std::istringstream in(text != nullptr ? text : "");
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

}  // namespace

bool VmNapOverSsh::Start(const std::string& shell_program) {
    if (!sshd_.Start(shell_program)) {
        error_ = sshd_.error();
        return false;
    }
    if (symlink(kPlink, work_.file("plink").c_str()) == 0) return true;
    error_ = "cannot link " + work_.file("plink");
    return false;
}

bool VmNapOverSsh::CountPlinkStarts() {
    std::string script = "#!/bin/sh\necho started >> '" + work_.file(kStartsFile) + "'\nexec " + kPlink +
                         " \"$@\"\n";
    std::string path = work_.file("plink");
    if (unlink(path.c_str()) == 0 && WriteWholeFile(path, script) && chmod(path.c_str(), 0755) == 0) return true;
    error_ = "cannot put the counting script at " + path;
    return false;
}

int VmNapOverSsh::PlinkStarts() const {
    std::string starts = work_.Read(kStartsFile);
    return static_cast<int>(std::count(starts.begin(), starts.end(), '\n'));
}

ProgramRun VmNapOverSsh::Command(const std::string& mode, const std::vector<std::string>& extra,
                                 const std::string& password) const {
    ProgramRun run;
    run.path = kIp;
    run.args = {"netns", "exec", sshd_.netns()};
    std::vector<std::string> wrapper = Wrapper();
    run.args.insert(run.args.end(), wrapper.begin(), wrapper.end());
    run.args.insert(run.args.end(), {vmnap_exe_, "-host", host_, "-usr", sshd_.user(), "-pwd",
                                     password.empty() ? sshd_.password() : password, "-mode", mode});
    run.args.insert(run.args.end(), extra.begin(), extra.end());
    run.cwd = work_.path();
    run.env = sshd_.client_env();
    run.new_session = true;
    run.timeout_seconds = timeout_seconds_;
    return run;
}

ProgramResult VmNapOverSsh::Run(const std::string& mode, const std::vector<std::string>& extra,
                                const std::string& password) {
    auto start = std::chrono::steady_clock::now();
    ProgramResult result = RunProgram(Command(mode, extra, password));
    auto length = std::chrono::steady_clock::now() - start;
    last_seconds_ = static_cast<int>(std::chrono::duration_cast<std::chrono::seconds>(length).count());
    result.out = NormalizeStamps(result.out);
    return result;
}

std::string VmNapOverSsh::Explain(const ProgramResult& result) const {
    return "after " + std::to_string(last_seconds_) + " s\nstdout:\n" + result.out + "\nstderr:\n" + result.err +
           "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + ReadFile(StatePath());
}
