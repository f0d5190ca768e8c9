// Reads what the ESXi shell prints for the vim-cmd commands of the tool.
#ifndef VMNAP_ESXI_CLI_PARSER_H
#define VMNAP_ESXI_CLI_PARSER_H

#include <set>
#include <string>

#include "CliParser.h"

namespace SshSrv {

class ESXiCliParser : public CliParser {
public:
    ESXiCliParser() : m_bTableHeaderSeen(false) {}
    ~ESXiCliParser() override {}

    int Parse(const char* response, int command, SshServer* owner) override;
    int ParseLine(const char* line) override;
    bool HasError(const char* response) const override;

    int ParseShowCommands(const char* response);
    int ParseSuspendVm(const char* response);
    int ParsePowerOnVm(const char* response);
    int ParsePowerOffVm(const char* response);
    int ParseGetMaintenance(const char* response);
    int ParseGetAllVms(const char* response);
    int ParseShutdownVm(const char* response);
    int ParsePowerOffHost(const char* response);
    int ParseStopSelfVm(const char* response);
    int ParseGetAllVmsLine(const char* line);
    int ParseGetVmStatusLine(const char* line);

    // A line of `response` starts with what vim-cmd says while it cannot reach
    // hostd: the host is up, its management service not yet.
    static bool SaysHostdIsStarting(const char* response);

private:
    bool m_bTableHeaderSeen;          // the VM table's header was read
    std::set<std::string> m_tableIds;  // ids of the rows read so far
};

}  // namespace SshSrv

#endif
