#include "shell.h"

#include <algorithm>
#include <string>

#include "command_line.h"

namespace esxisim {

namespace {

HostState ReadHost(const StateStore& store) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) ReportStateError(error);
    return host;
}

void Prompt(const StateStore& store, std::ostream& out) { out << PromptText(ReadHost(store)) << std::flush; }

bool IsExit(const std::string& line) {
    std::vector<std::string> words = SplitWords(line);
    return !words.empty() && (words[0] == "exit" || words[0] == "logout");
}

}  // namespace

int RunInteractiveShell(const StateStore& store, std::istream& in, std::ostream& out) {
    out << ReadHost(store).profile->banner;
    Prompt(store, out);
    int status = 0;
    for (std::string line; std::getline(in, line);) {
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        if (IsExit(line)) break;
        status = RunCommandLine(line, store, out);
        Prompt(store, out);
    }
    return status;
}

}  // namespace esxisim
