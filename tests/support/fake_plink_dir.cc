#include "fake_plink_dir.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

std::string FakePlinkPath() { return FAKE_PLINK_PATH; }

FakePlinkDir::FakePlinkDir() {
    if (symlink(FAKE_PLINK_PATH, dir_.file("plink").c_str()) != 0)
        throw std::runtime_error("cannot install the stand-in plink");
}

FakePlinkDir::~FakePlinkDir() { Leave(); }

void FakePlinkDir::WriteScript(const std::vector<std::string>& lines) const {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    dir_.Write("plink.script", text);
}

void FakePlinkDir::Enter() {
    char cwd[4096];
    if (getcwd(cwd, sizeof(cwd)) == nullptr) throw std::runtime_error("getcwd failed");
    if (chdir(dir_.path().c_str()) != 0) throw std::runtime_error("chdir failed");
    previous_ = cwd;
}

void FakePlinkDir::Leave() {
    if (previous_.empty()) return;
    if (chdir(previous_.c_str()) != 0) {
        // The temp directory is removed anyway; nothing better to do here.
    }
    previous_.clear();
}

ProgramRun FakePlinkDir::ToolRun(const std::string& exe, const std::string& mode,
                                 const std::vector<std::string>& extra) const {
    ProgramRun run;
    run.path = exe;
    run.args = {"-host", "esx", "-usr", "root", "-pwd", "secret", "-mode", mode};
    run.args.insert(run.args.end(), extra.begin(), extra.end());
    run.cwd = path();
    return run;
}

std::string FakePlinkDir::Received() const { return dir_.Read("plink.received"); }

std::vector<std::string> FakePlinkDir::Argv() const {
    std::vector<std::string> args;
    std::istringstream in(dir_.Read("plink.argv"));
    std::string arg;
    while (std::getline(in, arg)) args.push_back(arg);
    return args;
}

std::string FakePlinkDir::Signals() const { return dir_.Read("plink.signals"); }

bool FakePlinkDir::StartedWithTerminal() const { return dir_.Read("plink.tty") == "yes\n"; }

std::string FakePlinkDir::Descriptors() const { return dir_.Read("plink.fds"); }

std::string FakePlinkDir::SigpipeAtStart() const { return dir_.Read("plink.sigpipe"); }

pid_t FakePlinkDir::Pid() const { return static_cast<pid_t>(atoi(dir_.Read("plink.pid").c_str())); }

bool FakePlinkDir::WaitForReceived(const std::string& text, double seconds) const {
    for (double waited = 0; waited <= seconds; waited += 0.05) {
        if (Received().find(text) != std::string::npos) return true;
        usleep(50000);
    }
    return false;
}

std::string PlinkScriptText(const std::string& raw) {
    std::string out;
    for (char c : raw) {
        if (c == '\r') out += "\\r";
        else if (c == '\n') out += "\\n";
        else if (c == '\t') out += "\\t";
        else if (c == '\\') out += "\\\\";
        else out += c;
    }
    if (!out.empty() && out.back() == ' ') out.replace(out.size() - 1, 1, "\\x20");
    return out;
}

std::string ScriptPrint(const std::string& raw) { return "print " + PlinkScriptText(raw); }

std::string ScriptEprint(const std::string& raw) { return "eprint " + PlinkScriptText(raw); }

std::string ScriptExpect(const std::string& raw) { return "expect " + PlinkScriptText(raw); }
