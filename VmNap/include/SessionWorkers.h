// The workers of a run with several VM operations at once: worker 0 drives
// the host's own session; every other worker starts a plink client of its
// own, logs in as the host's session did, and logs out at the end. A VM runs
// with its worker's session and parser, and every line the worker traces
// meanwhile names the VM.
#ifndef VMNAP_SESSION_WORKERS_H
#define VMNAP_SESSION_WORKERS_H

#include <functional>
#include <memory>
#include <vector>

#include "EnvString.h"
#include "VmRunner.h"

namespace Ssh {
class SshSession;
}

namespace SshSrv {

class CliParser;
class VirtualMachineServer;

// How an extra session reaches and logs in to the host.
struct SessionLogin {
    Env::String address;
    Env::String user;
    Env::String password;
    int loginSeconds = 0;  // 0: the session's own limits
    int replySeconds = 0;
};

class SessionWorkers : public VmWorkers {
public:
    // The operation on the VM at an index of `vms`.
    typedef std::function<VmOutcome(size_t vm)> Operation;

    SessionWorkers(const std::vector<VirtualMachineServer*>& vms, size_t workers,
                   Ssh::SshSession* hostSession, CliParser* hostParser, const SessionLogin& login,
                   Operation operation);
    ~SessionWorkers() override;

    bool Open(size_t worker) override;
    VmOutcome Run(size_t vm, size_t worker) override;
    void Close(size_t worker) override;

private:
    struct Slot;

    bool LogIn(Slot& slot);

    std::vector<VirtualMachineServer*> vms_;
    std::vector<std::unique_ptr<Slot>> slots_;  // one per worker, made before any starts
    Ssh::SshSession* hostSession_;
    CliParser* hostParser_;
    SessionLogin login_;
    Operation operation_;
};

}  // namespace SshSrv

#endif
