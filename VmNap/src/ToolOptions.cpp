#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "SuspendPolicy.h"
#include "kel-tools-trace.h"
#include "main.h"

namespace {

const char* const kUsageTitle = "VmNap. ver.%d.%d.%d.%d\n\n";
const char* const kUsageLines[] = {
    "Usage:",
    "\tVmNap OPTIONS -mode account_check",
    "\tVmNap OPTIONS -mode suspend_vms ListFile=<filename>",
    "\tVmNap OPTIONS -mode reboot_vms ListFile=<filename>",
    "\tVmNap OPTIONS -mode check_maintenance_mode",
    "\nRequired Parameters:",
    "\t-mode {account_check|suspend_vms|reboot_vms|check_maintenance_mode}\t Remote action",
    "\t\tsuspend_vms         Suspend all active VMs and save a table of all VMs",
    "\t\tand mark suspended machines inside this table.",
    "\t\taccount_check        Account_check",
    "\t\treboot_ vms            Read the mentioned table and start all marked machines.",
    "\t\tcheck_maintenance_mode Check if VMWare host is in maintenance mode",
    "\t-host ip\t\t\t (ESXi) host Ip address",
    "\t-usr username\t\t\t SSH user login",
    "\t-pwd password\t\t\t SSH user password",
    "\nOptional Parameters:",
    "\t[-h, help]\t\t\t display this help message",
    "\t[-D debug|info|verbose|quiet]\t\t print debug information, default quiet",
    "\t[-timeoutminutes]\t\t VM suspend/reboot timeout(min), default 5 min",
    "\t[-loginseconds N]\t\t wait for the login at most N s of silence, default 120",
    "\t[-replyseconds N]\t\t wait for any other reply at most N s of silence, default 120",
    "\t[-onrefusal stop|skip|shutdown|poweroff]\t a VM that will not suspend: end the run (default),",
    "\t\tleave it running, shut its guest down, or shut it down and then power it off",
    "\t[-shutdownminutes N]\t\t wait for a guest shutdown, default 5 min",
    "\t[-last LIST]\t\t\t VM ids or names handled after all others, in this order",
    "\t[-skip LIST]\t\t\t VM ids or names never touched",
    "\t[-dryrun]\t\t\t say what the run would do, change nothing",
    "\t[-waitminutes N]\t\t keep trying to log in for N min while the host boots, default 0 (one try)",
    "\t[-poweroff]\t\t\t suspend_vms: power the host off once every VM is stopped",
    "\t[-parallel K]\t\t\t suspend_vms, reboot_vms: up to K VMs (1 to 16) at once, default 1",
    "\t[-self ID|NAME]\t\t suspend_vms: the VM this tool runs in; the host stops it last,",
    "\t\tafter the tool's session, then enters maintenance mode (and powers off with -poweroff)",
};

// VM operations at once: each takes an SSH session of the host.
const int kMaxParallel = 16;

const char* const kMissedValue = "Invalid or missed %s value\n";
const char* const kMissedMode = "Invalid or missed mode\n";
const char* const kInvalidMode = "Invalid mode\n";
const char* const kInvalidTraceMode = "Invalid trace mode argument '%s' - ignoring\n";
const char* const kMissedTimeout = "Invalid or missed new timeout value\n";
const char* const kInvalidArgument = "Invalid argument '%s', ignore it\n";
const char* const kArgumentMissed = "Argument missed\n";

// Where the password comes from when the command line has none: keeps it out of
// the process list and lets it begin with '-' or '/'.
const char* const kPasswordVariable = "VMNAP_PASSWORD";

// Walks the argument vector; `next` moves on and tells whether a value is there.
class ArgCursor {
public:
    ArgCursor(int argc, char** argv) : argc_(argc), argv_(argv) {}
    bool Done() const { return index_ >= argc_; }
    char*& Current() { return argv_[index_]; }
    void Advance() { ++index_; }
    // Moves to the next argument; true when it exists and is not an option.
    bool NextValue() {
        Advance();
        return !Done() && !IsOption(Current());
    }
    static bool IsOption(const char* arg) { return arg[0] == '-' || arg[0] == '/'; }

private:
    int argc_;
    char** argv_;
    int index_ = 0;
};

int map_mode(const char* word) {
    if (strcmp(word, "account_check") == 0) return SshSrv::SRV_OP_CHECK_AUTH;
    if (strcmp(word, "suspend_vms") == 0) return SshSrv::SRV_OP_SUSPEND;
    if (strcmp(word, "reboot_vms") == 0) return SshSrv::SRV_OP_REBOOT;
    if (strcmp(word, "check_maintenance_mode") == 0) return SshSrv::SRV_OP_CHECK_SRV_MODE;
    return SshSrv::SRV_OP_UNDEF;
}

int map_trace_mode(const char* word) {
    if (strcmp(word, "info") == 0) return TRACE_MODE_INFO;
    if (strcmp(word, "verbose") == 0) return TRACE_MODE_VERBOSE;
    if (strcmp(word, "debug") == 0) return TRACE_MODE_DEBUG;
    return -1;
}

// Each handler starts on the option's own argument and leaves the cursor on
// the first argument it did not consume. They return 0 or 1 (error).
int take_string(ArgCursor& args, StringParameter& param) {
    if (!args.NextValue()) {
        kel_trace(TRACE_ERROR, kMissedValue, param.name.c_str());
        return 1;
    }
    param.value = args.Current();
    args.Advance();
    return 0;
}

int take_mode(ArgCursor& args, IntParameter& mode) {
    if (!args.NextValue()) {
        kel_trace(TRACE_ERROR, kMissedMode);
        return 1;
    }
    int value = map_mode(args.Current());
    if (value == SshSrv::SRV_OP_UNDEF) {
        KelTrace(TRACE_ERROR, "parse_args", kInvalidMode);
        return 1;
    }
    mode.value = value;
    args.Advance();
    return 0;
}

void take_listfile(ArgCursor& args, StringParameter& listfile) {
    const char* eq = strchr(args.Current(), '=');
    if (eq != NULL && eq[1] != '\0') listfile.value = eq + 1;
    args.Advance();
}

void take_trace_mode(ArgCursor& args, IntParameter& tracemode) {
    args.Advance();
    if (args.Done() || args.Current()[0] == '\0' || ArgCursor::IsOption(args.Current())) return;
    int value = map_trace_mode(args.Current());
    if (value < 0)
        kel_trace(TRACE_ALWAYS, kInvalidTraceMode, args.Current());
    else
        tracemode.value = value;
    args.Advance();
}

int take_timeout(ArgCursor& args, IntParameter& timeout) {
    if (!args.NextValue()) {
        kel_trace(TRACE_ERROR, kMissedTimeout);
        return 1;
    }
    timeout.value = atoi(args.Current()) * 60;
    args.Advance();
    return 0;
}

// A whole number from `low` to `high`, written with digits only.
int take_number(ArgCursor& args, IntParameter& param, int low, int high) {
    const size_t kMaxDigits = 9;  // no overflow in atoi
    bool valid = args.NextValue() && args.Current()[0] != '\0' && strlen(args.Current()) <= kMaxDigits &&
                 strspn(args.Current(), "0123456789") == strlen(args.Current());
    int value = valid ? atoi(args.Current()) : -1;
    if (value < low || value > high) {
        kel_trace(TRACE_ERROR, kMissedValue, param.name.c_str());
        return 1;
    }
    param.value = value;
    args.Advance();
    return 0;
}

// Seconds of a wait, 1 to a day; minutes, 0 to a day.
int take_seconds(ArgCursor& args, IntParameter& seconds) { return take_number(args, seconds, 1, 86400); }
int take_minutes(ArgCursor& args, IntParameter& minutes) { return take_number(args, minutes, 0, 1440); }

int take_onrefusal(ArgCursor& args, StringParameter& onrefusal) {
    SshSrv::OnRefusal policy;
    if (!args.NextValue() || !SshSrv::ParseOnRefusal(args.Current(), &policy)) {
        kel_trace(TRACE_ERROR, kMissedValue, onrefusal.name.c_str());
        return 1;
    }
    onrefusal.value = args.Current();
    args.Advance();
    return 0;
}

int take_list(ArgCursor& args, ListParameter& list) {
    if (!args.NextValue() || SshSrv::SplitVmList(args.Current()).empty()) {
        kel_trace(TRACE_ERROR, kMissedValue, list.name.c_str());
        return 1;
    }
    for (const std::string& entry : SshSrv::SplitVmList(args.Current())) list.values.push_back(entry);
    args.Advance();
    return 0;
}

// One VM id or whole name, not empty.
int take_vm(ArgCursor& args, StringParameter& vm) {
    if (!args.NextValue() || args.Current()[0] == '\0') {
        kel_trace(TRACE_ERROR, kMissedValue, vm.name.c_str());
        return 1;
    }
    vm.value = args.Current();
    args.Advance();
    return 0;
}

int take_flag(ArgCursor& args, FlagParameter& flag) {
    flag.value = true;
    args.Advance();
    return 0;
}

// The options of the suspend run's policy; -1 when `arg` is none of them.
int parse_policy_option(ArgCursor& args, const char* arg, ToolOptions& o) {
    if (o.onrefusal.name == arg) return take_onrefusal(args, o.onrefusal);
    if (o.shutdownminutes.name == arg) return take_minutes(args, o.shutdownminutes);
    if (o.last.name == arg) return take_list(args, o.last);
    if (o.skip.name == arg) return take_list(args, o.skip);
    if (o.dryrun.name == arg) return take_flag(args, o.dryrun);
    if (o.poweroff.name == arg) return take_flag(args, o.poweroff);
    if (o.self.name == arg) return take_vm(args, o.self);
    return -1;
}

int parse_one(ArgCursor& args, ToolOptions& o) {
    char*& arg = args.Current();
    if (ArgCursor::IsOption(arg)) ++arg;
    if (o.host.name == arg) return take_string(args, o.host);
    if (o.user.name == arg) return take_string(args, o.user);
    if (o.password.name == arg) return take_string(args, o.password);
    if (o.mode.name == arg) return take_mode(args, o.mode);
    if (strstr(arg, o.listfile.name.c_str()) != NULL) {
        take_listfile(args, o.listfile);
        return 0;
    }
    if (o.tracemode.name == arg) {
        take_trace_mode(args, o.tracemode);
        return 0;
    }
    if (o.timeout.name == arg) return take_timeout(args, o.timeout);
    if (o.loginseconds.name == arg) return take_seconds(args, o.loginseconds);
    if (o.replyseconds.name == arg) return take_seconds(args, o.replyseconds);
    if (o.waitminutes.name == arg) return take_minutes(args, o.waitminutes);
    if (o.parallel.name == arg) return take_number(args, o.parallel, 1, kMaxParallel);
    int policy = parse_policy_option(args, arg, o);
    if (policy >= 0) return policy;
    if (strcmp(arg, "help") == 0 || strcmp(arg, "h") == 0) {
        usage();
        exit(0);
    }
    kel_trace(TRACE_WARNING, kInvalidArgument, arg);
    args.Advance();
    return 0;
}

void take_password_from_environment(StringParameter& password) {
    if (!password.IsEmpty()) return;
    const char* value = getenv(kPasswordVariable);
    if (value != NULL) password.value = value;
}

}  // namespace

void usage() {
    printf(kUsageTitle, VMNAP_VER_MAJOR, VMNAP_VER_MINOR, VMNAP_VER_BUILD, VMNAP_VER_PATCH);
    for (const char* line : kUsageLines) printf("%s\n", line);
    printf("\n");
}

int parse_args(int argc, char** argv, ToolOptions& options) {
    ArgCursor args(argc - 1, argv + 1);
    if (args.Done()) {
        usage();
        return 1;
    }
    while (!args.Done())
        if (parse_one(args, options) != 0) return 1;
    take_password_from_environment(options.password);
    bool complete = !options.host.IsEmpty() && !options.user.IsEmpty() &&
                    !options.password.IsEmpty() && options.mode.value != 0;
    if (!complete) {
        kel_trace(TRACE_ERROR, kArgumentMissed);
        return 1;
    }
    return 0;
}
