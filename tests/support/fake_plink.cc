// fake_plink: a scripted stand-in for the plink SSH client, for tests.
//
// Installed as "plink" in a test's working directory, it follows the script
// "plink.script" of its working directory and leaves these files beside it:
//   plink.argv      its arguments, argv[0] first, each followed by "\n"
//   plink.pid       its process id and "\n"
//   plink.tty       "yes\n" when it started with a controlling terminal, else "no\n"
//   plink.fds       the descriptors it started with, each "N -> TARGET\n", in increasing order
//   plink.sigpipe   "default\n" or "ignored\n": how it started with SIGPIPE
//   plink.received  every byte read from its input, appended as it arrives
//   plink.signals   "TERM\n" for each SIGTERM received
// Input is read (and recorded) during sleep, expect and wait.
//
// Script: one command per line; blank lines and lines starting with '#' are
// skipped. TEXT may use the escapes \r \n \t \\ \xHH.
//   print TEXT        write TEXT to stdout in one write
//   eprint TEXT       write TEXT to stderr in one write
//   sleep SECONDS     pause (fractions allowed)
//   expect TEXT       wait until the input received after the previous match
//                     contains TEXT; exit 3 after the time limit, 4 at end of input
//   timeout SECONDS   time limit of later expects (default 30)
//   ignore-sigterm    from now on SIGTERM is recorded but does not end the program
//   tty-input         read input from the controlling terminal, when there is one
//   close-input       close stdin: later writes of the tool fail as into a gone client
//   wait              stay silent until a signal ends the program
//   exit N            end with status N (the end of the script is "exit 0")
//   lifetime SECONDS  end (by SIGALRM) that many seconds from now; the default is 120 from the start
// It also ends itself (status 5) within 0.1 s of its parent process going away.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>

namespace {

const unsigned kLifetimeSeconds = 120;
const int kSliceMs = 100;

volatile sig_atomic_t g_ignore_term = 0;
int g_signals_fd = -1;

struct Input {
    int fd = 0;
    bool open = true;
    int record_fd = -1;
    std::string received;
    size_t matched = 0;  // input before this offset is used up by earlier expects
    double expect_timeout = 30;
    pid_t parent = 0;
};

void on_term(int) {
    if (g_signals_fd != -1 && write(g_signals_fd, "TERM\n", 5) < 0) {
    }
    if (g_ignore_term) return;
    signal(SIGTERM, SIG_DFL);
    raise(SIGTERM);
}

int open_output(const char* name) { return open(name, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644); }

void write_file(const char* name, const std::string& text) {
    int fd = open_output(name);
    if (fd == -1) return;
    if (write(fd, text.data(), text.size()) < 0) {
    }
    close(fd);
}

bool has_terminal() {
    int fd = open("/dev/tty", O_RDONLY | O_NOCTTY);
    if (fd == -1) return false;
    close(fd);
    return true;
}

// Read before this program opens anything of its own.
std::string open_descriptors() {
    std::map<int, std::string> open;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == NULL) return "";
    while (struct dirent* entry = readdir(dir)) {
        int fd = atoi(entry->d_name);
        if (entry->d_name[0] == '.' || fd == dirfd(dir)) continue;
        char target[4096] = {0};
        std::string link = std::string("/proc/self/fd/") + entry->d_name;
        if (readlink(link.c_str(), target, sizeof(target) - 1) < 0) target[0] = '\0';
        open[fd] = target;
    }
    closedir(dir);
    std::string text;
    for (const auto& entry : open) text += std::to_string(entry.first) + " -> " + entry.second + "\n";
    return text;
}

std::string sigpipe_disposition() {
    struct sigaction current;
    if (sigaction(SIGPIPE, NULL, &current) != 0) return "unknown\n";
    return current.sa_handler == SIG_IGN ? "ignored\n" : "default\n";
}

