// A temporary working directory with the scripted stand-in client installed
// as "./plink" (see fake_plink.cc for the script commands and the files it
// leaves behind).
//
//   FakePlinkDir dir;
//   dir.WriteScript({"print root@host's password: ", "expect secret\\n", "wait"});
//   dir.Enter();                  // chdir into it; Leave() or the destructor go back
//   ... run the code under test, which starts ./plink ...
//   EXPECT_EQ("secret\n", dir.Received());
#ifndef VMNAP_TEST_SUPPORT_FAKE_PLINK_DIR_H
#define VMNAP_TEST_SUPPORT_FAKE_PLINK_DIR_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "temp_dir.h"

class FakePlinkDir {
public:
    FakePlinkDir();  // links the built stand-in as <dir>/plink
    ~FakePlinkDir();
    FakePlinkDir(const FakePlinkDir&) = delete;
    FakePlinkDir& operator=(const FakePlinkDir&) = delete;

    const std::string& path() const { return dir_.path(); }
    const TempDir& dir() const { return dir_; }
    std::string plink_path() const { return dir_.file("plink"); }

    // plink.script: one command per element, each written as its own line.
    void WriteScript(const std::vector<std::string>& lines) const;

    void Enter();  // chdir into the directory
    void Leave();  // back to the directory of Enter(); harmless when not entered

    std::string Received() const;           // plink.received
    std::vector<std::string> Argv() const;  // plink.argv, argv[0] first
    std::string Signals() const;            // plink.signals: "TERM\n" per SIGTERM
    bool StartedWithTerminal() const;       // plink.tty
    pid_t Pid() const;                      // plink.pid; 0 when not started yet
    std::string Descriptors() const;        // plink.fds: "N -> TARGET\n" per descriptor at start
    std::string SigpipeAtStart() const;     // plink.sigpipe: "default\n" or "ignored\n"

    // The VmNap executable `exe` run here with the login the scripts of esxi_script.h expect:
    // "-host esx -usr root -pwd secret -mode MODE EXTRA...".
    ProgramRun ToolRun(const std::string& exe, const std::string& mode,
                       const std::vector<std::string>& extra = {}) const;

    // Polls plink.received until it contains `text`; false after `seconds`.
    bool WaitForReceived(const std::string& text, double seconds) const;

private:
    TempDir dir_;
    std::string previous_;
};

// Escapes CR, LF, TAB and backslash for a script's TEXT argument, and a
// trailing space as \x20 so it survives editors and line handling.
std::string PlinkScriptText(const std::string& raw);

// Script lines for raw texts: "print ...", "eprint ...", "expect ...".
std::string ScriptPrint(const std::string& raw);
std::string ScriptEprint(const std::string& raw);
std::string ScriptExpect(const std::string& raw);

// Path of the built stand-in client.
std::string FakePlinkPath();

#endif
