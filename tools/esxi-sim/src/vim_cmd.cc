#include "vim_cmd.h"

#include <sstream>

#include "command_listings.h"
#include "host_clock.h"
#include "host_commands.h"
#include "stalled_reply.h"
#include "vm_commands.h"

namespace esxisim {

namespace {

const char kInvalidCommand[] = "Invalid command '%s'\n";
// Right after a boot, before hostd answers: as apache/vcl's retry code records it.
const char kHostdUnreachable[] = "Connect to localhost failed: Connection failure\n";
const int kHostdDown = 1;

int InvalidCommand(const std::string& path, std::ostream& out) {
    std::string text = kInvalidCommand;
    out << text.replace(text.find("%s"), 2, path);
    return 1;
}

// "vmsvc/power.on" -> ("vmsvc", "power.on"); a leading "/" is allowed, as on the host.
void SplitPath(std::string path, std::string* space, std::string* command) {
    if (!path.empty() && path[0] == '/') path.erase(0, 1);
    size_t slash = path.find('/');
    *space = path.substr(0, slash);
    *command = slash == std::string::npos ? "" : path.substr(slash + 1);
}

int Listing(const char* text, std::ostream& out) {
    out << text;
    return 0;
}

int RunCommand(const std::vector<std::string>& args, const StateStore& store, std::ostream& out) {
    if (args.empty()) return Listing(kRootListing, out);
    std::string space, command;
    SplitPath(args[0], &space, &command);
    std::vector<std::string> rest(args.begin() + 1, args.end());
    int status = 0;
    if (space.empty()) return Listing(kRootListing, out);
    if (space == "vmsvc" && command.empty()) return Listing(kVmsvcListing, out);
    if (space == "vmsvc" && RunVmCommand(command, rest, store, out, &status)) return status;
    if (space == "hostsvc" && RunHostCommand(command, store, out, &status)) return status;
    return InvalidCommand(args[0], out);
}

}  // namespace

// A host whose state cannot be read stalls nothing; the command itself reports the state file's error.
int RunVimCmd(const std::vector<std::string>& args, const StateStore& store, std::ostream& out) {
    HostState host;
    std::string error;
    bool known = store.Read(&host, &error);
    if (known && !HostdAnswers(host, EpochNow())) {
        out << kHostdUnreachable;
        return kHostdDown;
    }
    if (!known || !IsStalled(host, CommandPath(args))) return RunCommand(args, store, out);
    std::ostringstream reply;
    RunCommand(args, store, reply);
    return StallReply(reply.str(), host.stall_seconds, out);
}

}  // namespace esxisim
