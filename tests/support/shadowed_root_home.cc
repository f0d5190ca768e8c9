#include "shadowed_root_home.h"

#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

const char kForeignHostKeyLine[] =
    "ssh-ed25519@22:127.0.0.1 0x33563b88698fc0d1ed1069e3776d424e206a393aeca592a9dd6a3a4402d1350,"
    "0x51298a0549914758e72aca9cafa3b9aa813d4d6032fdce62baf927f8eaa3e8e8\n";

namespace {

std::string RandomSeed() {
    std::string seed;
    for (int i = 0; i < 128; ++i) seed += static_cast<char>((i * 37 + 11) & 0xff);
    return seed;
}

}  // namespace

ShadowedRootHome::~ShadowedRootHome() {
    if (saved_mount_ns_ < 0) return;
    if (setns(saved_mount_ns_, CLONE_NEWNS) != 0) umount2(home_.c_str(), MNT_DETACH);
    close(saved_mount_ns_);
}

bool ShadowedRootHome::Fail(const std::string& message) {
    error_ = message;
    return false;
}

bool ShadowedRootHome::Plant() {
    struct passwd* root = getpwuid(0);
    if (!root) return Fail("no passwd entry for uid 0");
    home_ = root->pw_dir;
    std::string shadow = dir_.file("root-home");
    if (mkdir(shadow.c_str(), 0700) != 0) return Fail("cannot create " + shadow);
    saved_mount_ns_ = open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC);
    if (saved_mount_ns_ < 0 || unshare(CLONE_NEWNS) != 0) return Fail("cannot enter a mount namespace");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return Fail("cannot make / private");
    if (mount(shadow.c_str(), home_.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        return Fail("cannot mount on " + home_);
    }
    if (!WriteFiles()) return Fail("cannot write the files under " + home_);
    planted_ = Files();
    return true;
}

bool ShadowedRootHome::WriteFiles() {
    std::string putty = home_ + "/.putty", config = home_ + "/.config", xdg = config + "/putty";
    for (const std::string& dir : {putty, config, xdg}) {
        if (mkdir(dir.c_str(), 0700) != 0) return false;
    }
    return WriteWholeFile(putty + "/sshhostkeys", kForeignHostKeyLine) &&
           WriteWholeFile(putty + "/randomseed", RandomSeed()) &&
           WriteWholeFile(xdg + "/sshhostkeys", kForeignHostKeyLine);
}

std::map<std::string, std::string> ShadowedRootHome::Files() const {
    namespace fs = std::filesystem;
    std::map<std::string, std::string> files;
    std::error_code error;
    for (fs::recursive_directory_iterator it(home_, error), end; !error && it != end; it.increment(error)) {
        std::string relative = fs::relative(it->path(), home_, error).string();
        files[relative] = it->is_directory() ? "<dir>" : ReadFile(it->path().string());
    }
    return files;
}
