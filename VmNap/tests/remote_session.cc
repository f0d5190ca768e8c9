#include "remote_session.h"

#include <gtest/gtest.h>

RemoteSession::RemoteSession(const EsxiScript& script) : session_(new Ssh::SshSession()) {
    dir_.WriteScript(script.lines());
    dir_.Enter();
    EXPECT_EQ(SSH_SUCCESS, session_->Init());
    EXPECT_EQ(SSH_SUCCESS, session_->RunSshClient("host", "root", "secret"));
    session_->SetState(EXEC_REMOTE);
}

RemoteSession::~RemoteSession() { Close(); }

void RemoteSession::Close() {
    delete session_;
    session_ = nullptr;
    dir_.Leave();
}

int CountReplies(const std::string& trace) {
    const std::string marker = "GetResponse: get response from ssh session\n";
    int n = 0;
    for (size_t at = trace.find(marker); at != std::string::npos; at = trace.find(marker, at + 1))
        ++n;
    return n;
}
