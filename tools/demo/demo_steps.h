// The demo's steps: printing what happens, and running VmNap inside the server's network namespace.
#ifndef VMNAP_DEMO_DEMO_STEPS_H
#define VMNAP_DEMO_DEMO_STEPS_H

#include <string>

#include "sshd_fixture.h"

// A heading: an empty line, then "== TEXT".
void Heading(const std::string& text);

// A line of explanation.
void Say(const std::string& text);

// `text` indented by four blanks, so files stand out from the narration.
void ShowText(const std::string& text);

// Links ./plink in `work_dir` to the system's plink; false (and a message) on failure.
bool LinkPlink(const std::string& work_dir);

// Runs "VmNap ... -mode MODE -D verbose" in `work_dir`, inside the server's namespace, with the
// server's account and the fixture's private plink home (nothing of root's own); prints the command, its
// output, its exit status and how long it took; returns the exit status.
int RunVmNap(const SshdFixture& sshd, const std::string& work_dir, const std::string& mode);

#endif
