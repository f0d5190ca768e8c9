#include "simulated_shell.h"

#include <gtest/gtest.h>

namespace {

const char kPlink[] = "/usr/bin/plink";
const char kHostKeyQuestion[] = "Store key in cache? (y/n, Return cancels connection, i for more info) ";
const char kPasswordQuestion[] = "password: ";
const int kReadSeconds = 20;

}  // namespace

std::string SimulatedShell::StartChild(const std::string& program, const std::string& state_path) {
    EXPECT_TRUE(process_.Start({program, "--state", state_path}));
    return Read(prompt_);
}

std::string SimulatedShell::LogIn(const SshdFixture& sshd, const std::string& address) {
    EXPECT_TRUE(process_.Start(sshd.InNamespace({kPlink, "-ssh", sshd.user() + "@" + address}), sshd.client_env()));
    Read(kHostKeyQuestion);
    process_.Write("y\n");
    Read(kPasswordQuestion);
    process_.Write(sshd.password() + "\n");
    return Read(prompt_);
}

std::string SimulatedShell::Run(const std::string& line) {
    process_.Write(line + "\n");
    std::string text = Read(prompt_);
    return text.substr(0, text.size() - std::min(text.size(), prompt_.size()));
}

std::string SimulatedShell::Read(const std::string& marker) {
    std::string text;
    EXPECT_TRUE(process_.ReadUntil(marker, kReadSeconds, &text))
        << "waited for \"" << marker << "\", got \"" << text << "\"";
    return text;
}
