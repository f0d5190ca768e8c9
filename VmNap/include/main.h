// The tool's command line: options record, parser and help text.
#ifndef VMNAP_MAIN_H
#define VMNAP_MAIN_H

#include <string>
#include <vector>

#include "EnvString.h"

namespace SshSrv {

// The operation chosen with -mode. 2 and 4 are reserved and never accepted.
enum ServerOperations {
    SRV_OP_UNDEF = 0,
    SRV_OP_CHECK_AUTH = 1,
    SRV_OP_CHECK_VERSION = 2,
    SRV_OP_CHECK_SRV_MODE = 3,
    SRV_OP_FLASH = 4,
    SRV_OP_REBOOT = 5,
    SRV_OP_SUSPEND = 6
};

}  // namespace SshSrv

// An option whose value is text.
struct StringParameter {
    Env::String name;
    Env::String value;

    StringParameter() {}
    explicit StringParameter(const Env::String& n) : name(n) {}
    StringParameter(const Env::String& n, const Env::String& v) : name(n), value(v) {}
    StringParameter& operator=(const StringParameter& other) = default;

    bool IsEmpty() const { return value.empty(); }
};

// An option whose value is a number.
struct IntParameter {
    Env::String name;
    int value = 0;

    IntParameter() {}
    IntParameter(const Env::String& n, int v) : name(n), value(v) {}
    IntParameter& operator=(const IntParameter& other) = default;
};

// An option that may be given more than once, each value a comma-separated list.
struct ListParameter {
    Env::String name;
    std::vector<std::string> values;

    ListParameter() {}
    explicit ListParameter(const Env::String& n) : name(n) {}
};

// An option that is there or not.
struct FlagParameter {
    Env::String name;
    bool value = false;

    FlagParameter() {}
    explicit FlagParameter(const Env::String& n) : name(n) {}
};

// The parsed command line.
struct ToolOptions {
    IntParameter mode{"mode", SshSrv::SRV_OP_UNDEF};
    StringParameter listfile{"ListFile", "esxi_vms.xml"};
    StringParameter host{"host"};
    StringParameter user{"usr"};
    StringParameter password{"pwd"};
    IntParameter tracemode{"D", 0};
    IntParameter timeout{"timeoutminutes", 300};
    // How long the tool waits in silence for the login (connection, host key,
    // password, first prompt) and for any other reply of the host than a VM's
    // power operation, in seconds.
    IntParameter loginseconds{"loginseconds", 120};
    IntParameter replyseconds{"replyseconds", 120};
    // suspend_vms: what to do with a VM that will not suspend (stop, skip,
    // shutdown, poweroff), how long a guest shutdown may take, the VMs handled
    // last and the ones never touched; -dryrun only says what would be done.
    StringParameter onrefusal{"onrefusal", "stop"};
    IntParameter shutdownminutes{"shutdownminutes", 5};
    ListParameter last{"last"};
    ListParameter skip{"skip"};
    FlagParameter dryrun{"dryrun"};
    // How long to keep trying to log in while the host boots, in minutes (0:
    // one try); and, for suspend_vms, whether to power the host off once every
    // VM is stopped, the host is in maintenance mode and the list file is saved.
    IntParameter waitminutes{"waitminutes", 0};
    FlagParameter poweroff{"poweroff"};
    // suspend_vms and reboot_vms: how many VM operations run at once, each on
    // an SSH session of its own (1: one after another, on one session).
    IntParameter parallel{"parallel", 1};
    // suspend_vms only: the id or whole name of the VM the tool itself runs
    // in, which the host stops after the tool's session (-self).
    StringParameter self{"self"};
};

// 0 when the options are complete, 1 on any error (-self with another mode
// than suspend_vms is one). Without -pwd (or with an
// empty one) the password is taken from the environment variable VMNAP_PASSWORD. Ends the process with
// status 0 when help is asked for.
int parse_args(int argc, char** argv, ToolOptions& options);

// Prints the help text to standard output.
void usage();

namespace SshSrv {
class ESXiServer;
}

// Runs the mode chosen in `options` on a host whose client is started (for
// reboot_vms, with the list file already loaded into it); returns the exit
// status of that mode.
int RunMode(SshSrv::ESXiServer& host, const ToolOptions& options);

// The whole program: command line, one mode, exit status.
int RunTool(int argc, char** argv);

// Version shown by the help text and the start-up banner.
enum { VMNAP_VER_MAJOR = 1, VMNAP_VER_MINOR = 1, VMNAP_VER_BUILD = 0, VMNAP_VER_PATCH = 0 };

#endif
