// vmnap-demo: starts the simulated ESXi host as the login shell of a real sshd in a private network
// namespace, runs VmNap's suspend_vms and then reboot_vms against it, and shows the list file and the
// host's state after each run. Needs root (scripts/demo builds and starts it).
//
//   vmnap-demo [--record FILE] [--esxi VERSION]
//
// --record FILE: writes what was set up (sshd's pid, the namespace, the account, the directories) to FILE
// and deletes FILE once all of it is removed again, so that a calling script can still tidy up after a
// demo that was killed outright. --esxi VERSION: the simulated host plays that ESXi version (5.5, 6.7, 7.0,
// 8.0: esxi-sim's profiles); without it, the 5.5 host. Exit status 0 when both runs succeeded and the host
// is back as it began.
#include <stdio.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "demo_host.h"
#include "demo_steps.h"
#include "version_profile.h"
#include "sshd_fixture.h"
#include "stop_signals.h"
#include "temp_dir.h"

namespace {

const char kListFile[] = "esxi_vms.xml";
const char kUsage[] = "usage: vmnap-demo [--record FILE] [--esxi 5.5|6.7|7.0|8.0]";

struct DemoOptions {
    std::string record;
    std::string version;  // empty: the 5.5 host
};

// Options come in pairs: a flag and its value.
bool ParseOptions(int argc, char** argv, DemoOptions* options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--record") == 0) options->record = argv[i + 1];
        else if (std::strcmp(argv[i], "--esxi") == 0) options->version = argv[i + 1];
        else return false;
    }
    bool known = options->version.empty() || esxisim::FindProfile(options->version) != nullptr;
    return argc % 2 == 1 && known;
}

bool WriteFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return static_cast<bool>(out);
}

std::string Root(const SshdFixture& sshd) {
    return sshd.client_home().substr(0, sshd.client_home().rfind('/'));
}

void Record(const std::string& path, const SshdFixture& sshd, const TempDir& work) {
    if (path.empty()) return;
    WriteFile(path, "sshd_pid=" + std::to_string(sshd.sshd_pid()) + "\nnetns=" + sshd.netns() +
                        "\nuser=" + sshd.user() + "\ndirs=\"" + Root(sshd) + " " + work.path() + "\"\n");
}

void Introduce(const std::string& version) {
    std::string host = version.empty() ? "5.x" : version;
    Say("VmNap demo: the tool against a simulated VMware ESXi " + host + " host (tools/esxi-sim). The simulator is");
    Say("the login shell of a throw-away account on a real OpenSSH server, which listens on 127.0.0.1:22");
    Say("inside a private network namespace: nothing outside this machine is contacted.");
}

bool StartHost(SshdFixture* sshd, const std::string& version, std::string* state_path_out) {
    Heading("Starting the simulated host");
    if (!sshd->Start(ESXI_SIM_PATH)) {
        Say("cannot start the server: " + sshd->error());
        return false;
    }
    const std::string state_path = *state_path_out = sshd->shell_dir() + "/esxi-sim.state";
    if (!WriteFile(state_path, DemoHostState(version))) {
        Say("cannot write " + state_path);
        return false;
    }
    Say("sshd pid " + std::to_string(sshd->sshd_pid()) + " in the network namespace " + sshd->netns() +
        "; account " + sshd->user() + ", password " + sshd->password() + ".");
    Say("The host lives in the simulator's state file " + state_path + ":");
    Say("four VMs, three of them running; db01 has a two-line note, \"build server\" a blank in its name.");
    ShowText(DemoHostState(version));
    return true;
}

void ShowResults(const TempDir& work, const std::string& state_path) {
    Say("");
    Say("The list file " + work.file(kListFile) + " (one line; broken before each VM here):");
    ShowText(WithVmsOnLines(work.Read(kListFile)));
    Say("The host now:");
    ShowText(HostSummary(state_path));
}

void ExplainSuspend() {
    Say("Note: the VMs VmNap suspended carry rebootstatus=\"to reboot\", and reboot=\"true\" asks the next");
    Say("reboot_vms run to undo this. VmNap reads the VM table by its rows: the whole name is kept");
    Say("(\"build server\"), and the second line of db01's note (\"owner: data team\") is part of db01's");
    Say("note, not a VM; only the digit ids of the rows ever go into a command.");
}

// Both runs; the exit status of the demo.
int RunSteps(const StopSignals& stop, const SshdFixture& sshd, const TempDir& work,
             const std::string& state_path, const std::string& version) {
    Heading("Before maintenance: VmNap -mode suspend_vms");
    Say("Working directory " + work.path() + " with plink -> /usr/bin/plink (VmNap starts ./plink).");
    Say("plink has no host key cached yet, so VmNap answers its \"Store key in cache?\" question with y.");
    int suspended = RunVmNap(sshd, work.path(), "suspend_vms");
    if (stop.requested()) return 128 + stop.signal();
    ShowResults(work, state_path);
    ExplainSuspend();

    Heading("After maintenance: VmNap -mode reboot_vms");
    Say("VmNap reads the list file, takes the host out of maintenance mode and powers on the marked VMs.");
    int rebooted = RunVmNap(sshd, work.path(), "reboot_vms");
    if (stop.requested()) return 128 + stop.signal();
    ShowResults(work, state_path);

    bool back = HostIsBackToStart(state_path, version);
    Heading("Result");
    Say("suspend_vms exited " + std::to_string(suspended) + ", reboot_vms exited " + std::to_string(rebooted) +
        (back ? "; the host is back as it began." : "; the host is NOT back as it began."));
    return suspended == 0 && rebooted == 0 && back ? 0 : 1;
}

int RunDemo(const StopSignals& stop, const DemoOptions& options) {
    const std::string& record = options.record;
    Introduce(options.version);
    SshdFixture sshd;
    TempDir work;
    std::string state_path;
    bool ready = LinkPlink(work.path()) && StartHost(&sshd, options.version, &state_path);
    if (ready) Record(record, sshd, work);
    int status = ready && !stop.requested() ? RunSteps(stop, sshd, work, state_path, options.version) : 1;
    if (stop.requested()) Say("\nStopped by signal " + std::to_string(stop.signal()) + ".");
    Heading("Cleaning up");
    Say("Stopping sshd and its sessions, deleting the account, the namespace and the temporary directories.");
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (geteuid() != 0) {
        Say("vmnap-demo: needs root (it creates an account, a network namespace and an sshd)");
        return 1;
    }
    DemoOptions options;
    if (!ParseOptions(argc, argv, &options)) {
        Say(kUsage);
        return 1;
    }
    StopSignals stop(VMNAP_EXE);
    int status = RunDemo(stop, options);
    if (!options.record.empty()) unlink(options.record.c_str());
    Say("Done: nothing the demo started is left running.");
    return status;
}
