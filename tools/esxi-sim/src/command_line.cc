#include "command_line.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "vim_cmd.h"

namespace esxisim {

namespace {

const char kNotFound[] = "-sh: %s: not found\n";
const int kNotFoundStatus = 127;
const char kVmwareUsage[] = "usage: vmware -v\n";

int NotFound(const std::string& name, std::ostream& out) {
    std::string text = kNotFound;
    out << text.replace(text.find("%s"), 2, name);
    return kNotFoundStatus;
}

std::vector<std::string> SplitStages(const std::string& line) {
    std::vector<std::string> stages;
    std::istringstream in(line);
    for (std::string stage; std::getline(in, stage, '|');) stages.push_back(stage);
    return stages;
}

int Hostname(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << host.hostname << "\n";
    return 0;
}

// "vmware -v": the product and build of the host's version profile.
int Vmware(const std::vector<std::string>& args, const StateStore& store, std::ostream& out) {
    if (args.size() != 1 || args[0] != "-v") {
        out << kVmwareUsage;
        return 1;
    }
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) return ReportStateError(error);
    out << VersionLine(*host.profile) << "\n";
    return 0;
}

int RunCommand(const std::vector<std::string>& words, const StateStore& store, std::ostream& out) {
    if (words.empty()) return 0;
    std::vector<std::string> args(words.begin() + 1, words.end());
    if (words[0] == "vim-cmd") return RunVimCmd(args, store, out);
    if (words[0] == "hostname") return Hostname(store, out);
    if (words[0] == "vmware") return Vmware(args, store, out);
    return NotFound(words[0], out);
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// grep [-i] PATTERN: keeps the lines holding PATTERN; status 1 when none does.
int Grep(const std::vector<std::string>& args, const std::string& input, std::ostream& out) {
    bool ignore_case = !args.empty() && args[0] == "-i";
    if (args.size() != (ignore_case ? 2u : 1u)) return 2;
    std::string pattern = ignore_case ? Lower(args[1]) : args[0];
    std::istringstream in(input);
    int status = 1;
    for (std::string line; std::getline(in, line);) {
        if ((ignore_case ? Lower(line) : line).find(pattern) == std::string::npos) continue;
        out << line << "\n";
        status = 0;
    }
    return status;
}

int RunFilter(const std::vector<std::string>& words, const std::string& input, std::ostream& out) {
    if (words.empty()) return 0;
    if (words[0] == "grep") return Grep(std::vector<std::string>(words.begin() + 1, words.end()), input, out);
    return NotFound(words[0], out);
}

}  // namespace

std::vector<std::string> SplitWords(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream in(text);
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

int RunCommandLine(const std::string& line, const StateStore& store, std::ostream& out) {
    std::vector<std::string> stages = SplitStages(line);
    if (stages.size() <= 1) return RunCommand(SplitWords(line), store, out);
    std::ostringstream piped;
    int status = RunCommand(SplitWords(stages[0]), store, piped);
    for (size_t i = 1; i < stages.size(); ++i) {
        std::ostringstream next;
        status = RunFilter(SplitWords(stages[i]), piped.str(), next);
        piped.str(next.str());
    }
    out << piped.str();
    return status;
}

}  // namespace esxisim
