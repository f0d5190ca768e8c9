#include "power_refusals.h"

#include "fault_dump.h"

namespace esxisim {

namespace {

const char kPowerOnFailed[] = "Power on failed";
const char kSuspendFailed[] = "Suspend failed";
const char kInvalidState[] = "vim.fault.InvalidState";
// No real refusal of a passthrough VM's suspend was found (README); this is the API's fault for an operation
// the object does not support, with that fault's usual message.
const char kNotSupported[] = "vmodl.fault.NotSupported";
const char kNotSupportedMessage[] = "The operation is not supported on the object.";

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

std::string SuspendRefused(const VersionProfile& profile) {
    return Refused(profile, kSuspendFailed, kNotSupported, kNotSupportedMessage);
}

}  // namespace esxisim
