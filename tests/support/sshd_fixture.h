// A real OpenSSH server on port 22 of 127.0.0.1 inside a private network namespace, with a test account
// of its own whose login shell the test chooses. Needs root, /usr/sbin/sshd, ssh-keygen and ip.
//
//   SshdFixture sshd;
//   ASSERT_TRUE(sshd.Start(ESXI_SIM_PATH)) << sshd.error();
//   PipedProcess plink;
//   plink.Start(sshd.InNamespace({"/usr/bin/plink", "-ssh", sshd.user() + "@127.0.0.1"}), sshd.client_env());
//
// Code under test that starts ./plink itself: enter the namespace first and give plink the private home
// (tests run one per process, so both are safe to change):
//
//   ASSERT_TRUE(sshd.EnterNamespace()) << sshd.error();
//   sshd.UseClientEnv();
//   // chdir into a directory holding a "plink" that points at /usr/bin/plink, then log in as
//   // sshd.user() with sshd.password() at 127.0.0.1.
//
// plink's settings, host keys and random seed stay in client_home() (see plink_home.h): nothing of the
// user running the test is read or written.
//
// Everything started or created is stopped (by PID) and removed by Stop(), which the destructor calls, so
// a failing test cleans up too. The names carry this process's pid (namespace vmnap-PID-N, account
// vmnapPIDuN, directory /tmp/vmnap-sshd-PID-XXXXXX); should the process be killed outright, a guard
// process removes them once it has gone (see leftover_guard.h).
#ifndef VMNAP_TEST_SUPPORT_SSHD_FIXTURE_H
#define VMNAP_TEST_SUPPORT_SSHD_FIXTURE_H

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

class SshdFixture {
public:
    SshdFixture();
    ~SshdFixture();  // Stop()
    SshdFixture(const SshdFixture&) = delete;
    SshdFixture& operator=(const SshdFixture&) = delete;

    // Extra "NAME=value" entries for sshd's SetEnv: environment of every session. Call before Start().
    void AddSessionEnv(const std::string& entry) { session_env_.push_back(entry); }
    // Keyboard-interactive authentication through PAM (the system's "sshd" service) and no password
    // authentication, as ESXi 6.5 and later offer it. Call before Start().
    void UseKeyboardInteractive() { keyboard_interactive_ = true; }
    // A text sshd sends before authentication (its Banner option); none by default. Call before Start().
    void SetBanner(const std::string& text) { banner_ = text; }

    // One more address for sshd to listen on (port 22, e.g. "127.0.0.2": all of 127/8 is loopback), with
    // "NAME=value" entries for the environment of the sessions that connect to it (sshd's Match
    // LocalAddress); for "127.0.0.1" only the environment is added. Several simulated hosts behind one
    // server. Call before Start().
    void AddListenAddress(const std::string& address, const std::vector<std::string>& session_env) {
        listen_addresses_.push_back({address, session_env});
    }

    // Copies `shell_program` into shell_dir() (mode 0755, the directory owned by the test account), and the
    // directory `shell_program`.d beside it when there is one (the simulated host's bin directory), creates
    // the account with it as login shell, creates the namespace and starts sshd, and waits until port 22
    // accepts connections. On failure returns false and error() says why (the parts done are undone by Stop).
    bool Start(const std::string& shell_program);

    // Kills sshd and every process of its sessions and of the test account, deletes the account, the
    // namespace and the temporary directories, and leaves the namespace if this process entered it.
    void Stop();

    // Gives the server a new host key (and restarts it on the same port), so that a client that cached the
    // old one sees a changed key. Connections before and after go to the same log. False with error() set.
    bool ReplaceHostKey();

    // The processes that run as the test account (its login shells and what they started).
    std::vector<pid_t> AccountProcesses() const;

    // Moves the calling thread (and the children it starts later) into the namespace, so 127.0.0.1:22 is
    // this sshd; LeaveNamespace() goes back to the namespace it came from.
    bool EnterNamespace();
    bool LeaveNamespace();

    // `argv` prefixed by "ip netns exec NAME", to run a program inside the namespace.
    std::vector<std::string> InNamespace(const std::vector<std::string>& argv) const;

    const std::string& error() const { return error_; }
    const std::string& netns() const { return netns_; }
    const std::string& user() const { return user_; }
    const std::string& password() const { return password_; }
    const std::string& client_home() const { return client_home_; }  // plink's private home (plink_home.h)
    std::vector<std::string> client_env() const;  // its environment entries, for a child that runs plink
    void UseClientEnv() const;                    // the same in this process's environment
    std::string host_key_cache() const;           // the host-key cache plink writes there
    const std::string& user_home() const { return user_home_; }      // the account's home directory
    const std::string& shell_dir() const { return shell_dir_; }      // holds the installed login shell
    const std::string& shell_path() const { return shell_path_; }
    const std::string& sshd_log() const { return sshd_log_; }        // sshd -e output, LogLevel VERBOSE
    pid_t sshd_pid() const { return sshd_pid_; }
    std::string ReadSshdLog() const;
    // Polls the log until it holds `text`; false after `seconds` (sshd logs a closed connection late).
    bool WaitForSshdLog(const std::string& text, double seconds) const;

private:
    bool Fail(const std::string& message);
    bool MakeDirectories();
    bool InstallShell(const std::string& shell_program);
    bool InstallShellFiles(const std::string& shell_program);
    bool CreateAccount();
    bool WriteServerFiles();
    bool GenerateHostKey();
    std::string ListenAddressConfig() const;
    std::string AuthenticationConfig();
    bool CreateNamespace();
    bool StartServer();
    bool WaitForPort();
    void StopProcesses();
    void DeleteAccount();
    void DeleteNamespace();

    std::string error_;
    std::vector<std::string> session_env_;
    std::vector<std::pair<std::string, std::vector<std::string>>> listen_addresses_;
    bool keyboard_interactive_ = false;
    std::string banner_;
    std::string netns_, user_, password_;
    std::string root_, client_home_, user_home_, shell_dir_, shell_path_, config_, sshd_log_, host_key_;
    bool account_created_ = false;
    bool netns_created_ = false;
    pid_t sshd_pid_ = -1;
    int saved_netns_fd_ = -1;
};

#endif
