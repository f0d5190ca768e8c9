#include "bench_session.h"

#include <unistd.h>

#include "bench_host.h"

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kHost[] = "127.0.0.1";

}  // namespace

bool SetUpSession(BenchSession* b) {
    if (!b->sshd.Start(ESXI_SIM_PATH)) return b->Fail("cannot start sshd: " + b->sshd.error());
    if (!b->sshd.EnterNamespace()) return b->Fail("cannot enter the namespace: " + b->sshd.error());
    b->state_path = b->sshd.shell_dir() + "/esxi-sim.state";
    b->work.Write("password", b->sshd.password());
    if (symlink(kPlink, b->work.file("plink").c_str()) != 0) return b->Fail("cannot link ./plink");
    return true;
}

bool FirstLogin(BenchSession* b) {
    std::string error;
    if (!WriteRunningHost(b->state_path, 0, &error)) return b->Fail(error);
    if (RunVmNap(b, "account_check", {}, "account_check.log").exit_status == 0) return true;
    return b->Fail("the first login (which caches the host key) failed");
}

Measured RunVmNap(BenchSession* b, const std::string& mode, const std::vector<std::string>& extra,
                  const std::string& log_name) {
    b->last_log = b->work.file(log_name);
    std::vector<std::string> argv = {b->vmnap, "-host", kHost, "-usr", b->sshd.user(), "-pwd",
                                     b->sshd.password(), "-mode", mode};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return RunMeasured(argv, b->work.path(), b->sshd.client_home(), b->last_log);
}

Measured RunLoop(BenchSession* b, const std::vector<std::string>& commands) {
    Measured loop;
    loop.exit_status = 0;
    for (const std::string& command : commands) {
        if (b->stop.requested()) break;
        b->last_log = b->work.file("loop.log");
        Measured one = RunMeasured({kPlink, "-ssh", "-batch", "-pwfile", b->work.file("password"),
                                    b->sshd.user() + "@" + kHost, command},
                                   b->work.path(), b->sshd.client_home(), b->last_log);
        loop.wall_s += one.wall_s;
        if (one.exit_status != 0) loop.exit_status = one.exit_status;
    }
    return loop;
}

bool Checked(BenchSession* b, const Measured& run, const std::string& check, const std::string& what) {
    if (b->stop.requested()) return b->Fail("stopped by signal " + std::to_string(b->stop.signal()));
    if (run.exit_status != 0) return b->Fail(what + " exited " + std::to_string(run.exit_status));
    if (!check.empty()) return b->Fail(what + ": " + check);
    return true;
}

std::string LastLog(const BenchSession& b) { return b.last_log.empty() ? "" : ReadFile(b.last_log); }
