#include "esxi_script.h"

#include "fake_plink_dir.h"

const char EsxiScript::kShowCommands[] =
    "Commands available under /:\n"
    "hbrsvc/       internalsvc/  solo/         vmsvc/        \n"
    "hostsvc/      proxysvc/     vimsvc/       help\n";

namespace esxi_cmd {
const char kShow[] = "vim-cmd\n";
const char kMaintenance[] = "vim-cmd hostsvc/hostsummary | grep inMaintenanceMode\n";
const char kAllVms[] = "vim-cmd vmsvc/getallvms\n";
const char kEnter[] = "vim-cmd hostsvc/maintenance_mode_enter\n";
const char kExit[] = "vim-cmd hostsvc/maintenance_mode_exit\n";
std::string State(const std::string& id) { return "vim-cmd vmsvc/power.getstate " + id + "\n"; }
std::string Suspend(const std::string& id) { return "vim-cmd vmsvc/power.suspend " + id + "\n"; }
std::string PowerOn(const std::string& id) { return "vim-cmd vmsvc/power.on " + id + "\n"; }
}  // namespace esxi_cmd

EsxiScript EsxiScript::LoggedIn(const std::string& user, const std::string& password,
                                bool maintenance) {
    EsxiScript s;
    s.Login(user, password)
        .Answer(esxi_cmd::kShow, kShowCommands)
        .Answer(esxi_cmd::kMaintenance, Maintenance(maintenance));
    return s;
}

std::string WithCrLf(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
}

EsxiScript& EsxiScript::Login(const std::string& user, const std::string& password) {
    Print("Using username \"" + user + "\".\r\n" + user + "@host's password: ");
    lines_.push_back("expect " + PlinkScriptText(password + "\n"));
    return Print("The time and date of this login have been sent to the system logs.\r\n"
                 "\r\n~ # ");
}

EsxiScript& EsxiScript::AnswerWithoutPrompt(const std::string& command,
                                            const std::string& output) {
    lines_.push_back("expect " + PlinkScriptText(command));
    std::string echo = command.substr(0, command.find('\n'));
    return Print(echo + "\r\n" + WithCrLf(output));
}

EsxiScript& EsxiScript::Answer(const std::string& command, const std::string& output) {
    return AnswerWithoutPrompt(command, output + "~ # ");
}

EsxiScript& EsxiScript::Print(const std::string& text) {
    lines_.push_back("print " + PlinkScriptText(text));
    return *this;
}

EsxiScript& EsxiScript::Sleep(double seconds) {
    lines_.push_back("sleep " + std::to_string(seconds));
    return *this;
}

EsxiScript& EsxiScript::Wait() {
    lines_.push_back("wait");
    return *this;
}

std::string EsxiScript::Maintenance(bool on) {
    return std::string("      inMaintenanceMode = ") + (on ? "true" : "false") + ",\n";
}

std::string EsxiScript::PowerState(const std::string& state) {
    return "Retrieved runtime info\n" + state + "\n";
}

EsxiScript& EsxiScript::ExitAfter(const std::string& command) {
    lines_.push_back("expect " + PlinkScriptText(command));
    lines_.push_back("exit 0");
    return *this;
}

EsxiScript& EsxiScript::Raw(const std::string& line) {
    lines_.push_back(line);
    return *this;
}
