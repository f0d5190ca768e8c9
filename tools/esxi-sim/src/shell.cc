#include "shell.h"

#include <algorithm>
#include <string>

#include "command_line.h"

namespace esxisim {

const char kLoginBanner[] =
    "The time and date of this login have been sent to the system logs.\n"
    "\n"
    "VMware offers supported, powerful system administration tools.  Please\n"
    "see www.vmware.com/go/sysadmintools for details.\n"
    "\n"
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

namespace {

void Prompt(const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    if (!store.Read(&host, &error)) ReportStateError(error);
    out << PromptText(host) << std::flush;
}

bool IsExit(const std::string& line) {
    std::vector<std::string> words = SplitWords(line);
    return !words.empty() && (words[0] == "exit" || words[0] == "logout");
}

}  // namespace

int RunInteractiveShell(const StateStore& store, std::istream& in, std::ostream& out) {
    out << kLoginBanner;
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
