#include "simulated_hosts.h"

#include <pwd.h>
#include <unistd.h>

#include "host_state.h"
#include "state_store.h"
#include "state_text.h"

SimulatedHosts::SimulatedHosts(SshdFixture* sshd, const std::vector<std::string>& names)
    : sshd_(sshd), names_(names) {
    for (size_t i = 0; i < names_.size(); ++i) {
        sshd->AddListenAddress(address(i), {"ESXI_SIM_STATE=" + state_path(i)});
    }
}

bool SimulatedHosts::Prepare(std::string* error) {
    struct passwd* account = getpwnam(sshd_->user().c_str());
    if (account && chown(dir_.path().c_str(), account->pw_uid, account->pw_gid) == 0) return true;
    *error = "cannot hand " + dir_.path() + " to " + sshd_->user();
    return false;
}

bool SimulatedHosts::Set(size_t i, const std::string& text, std::string* error) const {
    esxisim::HostState parsed;
    if (!esxisim::ParseState(text, &parsed, error)) return false;
    if (esxisim::FormatState(parsed) != text) {
        *error = "not in the simulator's own form:\n" + text;
        return false;
    }
    return esxisim::StateStore(state_path(i)).Write(parsed, error);
}
