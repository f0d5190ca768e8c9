#include "ESXiCliParser.h"

#include <string.h>

#include <string>
#include <vector>

#include "SshCommand.h"
#include "SshServer.h"
#include "VmTableRow.h"
#include "kel-tools-trace.h"
#include "shell_prompt.h"
#include "ssh_defines.h"

namespace SshSrv {

namespace {

const char* const kErrorTexts[] = {"not found", "Invalid command", "syntax error:"};
const char* const kShutdownRefusals[] = {"Cannot complete", "vim.fault.", "failed"};
// What vim-cmd prints while hostd has not started yet (a host that is booting).
const char* const kHostdUnreachable[] = {"Connect to localhost failed", "Failed to login:"};

const char* const kCommandFailed = "ESXi vim-cmd command failed\n";
const char* const kResponseError = "response contains error\n";
const char* const kParseLine = "parse line: %s\n";
const char* const kUnknownCommand = "can't parse response line: unknown command type\n";
const char* const kShowCommandsDone = "show commands executed successfully\n";
const char* const kVmStatusFound = "vm status found: %s\n";
const char* const kNoTableHeader = "the VM table has no header: not a VM listing\n";
const char* const kIdListedAgain = "VM id %s is listed again, the line is not a VM\n";

const char* const kHasErrorCatched = "ESXiCliParser::HasError error catched\n";
const char* const kShowCommandsCatched = "ESXiCliParser::ParseShowCommands error catched\n";
const char* const kGetAllVmsCatched = "ESXiCliParser::ParseGetAllVmsLine error catched\n";
const char* const kGetVmStatusCatched = "ESXiCliParser::ParseGetVmStatus error catched\n";
const char* const kGetMaintenanceCatched = "ESXiCliParser::ParseGetMaintenance error catched\n";

bool contains(const char* text, const char* needle) { return strstr(text, needle) != NULL; }

// The lines of a reply that hold text, prompt lines and blank lines left out.
std::vector<std::string> text_lines(const char* response) {
    std::vector<std::string> lines;
    for (const char* line = response; *line != '\0';) {
        const char* end = strchr(line, '\n');
        size_t length = end != NULL ? static_cast<size_t>(end - line) : strlen(line);
        std::string text(line, length);
        if (text.find_first_not_of(" \t\r") != std::string::npos && !is_prompt_line(text.c_str()))
            lines.push_back(text);
        line += length;
        if (*line == '\n') ++line;
    }
    return lines;
}

// One rule for the three power commands: the prompt as the reply's last line
// means done, the progress marker alone means the command still runs.
int parse_power_reply(const char* response, const char* marker) {
    if (ends_with_shell_prompt(response)) return SSH_SUCCESS;
    if (contains(response, marker)) return SSH_PARSER_IN_PROGRESS;
    return SSH_CLI_CMD_FAILED_ERR;
}

}  // namespace

int ESXiCliParser::Parse(const char* response, int command, SshServer* owner) {
    CliParser::Parse(response, command, owner);
    m_bTableHeaderSeen = false;
    m_tableIds.clear();
    switch (m_iCommand) {
        case SshCommand::SSH_CMD_ERROR:
            KelTrace(TRACE_DEBUG, "Parse", kCommandFailed);
            return SSH_CLI_CMD_FAILED_ERR;
        case ESXiCommand::ESX_CMD_SHOW_COMMANDS: return ParseShowCommands(response);
        case ESXiCommand::ESX_CMD_SUSPEND_VM: return ParseSuspendVm(response);
        case ESXiCommand::ESX_CMD_POWERON_VM: return ParsePowerOnVm(response);
        case ESXiCommand::ESX_CMD_POWEROFF_VM: return ParsePowerOffVm(response);
        case ESXiCommand::ESX_CMD_GET_MAINTENANCE: return ParseGetMaintenance(response);
        case ESXiCommand::ESX_CMD_GET_ALLVMS: return ParseGetAllVms(response);
        case ESXiCommand::ESX_CMD_SHUTDOWN_VM: return ParseShutdownVm(response);
        case ESXiCommand::ESX_CMD_POWEROFF_HOST: return ParsePowerOffHost(response);
        case ESXiCommand::ESX_CMD_STOP_SELF_VM: return ParseStopSelfVm(response);
        default: return ParseLines(response);
    }
}

bool ESXiCliParser::HasError(const char* response) const {
    for (const char* text : kErrorTexts) {
        if (!contains(response, text)) continue;
        try {
            KelTrace(TRACE_DEBUG, "HasError", kResponseError);
        } catch (...) {
            KelTrace(TRACE_ERROR, "HasError", kHasErrorCatched);
        }
        return true;
    }
    return false;
}

int ESXiCliParser::ParseLine(const char* line) {
    if (is_prompt_line(line)) return SSH_SUCCESS;
    KelTrace(TRACE_DEBUG, "ParseLine", kParseLine, line);
    if (m_iCommand == ESXiCommand::ESX_CMD_GET_ALLVMS) {
        ParseGetAllVmsLine(line);
        return SSH_SUCCESS;
    }
    if (m_iCommand == ESXiCommand::ESX_CMD_GET_VMSTATUS) {
        ParseGetVmStatusLine(line);
        return SSH_SUCCESS;
    }
    KelTrace(TRACE_ERROR, "ParseLine", kUnknownCommand);
    return SSH_INTERNAL_ERR;
}

int ESXiCliParser::ParseShowCommands(const char* response) {
    if (!contains(response, "Commands available")) return SSH_CLI_CMD_FAILED_ERR;
    try {
        KelTrace(TRACE_DEBUG, "ParseShowCommands", kShowCommandsDone);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, "ParseShowCommands", kShowCommandsCatched);
        return SSH_INTERNAL_ERR;
    }
}

