#include "version_profile.h"

#include "profiles/profiles.h"

namespace esxisim {

namespace {

// Oldest first; one line per profile.
const VersionProfile* const kProfiles[] = {&kEsxi55, &kEsxi67, &kEsxi70, &kEsxi80};

}  // namespace

const VersionProfile* FindProfile(const std::string& version) {
    for (const VersionProfile* profile : kProfiles) {
        if (version == profile->version) return profile;
    }
    return nullptr;
}

// No lookup: a HostState may be built before the profiles' vectors are (static initialisation).
const VersionProfile& DefaultProfile() { return kEsxi55; }

std::vector<std::string> ProfileVersions() {
    std::vector<std::string> versions;
    for (const VersionProfile* profile : kProfiles) versions.push_back(profile->version);
    return versions;
}

std::string VersionLine(const VersionProfile& profile) {
    return std::string("VMware ESXi ") + profile.product_version + " build-" + profile.build;
}

}  // namespace esxisim
