// What the host prints about its VMs (names, notes, odd table lines) is read as data only: through the real
// plink and sshd, against a simulated host whose shell is a real busybox ash, every running VM is
// suspended and marked once whatever its name and note hold, and the shell's own command log shows that
// nothing but vim-cmd lines with digit ids reached it.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "real_client_fixture.h"
#include "shell_log.h"

namespace {

// Note lines that a shell would run, or choke on, if a tool echoed them back into a command.
std::vector<std::string> HostileNoteLines(const std::string& marker) {
    return {"first line of the note",
            ";touch${IFS}" + marker + "-semicolon",
            "$(touch${IFS}" + marker + "-dollar)",
            "`touch${IFS}" + marker + "-backquote`",
            "(c) 2023 ACME Corp",
            "-> ask ops first",
            "&& touch " + marker + "-and",
            "|| touch " + marker + "-or",
            "https://wiki.example.org/" + std::string(200, 'w'),
            "2 is the database: stop it last",
            "2      db~ # 01   [datastore1] x/x.vmx   centos64Guest   vmx-08",
            "~ # ",
            "[root@esx01:~] ",
            "password:",
            "logout",
            "Vmid   Name   File   Guest OS   Version   Annotation",
            ""};
}

struct OddVm {
    std::string id, name, file;
};

const std::vector<OddVm> kOddVms = {
    {"1", "web01", "[datastore1] web01/web01.vmx"},
    {"2", "db~ # 01", "[datastore1] db/db.vmx"},
    {"3", "build  server", "[datastore 2] build server/build server.vmx"},
    {"4", "[root@x:~]", "[datastore1] x/x.vmx"},
    {"5", "password: & <more>", "[datastore1] p/p.vmx"},
    {"7", "vCLS-1", "[] /var/run/crx/infra/vCLS-1/vCLS-1.vmx"},
};

std::string XmlEscaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '&') out += "&amp;";
        else if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '"') out += "&quot;";
        else out += c;
    }
    return out;
}

class HostTextIsNeverACommand : public RealClient, public testing::WithParamInterface<const char*> {
protected:
    std::string Marker() const { return sshd_.shell_dir() + "/ran"; }

    // The host of the given version: every VM running, web01 with the hostile note, invalid-VM lines first.
    std::string OddHost() const {
        std::string host = HostOfVersion(Version(), "no", 1) + "invalid_vm 6\n";
        for (const OddVm& vm : kOddVms) {
            host += "vm " + vm.id + "\nname " + vm.name + "\nfile " + vm.file +
                    "\nguest centos64Guest\nversion vmx-08\npower on\n";
            if (vm.id != "1") continue;
            for (const std::string& line : HostileNoteLines(Marker())) host += "note " + line + "\n";
        }
        return host;
    }
    std::string Version() const { return GetParam(); }

    std::string EveryVmSuspendedAndMarked() const {
        std::string rows;
        for (const OddVm& vm : kOddVms) rows += Row(vm.id, XmlEscaped(vm.name), "Suspended", "to reboot");
        return ListFile("true", "true", rows);
    }

    // Every line the host's shell received: the bare vim-cmd, or vim-cmd with a known command and a digit id.
    void ExpectOnlyVimCmdWithDigitIds() const {
        const std::regex allowed(
            "vim-cmd( vmsvc/getallvms| vmsvc/power\\.(getstate|suspend|on|off|shutdown) [0-9]+|"
            " hostsvc/hostsummary \\| grep inMaintenanceMode| hostsvc/maintenance_mode_(enter|exit))?");
        std::vector<std::string> lines = esxisim::ReadShellLogCommands(StatePath());
        EXPECT_FALSE(lines.empty());
        for (const std::string& line : lines) EXPECT_TRUE(std::regex_match(line, allowed)) << line;
        for (const char* suffix : {"-semicolon", "-dollar", "-backquote", "-and", "-or"})
            EXPECT_FALSE(Exists(Marker() + suffix)) << suffix;
    }
};

TEST_P(HostTextIsNeverACommand, EveryRunningVmIsSuspendedAndMarkedOnceAndOnlyVimCmdLinesReachTheShell) {
    SetHostInAnyOrder(OddHost());
    ProgramResult r = Run("suspend_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(EveryVmSuspendedAndMarked(), ListNow());
    std::string host = HostNow();
    EXPECT_EQ(std::string::npos, host.find("power on")) << host;
    EXPECT_NE(std::string::npos, host.find("maintenance yes")) << host;
    ExpectOnlyVimCmdWithDigitIds();
}

// The resume brings exactly those VMs back, still sending nothing but digit ids.
TEST_P(HostTextIsNeverACommand, TheResumeStartsEveryMarkedVmByItsId) {
    SetHostInAnyOrder(OddHost());
    ASSERT_EQ(0, Run("suspend_vms").exit_status);
    ProgramResult r = Run("reboot_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    std::string host = HostNow();
    EXPECT_EQ(std::string::npos, host.find("power suspended")) << host;
    EXPECT_NE(std::string::npos, host.find("maintenance no")) << host;
    ExpectOnlyVimCmdWithDigitIds();
}

// A table of many pieces, every VM with note lines that read like the prompt: none of them ends the table.
TEST_P(HostTextIsNeverACommand, PromptLikeNoteLinesInALongTableCutNothing) {
    std::string host = HostOfVersion(Version(), "no", 1);
    std::string rows;
    for (int id = 1; id <= 40; ++id) {
        std::string name = "vm" + std::to_string(id);
        host += Vm(std::to_string(id), name, "on") + "note ~ # \nnote [root@esx01:~] \nnote ~ # \n";
    }
    std::vector<std::string> ids;
    for (int id = 1; id <= 40; ++id) ids.push_back(std::to_string(id));
    std::sort(ids.begin(), ids.end());
    for (const std::string& id : ids) rows += Row(id, "vm" + id, "Suspended", "to reboot");
    SetHostInAnyOrder(host);
    ProgramResult r = Run("suspend_vms");
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(ListFile("true", "true", rows), ListNow());
    ExpectOnlyVimCmdWithDigitIds();
}

INSTANTIATE_TEST_SUITE_P(Versions, HostTextIsNeverACommand, testing::Values("5.5", "8.0"),
                         [](const testing::TestParamInfo<const char*>& info) {
                             return std::string("Esxi") + (info.param[0] == '5' ? "55" : "80");
                         });

}  // namespace
