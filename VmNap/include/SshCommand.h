// The closed set of command lines the tool sends to an ESXi host: vim-cmd
// lines, the esxcli lines that power the host off and read its uptime, and
// the one line that leaves the VM the tool runs in to the host (-self).
#ifndef VMNAP_SSH_COMMAND_H
#define VMNAP_SSH_COMMAND_H

#include <stdio.h>

#include <string>

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
        ESX_CMD_STOP_SELF_VM = 15,   // detached: the tool's own VM, after its session (-self)
        ESX_CMD_LAST = 15
    };

    // What the detached command does when the tool's own VM is still on after its suspend.
    enum SelfFallback {
        kSelfSuspendOnly = 0,  // nothing more (-onrefusal stop, skip)
        kSelfShutdown = 1,     // its guest's shutdown, waited for (-onrefusal shutdown)
        kSelfPowerOff = 2      // the same, then the power-off (-onrefusal poweroff)
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

    // The first word of the detached command's one line of reply: the word and
    // the pid of the process the host started, nothing else.
    static constexpr const char* kSelfMarker = "vmnap-self";
    // How the detached command's line starts: the first of setsid and nohup
    // that the host has, then the script, quoted whole.
    static constexpr const char* kSelfDetachStart =
        "vmnap_detach=$(command -v setsid || command -v nohup); "
        "if [ -n \"$vmnap_detach\" ]; then (\"$vmnap_detach\" sh -c '";
    // How long the detached command waits at most for the tool's login shell to
    // go, then a little more for the tool to exit before its VM stops.
    static constexpr int kSelfWaitSeconds = 60;
    static constexpr int kSelfGraceSeconds = 2;
    // How often it reads the VM's state while the guest shuts down.
    static constexpr int kSelfPollSeconds = 3;

    // suspend_vms -self. One line that starts, in a session of its own (setsid:
    // the SSH session's hang-up does not reach it) and from a subshell (no job
    // control there, so no job message in the reply), a script that waits until
    // the tool's login shell ($$, its first argument) has gone, suspends the VM,
    // as `fallback` allows shuts its guest down (waiting up to `shutdownSeconds`
    // when the host took the shutdown in silence) and powers it off, and, once
    // the VM no longer runs, enters maintenance mode and, with `powerOffHost`,
    // sends the host's power-off line. The line prints
    // "vmnap-self PID" only when the host has a way to detach it and started it.
    // Only the digit id and numbers go into it; any other id gives no command.
    // How it is detached: with setsid when the host has it (a session of its
    // own, out of the terminal's altogether), else with nohup (the hang-up of
    // the terminal is ignored), which public scripts for the ESXi shell use
    // ("nohup vim-cmd ... &", e.g. the prashanthrajagopal/esxi gem); no public
    // listing of ESXi's busybox applets showing setsid was found, and Debian's
    // busybox (the simulated host's shell) has setsid and no nohup.
    static Env::String GetESX_CMD_STOP_SELF_VM(Env::String const& id, int fallback, int shutdownSeconds,
                                               bool powerOffHost) {
        if (!IsVmId(id) || shutdownSeconds < 0) return Env::String();
        std::string line = kSelfDetachStart;
        line += SelfScript(id, fallback, shutdownSeconds, powerOffHost);
        line += std::string("' ") + kSelfMarker + " $$ </dev/null >/dev/null 2>&1 & echo \"" + kSelfMarker +
                " $!\"); fi\n";
        return Env::String(line.c_str());
    }

    // Only a VM id of 1 to 10 digits ever goes into a command.
    static bool IsVmId(Env::String const& id) {
        if (id.empty() || id.size() > kMaxIdDigits) return false;
        for (char c : id)
            if (c < '0' || c > '9') return false;
        return true;
    }

private:
    static constexpr size_t kMaxIdDigits = 10;

    // The detached script: no single quote in it, it is quoted whole.
    static std::string SelfScript(const std::string& id, int fallback, int shutdownSeconds,
                                  bool powerOffHost) {
        std::string s = "runs() { vim-cmd vmsvc/power.getstate " + id + " | grep -q \"Powered on\"; }; ";
        s += "i=0; while kill -0 $1 && [ $i -lt " + std::to_string(kSelfWaitSeconds) +
             " ]; do sleep 1; i=$((i+1)); done; sleep " + std::to_string(kSelfGraceSeconds) + "; ";
        s += "vim-cmd vmsvc/power.suspend " + id + "; ";
        if (fallback == kSelfShutdown || fallback == kSelfPowerOff) {
            std::string poll = std::to_string(kSelfPollSeconds);
            // A shutdown the host accepted prints nothing; anything else (no Tools) is not waited for.
            s += "if runs && [ -z \"$(vim-cmd vmsvc/power.shutdown " + id + " 2>&1)\" ]; then i=0; ";
            s += "while runs && [ $i -lt " + std::to_string(shutdownSeconds) + " ]; do sleep " + poll +
                 "; i=$((i+" + poll + ")); done; fi; ";
        }
        if (fallback == kSelfPowerOff) s += "if runs; then vim-cmd vmsvc/power.off " + id + "; fi; ";
        s += "if ! runs; then vim-cmd hostsvc/maintenance_mode_enter";
        if (powerOffHost) {
            std::string off = GetESX_CMD_POWEROFF_HOST();
            s += "; " + off.substr(0, off.size() - 1);
        }
        return s + "; fi";
    }

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
