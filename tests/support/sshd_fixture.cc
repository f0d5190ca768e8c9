#include "sshd_fixture.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sched.h>
#include <sys/prctl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "admin_command.h"
#include "leftover_guard.h"
#include "leftover_names.h"
#include "plink_home.h"
#include "sshd_fixture_process.h"

namespace {

const char kSshd[] = "/usr/sbin/sshd";
const char kSshKeygen[] = "/usr/bin/ssh-keygen";
const char kPrivsepDir[] = "/run/sshd";
const char kNetnsDir[] = "/run/netns/";
const char kOwnAddress[] = "127.0.0.1";  // always listened on
const int kPortWaitSeconds = 15;
const char kShellFilesSuffix[] = ".d";  // the login shell's companion directory, copied along with it

std::atomic<int> g_instances{0};

void SleepMs(int ms) { usleep(static_cast<useconds_t>(ms) * 1000); }

bool WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    return static_cast<bool>(out);
}

// Parent pid and owner of every running process.
struct ProcessInfo {
    pid_t ppid = 0;
    uid_t uid = 0;
    bool zombie = false;
};

bool ReadProcess(pid_t pid, ProcessInfo* info) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    bool have_ppid = false, have_uid = false;
    for (std::string line; std::getline(status, line);) {
        std::istringstream fields(line);
        std::string key;
        fields >> key;
        if (key == "State:") info->zombie = line.find("zombie") != std::string::npos;
        if (key == "PPid:") have_ppid = static_cast<bool>(fields >> info->ppid);
        if (key == "Uid:") have_uid = static_cast<bool>(fields >> info->uid);
    }
    return have_ppid && have_uid;
}

std::map<pid_t, ProcessInfo> ListProcesses() {
    std::map<pid_t, ProcessInfo> processes;
    DIR* proc = opendir("/proc");
    for (struct dirent* entry = proc ? readdir(proc) : nullptr; entry; entry = readdir(proc)) {
        pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
        ProcessInfo info;
        if (pid > 0 && ReadProcess(pid, &info) && !info.zombie) processes[pid] = info;
    }
    if (proc) closedir(proc);
    return processes;
}

// The descendants of `root` and the processes owned by `uid` (none when `uid` is 0).
std::set<pid_t> SessionProcesses(pid_t root, uid_t uid) {
    std::map<pid_t, ProcessInfo> processes = ListProcesses();
    std::set<pid_t> found;
    for (const auto& entry : processes) {
        if (uid != 0 && entry.second.uid == uid) found.insert(entry.first);
    }
    for (bool grew = root > 0; grew;) {
        grew = false;
        for (const auto& entry : processes) {
            bool child = entry.second.ppid == root || found.count(entry.second.ppid);
            if (child && found.insert(entry.first).second) grew = true;
        }
    }
    found.erase(getpid());
    return found;
}

// The members of `pids` that still run.
std::set<pid_t> StillRunning(const std::set<pid_t>& pids) {
    std::map<pid_t, ProcessInfo> processes = ListProcesses();
    std::set<pid_t> running;
    for (pid_t pid : pids) {
        if (processes.count(pid)) running.insert(pid);
    }
    return running;
}

void StopServer(pid_t pid) {
    int status = 0;
    kill(pid, SIGTERM);
    for (int i = 0; i < 30; ++i) {
        if (waitpid(pid, &status, WNOHANG) == pid) return;
        SleepMs(100);
    }
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
}

void KillAll(const std::set<pid_t>& pids, int signal) {
    for (pid_t pid : pids) kill(pid, signal);
}

