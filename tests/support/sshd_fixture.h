// A real OpenSSH server on port 22 of 127.0.0.1 inside a private network namespace, with a test account
// of its own whose login shell the test chooses. Needs root, /usr/sbin/sshd, ssh-keygen and ip.
//
//   SshdFixture sshd;
//   ASSERT_TRUE(sshd.Start(ESXI_SIM_PATH)) << sshd.error();
//   PipedProcess plink;
//   plink.Start(sshd.InNamespace({"/usr/bin/plink", "-ssh", sshd.user() + "@127.0.0.1"}),
//               {"HOME=" + sshd.client_home()});
//
// Code under test that starts ./plink itself: enter the namespace first and give plink the private HOME
// (tests run one per process, so both are safe to change):
//
//   ASSERT_TRUE(sshd.EnterNamespace()) << sshd.error();
//   setenv("HOME", sshd.client_home().c_str(), 1);
//   // chdir into a directory holding a "plink" that points at /usr/bin/plink, then log in as
//   // sshd.user() with sshd.password() at 127.0.0.1.
//
// Everything started or created is stopped (by PID) and removed by Stop(), which the destructor calls, so
// a failing test cleans up too.
#ifndef VMNAP_TEST_SUPPORT_SSHD_FIXTURE_H
#define VMNAP_TEST_SUPPORT_SSHD_FIXTURE_H

#include <sys/types.h>

#include <string>
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

    // Copies `shell_program` into shell_dir() (mode 0755, the directory owned by the test account), creates
    // the account with it as login shell, creates the namespace and starts sshd, and waits until port 22
    // accepts connections. On failure returns false and error() says why (the parts done are undone by Stop).
    bool Start(const std::string& shell_program);

    // Kills sshd and every process of its sessions and of the test account, deletes the account, the
    // namespace and the temporary directories, and leaves the namespace if this process entered it.
    void Stop();

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
    const std::string& client_home() const { return client_home_; }  // HOME for plink: private host-key cache
    const std::string& user_home() const { return user_home_; }      // the account's home directory
    const std::string& shell_dir() const { return shell_dir_; }      // holds the installed login shell
    const std::string& shell_path() const { return shell_path_; }
    const std::string& sshd_log() const { return sshd_log_; }        // sshd -e output
    pid_t sshd_pid() const { return sshd_pid_; }
    std::string ReadSshdLog() const;

private:
    bool Fail(const std::string& message);
    bool MakeDirectories();
    bool InstallShell(const std::string& shell_program);
    bool CreateAccount();
    bool WriteServerFiles();
    std::string AuthenticationConfig();
    bool CreateNamespace();
    bool StartServer();
    bool WaitForPort();
    void StopProcesses();
    void DeleteAccount();
    void DeleteNamespace();

    std::string error_;
    std::vector<std::string> session_env_;
    bool keyboard_interactive_ = false;
    std::string banner_;
    std::string netns_, user_, password_;
    std::string root_, client_home_, user_home_, shell_dir_, shell_path_, config_, sshd_log_;
    bool account_created_ = false;
    bool netns_created_ = false;
    pid_t sshd_pid_ = -1;
    int saved_netns_fd_ = -1;
};

#endif
