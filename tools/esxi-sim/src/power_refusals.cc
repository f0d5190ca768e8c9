#include "power_refusals.h"

#include "fault_dump.h"

namespace esxisim {

namespace {

const char kPowerOnFailed[] = "Power on failed";
const char kInvalidState[] = "vim.fault.InvalidState";

std::string Refused(const VersionProfile& profile, const char* failed, const char* type, const char* msg) {
    switch (profile.refusals) {
        case RefusalStyle::kFaultDump: return FaultDump(type, msg);
        case RefusalStyle::kFailedLine: return std::string(failed) + "\n";
        case RefusalStyle::kFailedWithFault: return FailedWithFault(failed, type, msg);
    }
    return "";
}

}  // namespace

std::string PowerOnRefused(const VersionProfile& profile) {
    return Refused(profile, kPowerOnFailed, kInvalidState, kInvalidStateMessage);
}

}  // namespace esxisim
