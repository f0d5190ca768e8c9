#include "plink_home.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>

namespace {

bool MakeDirectory(const std::string& path) {
    return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

std::string SettingsDir(const std::string& home) { return home + "/.putty"; }

}  // namespace

bool CreatePlinkHome(const std::string& home) {
    return MakeDirectory(home) && MakeDirectory(SettingsDir(home)) && MakeDirectory(home + "/.config");
}

std::vector<std::string> PlinkEnvironment(const std::string& home) {
    return {"HOME=" + home, "PUTTYDIR=" + SettingsDir(home), "XDG_CONFIG_HOME=" + home + "/.config",
            "KRB5CCNAME=FILE:" + home + "/krb5cc"};
}

void UsePlinkEnvironment(const std::string& home) {
    for (const std::string& entry : PlinkEnvironment(home)) {
        size_t equals = entry.find('=');
        setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
    }
}

std::string PlinkHostKeys(const std::string& home) { return SettingsDir(home) + "/sshhostkeys"; }