// Probes 127.0.0.1:22 from a child that has joined the namespace.
bool PortOpenIn(const std::string& netns) {
    pid_t pid = fork();
    if (pid == 0) {
        int ns = open((kNetnsDir + netns).c_str(), O_RDONLY | O_CLOEXEC);
        if (ns < 0 || setns(ns, CLONE_NEWNET) != 0) _exit(2);
        int sock = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(22);
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        _exit(connect(sock, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) == 0 ? 0 : 1);
    }
    int status = 0;
    return pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

SshdFixture::SshdFixture() {
    int n = ++g_instances;
    std::string id = std::to_string(getpid()) + "-" + std::to_string(n);
    netns_ = NetnsName(getpid(), n);
    user_ = AccountName(getpid(), n);
    password_ = "Nap-" + id + "-pw";
}

SshdFixture::~SshdFixture() { Stop(); }

bool SshdFixture::Fail(const std::string& message) {
    error_ = message;
    return false;
}

bool SshdFixture::Start(const std::string& shell_program) {
    if (geteuid() != 0) return Fail("needs root");
    if (!GuardLeftovers()) return Fail("cannot start the leftover guard");
    return MakeDirectories() && InstallShell(shell_program) && CreateAccount() && WriteServerFiles() &&
           CreateNamespace() && StartServer() && WaitForPort();
}

bool SshdFixture::MakeDirectories() {
    std::string pattern = SshdDirPattern();
    if (!mkdtemp(&pattern[0])) return Fail("mkdtemp failed");
    root_ = pattern;
    client_home_ = root_ + "/client-home";
    shell_dir_ = root_ + "/shell";
    user_home_ = root_ + "/home";
    config_ = root_ + "/sshd_config";
    sshd_log_ = root_ + "/sshd.log";
    bool made = chmod(root_.c_str(), 0755) == 0 && CreatePlinkHome(client_home_) &&
                mkdir(shell_dir_.c_str(), 0755) == 0;
    return made || Fail("cannot create the directories under " + root_);
}

bool SshdFixture::InstallShell(const std::string& shell_program) {
    namespace fs = std::filesystem;
    shell_path_ = shell_dir_ + "/" + fs::path(shell_program).filename().string();
    std::error_code error;
    fs::copy_file(shell_program, shell_path_, fs::copy_options::overwrite_existing, error);
    if (error) return Fail("cannot copy " + shell_program + ": " + error.message());
    if (chmod(shell_path_.c_str(), 0755) != 0) return Fail("cannot chmod " + shell_path_);
    return InstallShellFiles(shell_program);
}

// The program's companion directory, PROGRAM.d (the simulated host's bin directory and shell start-up
// file), copied as it is: links stay links, so those relative to the program point at the copy. Owned by
// root and readable by all, like a host's /bin: the account runs its commands but cannot change them.
bool SshdFixture::InstallShellFiles(const std::string& shell_program) {
    namespace fs = std::filesystem;
    std::string source = shell_program + kShellFilesSuffix;
    std::error_code error;
    if (!fs::is_directory(source, error)) return true;
    fs::copy(source, shell_path_ + kShellFilesSuffix,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    return !error || Fail("cannot copy " + source + ": " + error.message());
}

bool SshdFixture::CreateAccount() {
    std::string output;
    std::vector<std::string> useradd = {"/usr/sbin/useradd", "-m", "-d", user_home_, "-s", shell_path_, user_};
    if (RunAdminRetryingLocks(useradd, "", &output) != 0) return Fail(CommandText(useradd) + ": " + output);
    account_created_ = true;
    std::vector<std::string> chpasswd = {"/usr/sbin/chpasswd"};
    if (RunAdminRetryingLocks(chpasswd, user_ + ":" + password_ + "\n", &output) != 0) {
        return Fail("chpasswd: " + output);
    }
    struct passwd* account = getpwnam(user_.c_str());
    if (!account) return Fail("no passwd entry for " + user_);
    bool owned = chown(shell_dir_.c_str(), account->pw_uid, account->pw_gid) == 0;
    return owned || Fail("cannot chown " + shell_dir_);
}

bool SshdFixture::GenerateHostKey() {
    std::string output;
    unlink(host_key_.c_str());
    unlink((host_key_ + ".pub").c_str());
    std::vector<std::string> keygen = {kSshKeygen, "-q", "-t", "ed25519", "-N", "", "-C", "", "-f", host_key_};
    return RunAdmin(keygen, "", &output) == 0 || Fail("ssh-keygen: " + output);
}

// LogLevel VERBOSE: every connection is logged, and every password tried ("Accepted password for",
// "Failed password for").
bool SshdFixture::WriteServerFiles() {
    host_key_ = root_ + "/ssh_host_ed25519_key";
    if (!GenerateHostKey()) return false;
    std::string config =
        "ListenAddress 127.0.0.1\nPort 22\nHostKey " + host_key_ + "\nPidFile " + root_ + "/sshd.pid\n" +
        AuthenticationConfig() + "PubkeyAuthentication no\n"
        "PermitRootLogin no\nAllowUsers " + user_ + "\nStrictModes no\n"
        "PrintMotd no\nPrintLastLog no\nUseDNS no\nAuthorizedKeysFile none\n"
        "X11Forwarding no\nAllowTcpForwarding no\nAllowAgentForwarding no\nPermitTunnel no\n"
        "MaxStartups 50\nLoginGraceTime 60\nLogLevel VERBOSE\n";
    for (const std::string& entry : session_env_) config += "SetEnv " + entry + "\n";
    config += ListenAddressConfig();
    mkdir(kPrivsepDir, 0755);
    return WriteFile(config_, config) || Fail("cannot write " + config_);
}

// The server is stopped and started again rather than sent SIGHUP: a probe of the port cannot then reach a
// listener that still holds the old key.
bool SshdFixture::ReplaceHostKey() {
    if (sshd_pid_ <= 0) return Fail("sshd is not running");
    StopServer(sshd_pid_);
    sshd_pid_ = -1;
    return GenerateHostKey() && StartServer() && WaitForPort();
}

std::vector<pid_t> SshdFixture::AccountProcesses() const {
    struct passwd* account = account_created_ ? getpwnam(user_.c_str()) : nullptr;
    std::vector<pid_t> pids;
    if (!account) return pids;
    for (const auto& entry : ListProcesses()) {
        if (entry.second.uid == account->pw_uid) pids.push_back(entry.first);
    }
    return pids;
}

// The further addresses (127.0.0.1 is there already), and a Match block per address for its session environment (Match blocks last).
std::string SshdFixture::ListenAddressConfig() const {
    std::string listen, match;
    for (const auto& address : listen_addresses_) {
        if (address.first != kOwnAddress) listen += "ListenAddress " + address.first + "\n";
        match += "Match LocalAddress " + address.first + "\n";
        for (const std::string& entry : address.second) match += "    SetEnv " + entry + "\n";
    }
    return listen + match;
}

// Password or keyboard-interactive authentication, and the banner.
std::string SshdFixture::AuthenticationConfig() {
    std::string config = keyboard_interactive_
                             ? "PasswordAuthentication no\nKbdInteractiveAuthentication yes\nUsePAM yes\n"
                             : "PasswordAuthentication yes\nKbdInteractiveAuthentication no\nUsePAM no\n";
    if (banner_.empty()) return config + "Banner none\n";
    std::string banner = root_ + "/banner";
    WriteFile(banner, banner_);  // unreadable, sshd sends no banner and the test sees it
    return config + "Banner " + banner + "\n";
}

bool SshdFixture::CreateNamespace() {
    std::string output;
    std::vector<std::string> add = {IpPath(), "netns", "add", netns_};
    if (RunAdmin(add, "", &output) != 0) return Fail(CommandText(add) + ": " + output);
    netns_created_ = true;
    std::vector<std::string> up = InNamespace({IpPath(), "link", "set", "lo", "up"});
    if (RunAdmin(up, "", &output) != 0) return Fail(CommandText(up) + ": " + output);
    return true;
}

bool SshdFixture::StartServer() {
    std::vector<std::string> argv = InNamespace({kSshd, "-D", "-e", "-f", config_});
    int log = open(sshd_log_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (log < 0) return Fail("cannot create " + sshd_log_);
    sshd_pid_ = fork();
    if (sshd_pid_ == 0) {
        setsid();
        prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test process killed outright takes its server along
        int null = open("/dev/null", O_RDONLY);
        dup2(null, 0);
        dup2(log, 1);
        dup2(log, 2);
        std::vector<char*> args;
        for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(log);
    return sshd_pid_ > 0 || Fail("fork failed");
}

bool SshdFixture::WaitForPort() {
    for (int tries = 0; tries < kPortWaitSeconds * 10; ++tries) {
        if (PortOpenIn(netns_)) return true;
        int status = 0;
        if (waitpid(sshd_pid_, &status, WNOHANG) == sshd_pid_) {
            sshd_pid_ = -1;
            return Fail("sshd exited: " + ReadSshdLog());
        }
        SleepMs(100);
    }
    return Fail("sshd does not accept connections: " + ReadSshdLog());
}

std::string SshdFixture::ReadSshdLog() const {
    std::ifstream in(sshd_log_);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> SshdFixture::client_env() const { return PlinkEnvironment(client_home_); }

void SshdFixture::UseClientEnv() const { UsePlinkEnvironment(client_home_); }

std::string SshdFixture::host_key_cache() const { return PlinkHostKeys(client_home_); }

bool SshdFixture::WaitForSshdLog(const std::string& text, double seconds) const {
    for (int tries = 0; tries < seconds * 10; ++tries) {
        if (ReadSshdLog().find(text) != std::string::npos) return true;
        SleepMs(100);
    }
    return ReadSshdLog().find(text) != std::string::npos;
}

std::vector<std::string> SshdFixture::InNamespace(const std::vector<std::string>& argv) const {
    std::vector<std::string> full = {IpPath(), "netns", "exec", netns_};
    full.insert(full.end(), argv.begin(), argv.end());
    return full;
}

bool SshdFixture::EnterNamespace() {
    if (saved_netns_fd_ >= 0) return true;
    int target = open((kNetnsDir + netns_).c_str(), O_RDONLY | O_CLOEXEC);
    if (target < 0) return Fail("cannot open the namespace " + netns_);
    saved_netns_fd_ = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    bool entered = saved_netns_fd_ >= 0 && setns(target, CLONE_NEWNET) == 0;
    close(target);
    if (!entered) LeaveNamespace();
    return entered || Fail("setns into " + netns_ + " failed");
}

bool SshdFixture::LeaveNamespace() {
    if (saved_netns_fd_ < 0) return true;
    bool left = setns(saved_netns_fd_, CLONE_NEWNET) == 0;
    close(saved_netns_fd_);
    saved_netns_fd_ = -1;
    return left;
}

void SshdFixture::Stop() {
    LeaveNamespace();
    StopProcesses();
    DeleteAccount();
    DeleteNamespace();
    std::error_code ignored;
    if (!root_.empty()) std::filesystem::remove_all(root_, ignored);
    root_.clear();
}

// sshd first (no new sessions), then its session processes and whatever runs as the test account.
void SshdFixture::StopProcesses() {
    struct passwd* account = account_created_ ? getpwnam(user_.c_str()) : nullptr;
    uid_t uid = account ? account->pw_uid : 0;
    std::set<pid_t> sessions = SessionProcesses(sshd_pid_, uid);
    if (sshd_pid_ > 0) StopServer(sshd_pid_);
    sshd_pid_ = -1;
    for (int round = 0; round < 20 && !sessions.empty(); ++round) {
        KillAll(sessions, round < 10 ? SIGTERM : SIGKILL);
        SleepMs(100);
        std::set<pid_t> more = SessionProcesses(-1, uid);
        sessions.insert(more.begin(), more.end());
        sessions = StillRunning(sessions);
    }
}

void SshdFixture::DeleteAccount() {
    if (!account_created_) return;
    std::string output;
    RunAdminRetryingLocks({"/usr/sbin/userdel", "-r", "-f", user_}, "", &output);
    account_created_ = false;
}

void SshdFixture::DeleteNamespace() {
    if (!netns_created_) return;
    std::string output;
    RunAdmin({IpPath(), "netns", "del", netns_}, "", &output);
    netns_created_ = false;
}
