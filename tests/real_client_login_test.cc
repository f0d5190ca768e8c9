// The login of newer ESXi hosts through the real plink: sshd offers keyboard-interactive authentication only
// (through PAM) and may send a long banner first. account_check must behave as on a host that takes a
// plain password: 0 with the right password, 6 with a wrong one.
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "vmnap_over_ssh.h"

namespace {

const char kBanner[] = "hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\n";

// What plink 0.78 prints around the server's password question (recorded from real runs; the lines of
// dashes are plink's, as wide as it prints them; its own lines end in CR LF, the server's banner lines
// keep the LF they came with).
const char kPromptsBegin[] =
    "-- Keyboard-interactive authentication prompts from server: ------------------\r\n| Password: ";
const char kPromptsEnd[] =
    "-- End of keyboard-interactive prompts from server ---------------------------\r\n";

// A warning paragraph of the kind newer hosts show, several lines long, with blank lines around it.
const char kWarning[] =
    "\n"
    "WARNING:\n"
    "   All commands run on the ESXi shell are logged and may be included in\n"
    "   support bundles. Do not provide passwords directly on the command line.\n"
    "   Most tracing and logging can be bypassed.\n"
    "\n";

class KeyboardInteractiveLogin : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
        sshd_.UseKeyboardInteractive();
    }
    void StartServer() { ASSERT_TRUE(remote_.Start(ESXI_SIM_PATH)) << remote_.error(); }
    ProgramResult AccountCheck(const std::string& password) {
        return remote_.Run("account_check", {"-D", "debug"}, password);
    }
    std::string Explain(const ProgramResult& r) const { return remote_.Explain(r); }
    static bool Has(const ProgramResult& r, const std::string& text) {
        return r.out.find(text) != std::string::npos;
    }

    VmNapOverSsh remote_{VMNAP_EXE};
    SshdFixture& sshd_ = remote_.sshd();
};

// What plink 0.78 prints for the server's password question: its own frame around the prompt.
TEST_F(KeyboardInteractiveLogin, RightPasswordIs0AndPlinkFramesThePrompt) {
    StartServer();
    ProgramResult r = AccountCheck(sshd_.password());
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(Has(r, std::string(kPromptsBegin) + "\n============== received data ended")) << r.out;
    EXPECT_TRUE(Has(r, kPromptsEnd)) << r.out;
    EXPECT_TRUE(Has(r, "enter password for system password request\n")) << r.out;
    EXPECT_TRUE(Has(r, "Commands available under /:")) << r.out;
}

TEST_F(KeyboardInteractiveLogin, WrongPasswordIs6) {
    StartServer();
    ProgramResult r = AccountCheck("not-" + sshd_.password());
    EXPECT_EQ(6, r.exit_status) << Explain(r);
    EXPECT_TRUE(Has(r, std::string(kPromptsEnd) + "Access denied\r\n" + kPromptsBegin)) << r.out;
    EXPECT_TRUE(Has(r, "wrong password, terminate connection\n")) << r.out;
    EXPECT_FALSE(Has(r, "Commands available under /:")) << r.out;
}

TEST_F(KeyboardInteractiveLogin, LongBannerBeforeTheLoginChangesNothing) {
    sshd_.SetBanner(kWarning);
    StartServer();
    ProgramResult r = AccountCheck(sshd_.password());
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(Has(r, "-- Pre-authentication banner message from server: ----------------------------\r\n"
                       "| \n| WARNING:\n|    All commands run on the ESXi shell are logged")) << r.out;
    EXPECT_TRUE(Has(r, "-- End of banner message from server -----------------------------------------\r\n" +
                           std::string(kPromptsBegin))) << r.out;
    ProgramResult wrong = AccountCheck("not-" + sshd_.password());
    EXPECT_EQ(6, wrong.exit_status) << Explain(wrong);
}

// The quiet run prints what it prints for a host that takes a plain password.
TEST_F(KeyboardInteractiveLogin, QuietRunPrintsOnlyTheBanner) {
    sshd_.SetBanner(kWarning);
    StartServer();
    ProgramResult r = remote_.Run("account_check");
    EXPECT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(kBanner, r.out);
}

}  // namespace
