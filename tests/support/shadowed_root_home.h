// Root's home directory as an operator's machine may have it: a plink configuration whose host-key cache
// holds another key for 127.0.0.1 port 22 (what root has after once running plink against some other local
// server). For this process and the children it starts afterwards, a directory of the test's takes the
// place of root's home (a private mount namespace); other processes on the machine, and root's real files,
// never see it.
//
//   ShadowedRootHome root;                  // declared before the fixtures, so it is undone last
//   ASSERT_TRUE(root.Plant()) << root.error();
//   ... log in through plink ...
//   EXPECT_EQ(root.planted(), root.Files());
#ifndef VMNAP_TEST_SUPPORT_SHADOWED_ROOT_HOME_H
#define VMNAP_TEST_SUPPORT_SHADOWED_ROOT_HOME_H

#include <map>
#include <string>

#include "temp_dir.h"

class ShadowedRootHome {
public:
    ShadowedRootHome() = default;
    ~ShadowedRootHome();  // back to the mount namespace this process came from
    ShadowedRootHome(const ShadowedRootHome&) = delete;
    ShadowedRootHome& operator=(const ShadowedRootHome&) = delete;

    // Enters a private mount namespace, mounts a fresh directory on root's home directory and writes
    // .putty/sshhostkeys, .putty/randomseed and .config/putty/sshhostkeys into it.
    bool Plant();

    // Every directory (content "<dir>") and file below root's home, by path relative to it, byte for byte.
    std::map<std::string, std::string> Files() const;
    const std::map<std::string, std::string>& planted() const { return planted_; }  // Files() after Plant()

    const std::string& home() const { return home_; }  // root's home directory, from the passwd entry
    const std::string& error() const { return error_; }

private:
    bool Fail(const std::string& message);
    bool WriteFiles();

    TempDir dir_;
    std::string home_, error_;
    std::map<std::string, std::string> planted_;
    int saved_mount_ns_ = -1;
};

// A line of plink's host-key cache for 127.0.0.1 port 22 holding an ed25519 key that no test server has.
extern const char kForeignHostKeyLine[];

#endif
