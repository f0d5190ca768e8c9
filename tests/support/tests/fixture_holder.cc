// vmnap-fixture-holder [--kill-guard]: sets up what a test of the real client sets up (the sshd fixture,
// a TempDir, a logged-in plink session whose shell runs as the test account), prints
//   ready NETNS ACCOUNT SSHD_DIR TEMP_DIR SSHD_PID GUARD_PID
// and waits to be killed. --kill-guard first kills its own leftover guard (SIGKILL), as if the guard had
// been lost too, so that only a later vmnap-sweep can clean up.
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "leftover_guard.h"
#include "sshd_fixture.h"
#include "sshd_fixture_process.h"
#include "temp_dir.h"

namespace {

const char kShell[] = "#!/bin/sh\nprintf 'in ~ # '\nexec sleep 600\n";

std::string Parent(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool LogIn(const SshdFixture& sshd, PipedProcess* plink) {
    std::string text;
    plink->Start(sshd.InNamespace({"/usr/bin/plink", "-ssh", sshd.user() + "@127.0.0.1"}), sshd.client_env());
    if (!plink->ReadUntil("(y/n", 20, &text) || !plink->Write("y\n")) return false;
    if (!plink->ReadUntil("password: ", 20, &text) || !plink->Write(sshd.password() + "\n")) return false;
    return plink->ReadUntil("in ~ # ", 20, &text);
}

}  // namespace

int main(int argc, char** argv) {
    bool kill_guard = argc == 2 && std::strcmp(argv[1], "--kill-guard") == 0;
    TempDir shell_dir;
    shell_dir.Write("shell", kShell);
    SshdFixture sshd;
    PipedProcess plink;
    if (!sshd.Start(shell_dir.file("shell"))) {
        printf("failed %s\n", sshd.error().c_str());
        return 1;
    }
    if (!LogIn(sshd, &plink)) {
        printf("failed login: %s\n", plink.output().c_str());
        return 1;
    }
    if (kill_guard) kill(LeftoverGuardPid(), SIGKILL);
    printf("ready %s %s %s %s %d %d\n", sshd.netns().c_str(), sshd.user().c_str(),
           Parent(sshd.client_home()).c_str(), shell_dir.path().c_str(), sshd.sshd_pid(), LeftoverGuardPid());
    fflush(stdout);
    for (;;) pause();
}