int ESXiCliParser::ParseSuspendVm(const char* response) {
    return parse_power_reply(response, "Suspending VM:");
}

int ESXiCliParser::ParsePowerOnVm(const char* response) {
    return parse_power_reply(response, "Powering on VM:");
}

int ESXiCliParser::ParsePowerOffVm(const char* response) {
    return parse_power_reply(response, "Powering off VM:");
}

// A guest shutdown that the host accepted prints nothing before the prompt; a
// refusal (no VMware Tools in the guest, a fault) prints why.
int ESXiCliParser::ParseShutdownVm(const char* response) {
    if (!ends_with_shell_prompt(response)) return SSH_CLI_CMD_FAILED_ERR;
    for (const char* refusal : kShutdownRefusals)
        if (contains(response, refusal)) return SSH_CLI_CMD_FAILED_ERR;
    return SSH_SUCCESS;
}

// The host takes its power-off in silence: the reply is the prompt and
// nothing else (blank lines aside). Any text is a refusal or an error
// ("The operation is not allowed in the current state.", a usage text).
int ESXiCliParser::ParsePowerOffHost(const char* response) {
    if (!ends_with_shell_prompt(response)) return SSH_CLI_CMD_FAILED_ERR;
    return text_lines(response).empty() ? SSH_SUCCESS : SSH_CLI_CMD_FAILED_ERR;
}

// The detached command left on the host (-self) answers with one line, its
// marker and the pid of what it started, and the prompt. Anything else (no
// setsid, an error, a word more) means nothing was left running there.
int ESXiCliParser::ParseStopSelfVm(const char* response) {
    if (!ends_with_shell_prompt(response)) return SSH_CLI_CMD_FAILED_ERR;
    std::vector<std::string> lines = text_lines(response);
    if (lines.size() != 1) return SSH_CLI_CMD_FAILED_ERR;
    std::string marker = std::string(ESXiCommand::kSelfMarker) + " ";
    std::string line = lines[0];
    while (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.compare(0, marker.size(), marker) != 0) return SSH_CLI_CMD_FAILED_ERR;
    return ESXiCommand::IsVmId(line.substr(marker.size()).c_str()) ? SSH_SUCCESS : SSH_CLI_CMD_FAILED_ERR;
}

