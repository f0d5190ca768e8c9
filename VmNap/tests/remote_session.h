// A real Ssh::SshSession connected to the stand-in plink client, already
// past the login: host and VM operations can be run against it directly.
#ifndef VMNAP_TESTS_REMOTE_SESSION_H
#define VMNAP_TESTS_REMOTE_SESSION_H

#include <string>

#include "SshSession.h"
#include "esxi_script.h"
#include "fake_plink_dir.h"

class RemoteSession {
public:
    explicit RemoteSession(const EsxiScript& script);
    ~RemoteSession();

    Ssh::SshSession& session() { return *session_; }
    FakePlinkDir& dir() { return dir_; }
    // Ends the client (as the host object's destruction does) so that the
    // received bytes are complete.
    void Close();

private:
    FakePlinkDir dir_;
    Ssh::SshSession* session_;
};

// Number of replies a session took in, counted from its debug trace.
int CountReplies(const std::string& trace);

#endif
