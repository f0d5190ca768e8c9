// Scripts for the stand-in plink client that make it behave like the shell of
// an ESXi host seen through plink: commands are echoed, lines end in CR LF and
// every answer ends with the prompt "~ # ".
#ifndef VMNAP_TESTS_ESXI_SCRIPT_H
#define VMNAP_TESTS_ESXI_SCRIPT_H

#include <string>
#include <vector>

class EsxiScript {
public:
    // The password prompt, the expected password, then the banner and prompt.
    EsxiScript& Login(const std::string& user, const std::string& password);
    // Waits for `command` (with its line end) and answers with the echo,
    // `output` (LF turned into CR LF) and the prompt.
    EsxiScript& Answer(const std::string& command, const std::string& output);
    // The same without the prompt at the end.
    EsxiScript& AnswerWithoutPrompt(const std::string& command, const std::string& output);
    EsxiScript& Print(const std::string& text);
    EsxiScript& Raw(const std::string& line);  // a script line as it stands
    EsxiScript& Sleep(double seconds);
    EsxiScript& Wait();  // stays silent until it is terminated
    // Waits for `command` and then ends the client without answering.
    EsxiScript& ExitAfter(const std::string& command);

    const std::vector<std::string>& lines() const { return lines_; }

    // A login as the tool does it: password, vim-cmd, maintenance query.
    static EsxiScript LoggedIn(const std::string& user, const std::string& password,
                               bool maintenance);

    // Typical host replies.
    static const char kShowCommands[];
    static std::string Maintenance(bool on);
    static std::string PowerState(const std::string& state);

private:
    std::vector<std::string> lines_;
};

// The command lines the tool sends, as the host receives them.
namespace esxi_cmd {
extern const char kShow[];
extern const char kMaintenance[];
extern const char kAllVms[];
extern const char kEnter[];
extern const char kExit[];
std::string State(const std::string& id);
std::string Suspend(const std::string& id);
std::string PowerOn(const std::string& id);
}  // namespace esxi_cmd

// "\n" turned into "\r\n", as a terminal shows it.
std::string WithCrLf(const std::string& text);

#endif
