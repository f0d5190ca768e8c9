// The closed set of command lines the tool sends to an ESXi host: vim-cmd
// lines, and the two esxcli lines that power the host off and read its uptime.
#ifndef VMNAP_SSH_COMMAND_H
#define VMNAP_SSH_COMMAND_H

#include <stdio.h>

#include "EnvString.h"

namespace SshSrv {

// Generic command ids, shared by every command family.
class SshCommand {
public:
    enum {
        SSH_CMD_UNKNOWN = 0,
        SSH_CMD_ERROR = 1,  // the reply was recognised as an error
        SSH_CMD_LAST = 2
    };
};

// ESXi command ids and the builders of their exact texts.
class ESXiCommand : public SshCommand {
public:
    enum {
        ESX_CMD_FIRST = SSH_CMD_LAST,
        ESX_CMD_SHOW_COMMANDS = ESX_CMD_FIRST,
        ESX_CMD_GET_ALLVMS = 3,
        ESX_CMD_GET_VMSTATUS = 4,
        ESX_CMD_SUSPEND_VM = 5,
        ESX_CMD_POWERON_VM = 6,
        ESX_CMD_POWEROFF_VM = 7,
        ESX_CMD_GET_MAINTENANCE = 8,
        ESX_CMD_ENTER_MAINTENANCE = 9,
        ESX_CMD_EXIT_MAINTENANCE = 10,
        ESX_CMD_SHUTDOWN_VM = 11,  // the guest's own shutdown, through VMware Tools
        ESX_CMD_POWEROFF_HOST = 12,  // the host itself, once in maintenance mode
        ESX_CMD_GET_UPTIME = 13,     // microseconds since the host booted (HostBootCheck.h)
        ESX_CMD_LOGOUT = 14,  // ends the shell of an extra session (-parallel)
        ESX_CMD_LAST = 14
    };

    // Seconds between the host's acceptance of the power-off and the power
    // going off: time for the client to read the answer and end the session.
    static constexpr int kPowerOffDelaySeconds = 10;
    // What the host records as the reason of its power-off.
    static constexpr const char* kPowerOffReason = "VmNap: VMs suspended";

    static Env::String GetESX_CMD_SHOW_COMMANDS() { return "vim-cmd\n"; }
    static Env::String GetESX_CMD_GET_ALLVMS() { return "vim-cmd vmsvc/getallvms\n"; }
    static Env::String GetESX_CMD_GET_VMSTATUS(Env::String const& id) {
        return WithId("vim-cmd vmsvc/power.getstate %s\n", id);
    }
    static Env::String GetESX_CMD_SUSPEND_VM(Env::String const& id) {
        return WithId("vim-cmd vmsvc/power.suspend %s\n", id);
    }
    static Env::String GetESX_CMD_POWERON_VM(Env::String const& id) {
        return WithId("vim-cmd vmsvc/power.on %s\n", id);
    }
    static Env::String GetESX_CMD_POWEROFF_VM(Env::String const& id) {
        return WithId("vim-cmd vmsvc/power.off %s\n", id);
    }
    static Env::String GetESX_CMD_SHUTDOWN_VM(Env::String const& id) {
        return WithId("vim-cmd vmsvc/power.shutdown %s\n", id);
    }
    static Env::String GetESX_CMD_GET_MAINTENANCE() {
        return "vim-cmd hostsvc/hostsummary | grep inMaintenanceMode\n";
    }
    static Env::String GetESX_CMD_ENTER_MAINTENANCE() {
        return "vim-cmd hostsvc/maintenance_mode_enter\n";
    }
    static Env::String GetESX_CMD_EXIT_MAINTENANCE() {
        return "vim-cmd hostsvc/maintenance_mode_exit\n";
    }
    static Env::String GetESX_CMD_LOGOUT() { return "exit\n"; }
    // Built from the tool's own constants alone: nothing read from the host
    // or a file goes into it.
    static Env::String GetESX_CMD_POWEROFF_HOST() {
        char buf[128] = {0};
        snprintf(buf, sizeof(buf), "esxcli system shutdown poweroff -d %d -r \"%s\"\n",
                 kPowerOffDelaySeconds, kPowerOffReason);
        return Env::String(buf);
    }

    static Env::String GetESX_CMD_GET_UPTIME() { return "esxcli system stats uptime get\n"; }

    // Only a VM id of 1 to 10 digits ever goes into a command.
    static bool IsVmId(Env::String const& id) {
        if (id.empty() || id.size() > kMaxIdDigits) return false;
        for (char c : id)
            if (c < '0' || c > '9') return false;
        return true;
    }

private:
    static constexpr size_t kMaxIdDigits = 10;

    // The id replaces %s. Any other id, or a text that would not fit whole,
    // gives an empty command, which is never sent.
    static Env::String WithId(const char* pattern, Env::String const& id) {
        char buf[128] = {0};
        if (!IsVmId(id)) return Env::String();
        int length = snprintf(buf, sizeof(buf), pattern, id.c_str());
        if (length < 0 || static_cast<size_t>(length) >= sizeof(buf)) return Env::String();
        return Env::String(buf);
    }
};

}  // namespace SshSrv

// Builds the text of a command from its id alone, or from its id and a VM id.
#define GET_ESXI_COMMAND(id, ...) SshSrv::ESXiCommand::Get##id(__VA_ARGS__)

#endif