bool ESXiCliParser::SaysHostdIsStarting(const char* response) {
    if (response == NULL) return false;
    for (const char* line = response; line != NULL && *line != '\0';) {
        for (const char* text : kHostdUnreachable)
            if (strncmp(line, text, strlen(text)) == 0) return true;
        line = strchr(line, '\n');
        if (line != NULL) ++line;
    }
    return false;
}

// The flag is read from the reply's own lines: a host name in a bracket prompt
// ("[root@trueesx01:~] ") says nothing about maintenance.
int ESXiCliParser::ParseGetMaintenance(const char* response) {
    try {
        std::string reply = without_bracket_prompts(response);
        const char* text = reply.c_str();
        if (!contains(text, "inMaintenanceMode")) return SSH_CLI_CMD_FAILED_ERR;
        if (contains(text, "true")) return SSH_SUCCESS;
        if (contains(text, "false")) return SSH_VERIFY_ERR;
        return SSH_CLI_CMD_FAILED_ERR;
    } catch (...) {
        KelTrace(TRACE_ERROR, "ParseGetMaintenance", kGetMaintenanceCatched);
        return SSH_INTERNAL_ERR;
    }
}

// The table's lines; a reply without the table's header is not a VM listing.
int ESXiCliParser::ParseGetAllVms(const char* response) {
    int rc = ParseLines(response);
    if (rc != SSH_SUCCESS || m_pOwner == NULL || m_bTableHeaderSeen) return rc;
    KelTrace(TRACE_DEBUG, "ParseGetAllVms", kNoTableHeader);
    return SSH_CLI_CMD_FAILED_ERR;
}

// A line of the VM table: a row after the header adds its VM, with its whole
// name. Lines before the header, the header itself, the further lines of a
// note and a row whose id was listed already add nothing.
int ESXiCliParser::ParseGetAllVmsLine(const char* line) {
    if (m_pOwner == NULL) return SSH_INTERNAL_ERR;
    try {
        if (!m_bTableHeaderSeen) {
            m_bTableHeaderSeen = IsVmTableHeader(line);
            return SSH_SUCCESS;
        }
        VmTableRow row;
        if (!ReadVmTableRow(line, &row)) return SSH_SUCCESS;
        if (!m_tableIds.insert(row.id).second) {
            KelTrace(TRACE_DEBUG, "ParseGetAllVmsLine", kIdListedAgain, row.id.c_str());
            return SSH_SUCCESS;
        }
        m_pOwner->AddChild(Env::String(row.id.c_str()), Env::String(row.name.c_str()));
        m_pOwner->SetChildDatastore(Env::String(row.id.c_str()), row.datastore);
        return SSH_SUCCESS;
    } catch (...) {
        KelTrace(TRACE_ERROR, "ParseGetAllVmsLine", kGetAllVmsCatched);
        return SSH_INTERNAL_ERR;
    }
}

// A power-state line becomes the owner's status, unchanged.
int ESXiCliParser::ParseGetVmStatusLine(const char* line) {
    if (m_pOwner == NULL) return SSH_INTERNAL_ERR;
    if (!contains(line, "Powered") && !contains(line, "Suspended")) return SSH_INTERNAL_ERR;
    try {
        KelTrace(TRACE_DEBUG, "ParseGetVmStatusLine", kVmStatusFound, line);
        m_pOwner->SetStatus(line);
    } catch (...) {
        KelTrace(TRACE_ERROR, "ParseGetVmStatusLine", kGetVmStatusCatched);
    }
    return SSH_INTERNAL_ERR;
}

}  // namespace SshSrv