void record_start(int argc, char** argv) {
    std::string fds = open_descriptors();
    write_file("plink.fds", fds);
    write_file("plink.sigpipe", sigpipe_disposition());
    std::string args;
    for (int i = 0; i < argc; ++i) args += std::string(argv[i]) + "\n";
    write_file("plink.argv", args);
    write_file("plink.pid", std::to_string(getpid()) + "\n");
    write_file("plink.tty", has_terminal() ? "yes\n" : "no\n");
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string unescape(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c != '\\' || i + 1 == text.size()) {
            out += c;
            continue;
        }
        char e = text[++i];
        if (e == 'r') out += '\r';
        else if (e == 'n') out += '\n';
        else if (e == 't') out += '\t';
        else if (e == 'x' && i + 2 < text.size() && hex_value(text[i + 1]) >= 0 &&
                 hex_value(text[i + 2]) >= 0) {
            out += static_cast<char>(hex_value(text[i + 1]) * 16 + hex_value(text[i + 2]));
            i += 2;
        } else out += e;
    }
    return out;
}

double now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

void write_all(int fd, const std::string& text) {
    if (write(fd, text.data(), text.size()) < 0) {
    }
}

// Reads whatever arrives within one slice and records it.
void read_slice(Input& in) {
    if (getppid() != in.parent) _exit(5);
    if (!in.open) {
        usleep(kSliceMs * 1000);
        return;
    }
    struct pollfd pfd = {in.fd, POLLIN, 0};
    if (poll(&pfd, 1, kSliceMs) <= 0) return;
    char buf[4096];
    ssize_t n = read(in.fd, buf, sizeof(buf));
    if (n <= 0) {
        if (n < 0 && errno == EINTR) return;
        in.open = false;
        return;
    }
    in.received.append(buf, static_cast<size_t>(n));
    write_all(in.record_fd, std::string(buf, static_cast<size_t>(n)));
}

void pause_for(Input& in, double seconds) {
    double until = now() + seconds;
    while (now() < until) read_slice(in);
}

void expect(Input& in, const std::string& text) {
    double until = now() + in.expect_timeout;
    for (;;) {
        size_t pos = in.received.find(text, in.matched);
        if (pos != std::string::npos) {
            in.matched = pos + text.size();
            return;
        }
        if (!in.open) {
            write_all(2, "fake_plink: input closed while expecting: " + text + "\n");
            _exit(4);
        }
        if (now() >= until) {
            write_all(2, "fake_plink: expect timed out: " + text + "\n");
            _exit(3);
        }
        read_slice(in);
    }
}

void use_terminal(Input& in) {
    int fd = open("/dev/tty", O_RDONLY | O_NOCTTY);
    if (fd != -1) in.fd = fd;
}

void close_input(Input& in) {
    close(0);
    if (in.fd == 0) in.open = false;
}

// Runs one script line; false for an unknown command.
bool run_line(Input& in, const std::string& line) {
    size_t space = line.find(' ');
    std::string cmd = line.substr(0, space);
    std::string arg = space == std::string::npos ? "" : line.substr(space + 1);
    if (cmd == "print") write_all(1, unescape(arg));
    else if (cmd == "eprint") write_all(2, unescape(arg));
    else if (cmd == "sleep") pause_for(in, atof(arg.c_str()));
    else if (cmd == "expect") expect(in, unescape(arg));
    else if (cmd == "timeout") in.expect_timeout = atof(arg.c_str());
    else if (cmd == "ignore-sigterm") g_ignore_term = 1;
    else if (cmd == "tty-input") use_terminal(in);
    else if (cmd == "close-input") close_input(in);
    else if (cmd == "wait") for (;;) pause_for(in, 1);
    else if (cmd == "exit") _exit(atoi(arg.c_str()));
    else if (cmd == "lifetime") alarm(static_cast<unsigned>(atoi(arg.c_str())));
    else return false;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    alarm(kLifetimeSeconds);
    Input in;
    in.parent = getppid();
    record_start(argc, argv);
    g_signals_fd = open_output("plink.signals");
    in.record_fd = open_output("plink.received");
    signal(SIGTERM, on_term);
    std::ifstream script("plink.script");
    if (!script) {
        write_all(2, "fake_plink: no plink.script in the working directory\n");
        return 2;
    }
    std::string line;
    while (std::getline(script, line)) {
        if (line.empty() || line[0] == '#') continue;
        if (!run_line(in, line)) {
            write_all(2, "fake_plink: unknown script command: " + line + "\n");
            return 2;
        }
    }
    _exit(0);
}
