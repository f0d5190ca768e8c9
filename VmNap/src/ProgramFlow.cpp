// Program flow: parse the command line, run one mode against one host, and
// turn the outcome into the exit status.
#include <time.h>

#include <memory>

#include "EarlierRecord.h"
#include "FileReplacement.h"
#include "ListFileLock.h"
#include "SshServer.h"
#include "StopRequest.h"
#include "kel-tools-trace.h"
#include "main.h"
#include "ssh_defines.h"

namespace {

const char* const kBanner = "\nOrvane tool. ver.%d.%d.%d.%d\n\n";
const char* const kInMaintenance = "VMWare host is in maintenanace mode\n";
const char* const kNotInMaintenance = "VMWare host is not in maintenance mode\n";
const char* const kCantRead = "can't read esxi server structure from xml\n";
const char* const kCantWrite = "can't write esxi server structure to xml\n";
const char* const kNotRegular = "list file is not a regular file: %s\n";
const char* const kNoNewFile = "no new file can be created beside %s\n";
const char* const kBusy = "another run holds the list file %s\n";
const char* const kStopped = "stopped by signal %d before the next step\n";
const char* const kNotPoweredOff = "host not powered off: the suspend ended with status %d\n";
const char* const kPowerOffFailed = "host not powered off: the power-off ended with status %d\n";
const char* const kSelfNotLeft =
    "nothing left to the host for the VM the tool runs in (-self): the suspend ended with status %d\n";
const char* const kSelfFailed =
    "the VM the tool runs in (-self) keeps running: the host did not take its command (status %d)\n";
const char* const kInvalidMode = "Invalid tool mode\n";
const char* const kExecutionError = "\nProgram execution error\n";
const char* const kExitCode = "\nProgram exited with code %d\n";

// Own statuses of the tool, besides the SSH codes passed through.
const int kStatusCommandLine = 1;
const int kStatusListFile = 2;
const int kStatusListFileBusy = 16;

int check_maintenance(SshSrv::ESXiServer& host) {
    int rc = host.Login();
    if (rc != SSH_SUCCESS) return rc;
    bool in = host.GetMaintenanceMode();
    KelTrace(TRACE_DEBUG, "main", in ? kInMaintenance : kNotInMaintenance);
    return in ? SSH_SUCCESS : SSH_VERIFY_ERR;
}

// The list file, loaded before the client started, decides which VMs come
// back; the result of saving it again is deliberately not looked at.
int reboot_vms(SshSrv::ESXiServer& host, const Env::String& listfile, bool dryRun) {
    int rc = host.Reboot();
    if (!dryRun) host.Save(listfile);
    return rc;
}

// What the host does once the list file is saved, decided here alone. With
// -poweroff it goes off; with -self and the VM the tool runs in still running,
// it is left the one detached command that stops that VM after this session,
// enters maintenance mode and, with -poweroff, powers off. Either only after
// a suspend that succeeded (every other VM stopped, the host in maintenance
// mode or left to enter it), with the list file saved, and before a stop was
// asked for; otherwise one line says why not.
int after_the_save(SshSrv::ESXiServer& host, int status, bool powerOff, bool self) {
    if (!powerOff && !self) return status;
    if (status == SSH_SUCCESS && StopRequest::Requested()) status = StopRequest::kStatusStopped;
    if (status != SSH_SUCCESS) {
        if (self) KelTrace(TRACE_ERROR, "main", kSelfNotLeft, status);
        if (powerOff) KelTrace(TRACE_ERROR, "main", kNotPoweredOff, status);
        return status;
    }
    if (host.SelfVmLeftToHost()) {
        status = host.LeaveSelfVmToHost();
        if (status != SSH_SUCCESS) KelTrace(TRACE_ERROR, "main", kSelfFailed, status);
        return status;
    }
    if (!powerOff) return status;
    status = host.PowerOffHost();
    if (status != SSH_SUCCESS) KelTrace(TRACE_ERROR, "main", kPowerOffFailed, status);
    return status;
}

// The file is written whatever happened, so that it records what was done,
// with the marks of an earlier run that still hold. Before a power-off the
// tool sends itself it records the moment it is asked for, so that a resume
// can tell whether the host has been down since; a host that refuses it
// leaves no such record.
int suspend_vms(SshSrv::ESXiServer& host, const ToolOptions& options) {
    const Env::String& listfile = options.listfile.value;
    bool powerOff = options.poweroff.value;
    TakeEarlierRecord(host, listfile);
    int rc = host.Suspend();
    if (options.dryrun.value) return rc;
    bool recorded = powerOff && rc == SSH_SUCCESS && !StopRequest::Requested() && !host.SelfVmLeftToHost();
    if (recorded) host.RecordPowerOff(static_cast<long long>(time(NULL)));
    if (!host.Save(listfile)) {
        KelTrace(TRACE_ERROR, "main", kCantWrite);
        rc = kStatusListFile;
    }
    rc = after_the_save(host, rc, powerOff, !options.self.IsEmpty());
    if (recorded && rc == SSH_CLI_CMD_FAILED_ERR) {
        host.ForgetPowerOff();
        if (!host.Save(listfile)) KelTrace(TRACE_ERROR, "main", kCantWrite);
    }
    return rc;
}

// A list-file path that names something other than a regular file (a FIFO, a
// device, a directory) is refused before the client starts: nothing reaches
// the host. suspend_vms replaces a symbolic link, reboot_vms reads through it.
int check_list_path(const ToolOptions& options) {
    const Env::String& path = options.listfile.value;
    bool reading = options.mode.value == SshSrv::SRV_OP_REBOOT;
    if (!reading && options.mode.value != SshSrv::SRV_OP_SUSPEND) return SSH_SUCCESS;
    if (reading ? Env::PathAllowsReading(path) : Env::PathAllowsReplacing(path)) return SSH_SUCCESS;
    KelTrace(TRACE_DEBUG, "main", kNotRegular, path.c_str());
    KelTrace(TRACE_ERROR, "main", reading ? kCantRead : kCantWrite);
    return kStatusListFile;
}

// suspend_vms: the new file can be created where it was asked for.
int check_new_file(const Env::String& path) {
    if (Env::DirectoryTakesNewFile(path)) return SSH_SUCCESS;
    KelTrace(TRACE_DEBUG, "main", kNoNewFile, path.c_str());
    KelTrace(TRACE_ERROR, "main", kCantWrite);
    return kStatusListFile;
}

// reboot_vms: the whole file is read and taken, under the lock, so that no
// other run is writing it meanwhile.
int load_list_file(SshSrv::ESXiServer& host, const Env::String& path) {
    if (host.Load(path)) return SSH_SUCCESS;
    KelTrace(TRACE_ERROR, "main", kCantRead);
    return kStatusListFile;
}

int take_lock(const ToolOptions& options, ListFileLock& lock) {
    switch (lock.Take(LockWaitSeconds(options.timeout.value))) {
        case ListFileLock::kTaken: return SSH_SUCCESS;
        case ListFileLock::kStopped: return StopRequest::kStatusStopped;
        case ListFileLock::kBusy:
            KelTrace(TRACE_ERROR, "main", kBusy, options.listfile.value.c_str());
            return kStatusListFileBusy;
        default:
            KelTrace(TRACE_ERROR, "main",
                     options.mode.value == SshSrv::SRV_OP_REBOOT ? kCantRead : kCantWrite);
            return kStatusListFile;
    }
}

// Everything that can fail without the host is found out before the client
// starts: the list file's path, whether the file can be written (suspend_vms)
// or read (reboot_vms), and the lock of a run that writes it. A stop asked
// for meanwhile ends the run before anything was started. A dry run writes
// nothing, so it neither checks for a new file nor locks.
int prepare(const ToolOptions& options, ListFileLock& lock, SshSrv::ESXiServer& host) {
    bool writes = !options.dryrun.value;
    bool suspend = options.mode.value == SshSrv::SRV_OP_SUSPEND && writes;
    bool reboot = options.mode.value == SshSrv::SRV_OP_REBOOT;
    int status = check_list_path(options);
    if (status == SSH_SUCCESS && suspend) status = check_new_file(options.listfile.value);
    if (status == SSH_SUCCESS && (suspend || reboot) && writes) status = take_lock(options, lock);
    if (status == SSH_SUCCESS && reboot) status = load_list_file(host, options.listfile.value);
    if (status == SSH_SUCCESS && StopRequest::Requested()) status = StopRequest::kStatusStopped;
    return status;
}

}  // namespace

