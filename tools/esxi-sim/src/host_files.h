// What the simulated host's shell needs beside the esxi-sim executable, in the directory "PROGRAM.d":
//   bin/    the host's commands, the shell's whole PATH: vim-cmd, vmware, hostname and esxcli (links to
//           PROGRAM, which runs as the one it is started under) and the busybox applets a host has (links to
//           busybox)
//   shrc    the interactive shell's ENV file
// The build makes it beside the built executable (esxi-sim-install); the sshd fixture copies it along with
// the executable.
#ifndef ESXI_SIM_HOST_FILES_H
#define ESXI_SIM_HOST_FILES_H

#include <string>
#include <vector>

namespace esxisim {

std::string HostFilesDir(const std::string& program);  // "PROGRAM.d"
std::string HostBinDir(const std::string& program);    // "PROGRAM.d/bin"
std::string ShellRcPath(const std::string& program);   // "PROGRAM.d/shrc"

// The busybox applets of a host's shell that Debian's busybox may provide, sorted.
const std::vector<std::string>& HostApplets();

// Replaces HostFilesDir(program) by a new one; the applets of HostApplets() that `busybox` holds are linked.
// False with `error` set on failure.
bool InstallHostFiles(const std::string& program, const std::string& busybox, std::string* error);

}  // namespace esxisim

#endif
