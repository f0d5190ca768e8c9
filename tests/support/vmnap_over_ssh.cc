#include "vmnap_over_ssh.h"

#include <unistd.h>

#include <chrono>

namespace {

const char kIp[] = "/usr/sbin/ip";
const char kPlink[] = "/usr/bin/plink";

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

ProgramResult VmNapOverSsh::Run(const std::string& mode, const std::vector<std::string>& extra,
                                const std::string& password) {
    ProgramRun run;
    run.path = kIp;
    run.args = {"netns", "exec", sshd_.netns(), vmnap_exe_, "-host", host_, "-usr", sshd_.user(),
                "-pwd", password.empty() ? sshd_.password() : password, "-mode", mode};
    run.args.insert(run.args.end(), extra.begin(), extra.end());
    run.cwd = work_.path();
    run.env = sshd_.client_env();
    run.new_session = true;
    run.timeout_seconds = timeout_seconds_;
    auto start = std::chrono::steady_clock::now();
    ProgramResult result = RunProgram(run);
    auto length = std::chrono::steady_clock::now() - start;
    last_seconds_ = static_cast<int>(std::chrono::duration_cast<std::chrono::seconds>(length).count());
    result.out = NormalizeStamps(result.out);
    return result;
}

std::string VmNapOverSsh::Explain(const ProgramResult& result) const {
    return "after " + std::to_string(last_seconds_) + " s\nstdout:\n" + result.out + "\nstderr:\n" + result.err +
           "\nsshd:\n" + sshd_.ReadSshdLog() + "\nhost:\n" + ReadFile(StatePath());
}