int RunMode(SshSrv::ESXiServer& host, const ToolOptions& options) {
    switch (options.mode.value) {
        case SshSrv::SRV_OP_CHECK_AUTH: return host.Login();
        case SshSrv::SRV_OP_CHECK_SRV_MODE: return check_maintenance(host);
        case SshSrv::SRV_OP_REBOOT: return reboot_vms(host, options.listfile.value, options.dryrun.value);
        case SshSrv::SRV_OP_SUSPEND: return suspend_vms(host, options);
        default:
            KelTrace(TRACE_ERROR, "main", kInvalidMode);
            return kStatusCommandLine;
    }
}

namespace {

SshSrv::SuspendPolicy PolicyOf(const ToolOptions& options) {
    SshSrv::SuspendPolicy policy;
    SshSrv::ParseOnRefusal(options.onrefusal.value, &policy.onRefusal);
    policy.shutdownSeconds = options.shutdownminutes.value * 60;
    policy.last = options.last.values;
    policy.skip = options.skip.values;
    policy.self = options.self.value;
    policy.dryRun = options.dryrun.value;
    policy.powerOffHost = options.poweroff.value;
    return policy;
}

// The lock outlives the host object, whose end stops the client: the next
// run starts its own only after this one's has gone.
int run(const ToolOptions& options) {
    kel_set_trace(static_cast<unsigned int>(options.tracemode.value));
    kel_trace(TRACE_ALWAYS, kBanner, VMNAP_VER_MAJOR, VMNAP_VER_MINOR, VMNAP_VER_BUILD,
              VMNAP_VER_PATCH);
    ListFileLock lock(options.listfile.value);
    std::unique_ptr<SshSrv::ESXiServer> host(new SshSrv::ESXiServer(
        options.host.value, options.user.value, options.password.value));
    host->SetTimeout(options.timeout.value);
    host->SetWaitLimits(options.loginseconds.value, options.replyseconds.value);
    host->SetSuspendPolicy(PolicyOf(options));
    host->SetBootWait(options.waitminutes.value * 60);
    host->SetParallel(options.parallel.value);
    int status = prepare(options, lock, *host);
    if (status == SSH_SUCCESS) status = host->Init(options.host.value);
    if (status == SSH_SUCCESS) status = RunMode(*host, options);
    host.reset();
    if (status == StopRequest::kStatusStopped)
        KelTrace(TRACE_ERROR, "main", kStopped, StopRequest::Signal());
    return status;
}

}  // namespace

int RunTool(int argc, char** argv) {
    int status;
    try {
        std::unique_ptr<ToolOptions> options(new ToolOptions());
        status = parse_args(argc, argv, *options);
        if (status != 0) return status;
        status = run(*options);
    } catch (...) {
        KelTrace(TRACE_ERROR, "main", kExecutionError);
        status = kStatusListFile;
    }
    kel_trace(TRACE_NOTICE, kExitCode, status);
    return status;
}
