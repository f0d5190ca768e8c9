#include "fault_dump.h"

#include <utility>
#include <vector>

namespace esxisim {

const char kInvalidStateMessage[] = "The operation is not allowed in the current state.";

namespace {

using Field = std::pair<std::string, std::string>;  // name, value as printed

const char kNotFoundMessage[] = "Unable to find a VM corresponding to ";
// Coraid's "otto" esx.py and the vSphere API reference (vim.fault.ToolsUnavailable).
const char kToolsUnavailableMessage[] =
    "Cannot complete operation because VMware Tools is not running in this virtual machine.";
const char kInvalidPowerStateMessage[] = "The attempted operation cannot be performed in the current state ";

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

// Every field on its own line, indented by three blanks and ended by ", " (as ESXi 5.x prints it).
std::string Dump(const std::string& type, const std::vector<Field>& fields) {
    std::string text = "(" + type + ") {\n";
    text += "   dynamicType = <unset>, \n";
    text += "   faultCause = (vmodl.MethodFault) null, \n";
    for (const Field& field : fields) text += "   " + field.first + " = " + field.second + ", \n";
    return text + "}\n";
}

const char* VimPowerState(PowerState state) {
    switch (state) {
        case PowerState::kOn: return "poweredOn";
        case PowerState::kOff: return "poweredOff";
        case PowerState::kSuspended: return "suspended";
    }
    return "";
}

const char* StateInMessage(PowerState state) {
    switch (state) {
        case PowerState::kOn: return "(Powered On).";
        case PowerState::kOff: return "(Powered Off).";
        case PowerState::kSuspended: return "(Suspended).";
    }
    return "";
}

}  // namespace

std::string NotFoundFault(const std::string& vm_id) {
    return Dump("vim.fault.NotFound", {{"msg", Quoted(kNotFoundMessage + Quoted(vm_id))}});
}

std::string InvalidPowerStateFault(PowerState requested, PowerState existing) {
    return Dump("vim.fault.InvalidPowerState",
                {{"requestedState", Quoted(VimPowerState(requested))},
                 {"existingState", Quoted(VimPowerState(existing))},
                 {"msg", Quoted(kInvalidPowerStateMessage + std::string(StateInMessage(existing)))}});
}

std::string InvalidStateFault() { return FaultDump("vim.fault.InvalidState", kInvalidStateMessage); }

std::string ToolsUnavailableFault() { return FaultDump("vim.fault.ToolsUnavailable", kToolsUnavailableMessage); }

std::string FaultDump(const std::string& type, const std::string& msg) { return Dump(type, {{"msg", Quoted(msg)}}); }

// The fields between the brace and the message are not known from a real transcript (README); the message
// is the last field, without a comma, as in the ESXi 9.0 transcript of a refused power-on.
std::string FailedWithFault(const std::string& failed, const std::string& type, const std::string& msg) {
    return failed + ": (" + type + ") {\n" + "   faultCause = (vmodl.MethodFault) null,\n" + "   msg = " + Quoted(msg) +
           "\n}\n";
}

}  // namespace esxisim
