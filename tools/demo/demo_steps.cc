#include "demo_steps.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <vector>

#include "run_program.h"

namespace {

const char kIp[] = "/usr/sbin/ip";
const char kPlink[] = "/usr/bin/plink";
const int kRunTimeoutSeconds = 600;

std::vector<std::string> VmNapArgs(const SshdFixture& sshd, const std::string& mode) {
    return {"-host", "127.0.0.1", "-usr", sshd.user(), "-pwd", sshd.password(), "-mode", mode, "-D", "verbose"};
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += " " + word;
    return text;
}

}  // namespace

void Heading(const std::string& text) { std::printf("\n== %s\n", text.c_str()); }

void Say(const std::string& text) { std::printf("%s\n", text.c_str()); }

void ShowText(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) std::printf("    %s\n", line.c_str());
    std::fflush(stdout);
}

bool LinkPlink(const std::string& work_dir) {
    std::string link = work_dir + "/plink";
    if (symlink(kPlink, link.c_str()) == 0) return true;
    Say("cannot create " + link + " -> " + kPlink);
    return false;
}

int RunVmNap(const SshdFixture& sshd, const std::string& work_dir, const std::string& mode) {
    std::vector<std::string> args = VmNapArgs(sshd, mode);
    Say("$ cd " + work_dir);
    Say("$ VmNap" + Joined(args));
    std::fflush(stdout);
    ProgramRun run;
    run.path = kIp;
    run.args = {"netns", "exec", sshd.netns(), VMNAP_EXE};
    run.args.insert(run.args.end(), args.begin(), args.end());
    run.cwd = work_dir;
    run.env = sshd.client_env();
    run.merge_stderr = true;
    run.timeout_seconds = kRunTimeoutSeconds;
    auto start = std::chrono::steady_clock::now();
    ProgramResult result = RunProgram(run);
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    ShowText(result.out);
    Say("exit status " + std::to_string(result.exit_status) + " after " + std::to_string(seconds.count()) + " s");
    return result.exit_status;
}
