// A private home for plink, so that a test or the demo reads and writes no settings, host keys or random
// seed of the user running it.
//
// plink (putty-tools 0.78) keeps all three in one directory, traced with strace:
//   - $PUTTYDIR when it is set (created when missing);
//   - otherwise the first that exists of $XDG_CONFIG_HOME/putty (or $HOME/.config/putty), $HOME/.putty,
//     the home directory of the passwd entry + "/.putty", and "/.putty";
//   - otherwise $HOME/.putty, created on the first write.
// So a HOME without .putty still reaches /root/.putty when that exists, and plink then meets root's cached
// keys and writes root's randomseed. A plink home sets all of these and creates the directories first:
//
//   CreatePlinkHome(dir + "/client-home");
//   plink.Start(argv, PlinkEnvironment(dir + "/client-home"));   // a child's environment, or
//   UsePlinkEnvironment(dir + "/client-home");                   // this process's, for code that starts plink
#ifndef VMNAP_TEST_SUPPORT_PLINK_HOME_H
#define VMNAP_TEST_SUPPORT_PLINK_HOME_H

#include <string>
#include <vector>

// Creates `home` and, inside it, .putty and .config (each mode 0700); false when one cannot be created.
bool CreatePlinkHome(const std::string& home);

// HOME, PUTTYDIR (home/.putty), XDG_CONFIG_HOME (home/.config) and KRB5CCNAME (a file in home, for the
// GSSAPI credential cache plink looks for) as "NAME=value" entries.
std::vector<std::string> PlinkEnvironment(const std::string& home);

// Sets the entries of PlinkEnvironment(home) in this process's environment.
void UsePlinkEnvironment(const std::string& home);

// The host-key cache plink writes under `home`.
std::string PlinkHostKeys(const std::string& home);

#endif
