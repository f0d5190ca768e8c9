// A session whose inner state tests may look at, and the usual way to start
// it against the scripted stand-in client.
#ifndef KEL_SSHMGR_TESTS_SESSION_PROBE_H
#define KEL_SSHMGR_TESTS_SESSION_PROBE_H

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "SshSession.h"
#include "fake_plink_dir.h"

class SessionProbe : public Ssh::SshSession {
public:
    using SshSession::DefaultParser;
    using SshSession::GetData;
    using SshSession::GetRunSshCommand;
    using SshSession::NormalizeResponse;

    std::string Path() const { return m_szPath; }
    std::string Args() const { return m_szArgs; }
    std::string Command() const { return m_command; }
    std::string Response() const { return m_response; }
    pid_t ProcessId() const { return m_iProcessId; }
    std::vector<int> Descriptors() const {
        return {stdout_r, stdout_w, stdout_e, stdin_r, stdin_w, stdout_def, stdin_def, stderr_def};
    }
    int ClientOutput() const { return stdout_r; }
    int ClientInput() const { return stdin_w; }
    void SetResponse(const std::string& text) { snprintf(m_response, kBufSize, "%s", text.c_str()); }
    void SetCommand(const std::string& text) { snprintf(m_command, kBufSize, "%s", text.c_str()); }
};

const char* const kHost = "10.0.0.5";
const char* const kUser = "root";
const char* const kPassword = "secret";

// Writes `script`, enters `dir` and starts the stand-in as the session's client.
inline SshCodes StartClient(FakePlinkDir& dir, Ssh::SshSession& session,
                            const std::vector<std::string>& script) {
    dir.WriteScript(script);
    dir.Enter();
    return session.RunSshClient(kHost, kUser, kPassword);
}

// A session in the remote state, its client following `script`.
struct RemoteSession {
    FakePlinkDir dir;
    SessionProbe session;
    char* response = nullptr;

    explicit RemoteSession(const std::vector<std::string>& script, int timeout = 20) {
        session.SetTimeout(timeout);
        EXPECT_EQ(SSH_SUCCESS, StartClient(dir, session, script));
        session.SetState(EXEC_REMOTE);
    }
    SshCodes Exchange(const std::string& command) {
        SshCodes rc = session.SendCommand(command);
        if (rc != SSH_SUCCESS) return rc;
        return session.GetResponse(&response);
    }
    std::string Received() {
        session.CloseSession();
        return dir.Received();
    }
};

#endif
