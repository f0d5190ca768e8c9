#include "shell_prompt.h"

#include <gtest/gtest.h>

namespace {

TEST(BracketPrompt, PromptsOfNewerHosts) {
    EXPECT_TRUE(is_bracket_prompt_line("[root@esx01:~] "));
    EXPECT_TRUE(is_bracket_prompt_line("[root@esx01:~]"));
    EXPECT_TRUE(is_bracket_prompt_line("[root@esx01.corp.example:/vmfs/volumes] "));
    EXPECT_TRUE(is_bracket_prompt_line("[admin_2@esx-01:~/tmp]  \t\r"));
    EXPECT_TRUE(is_bracket_prompt_line("[root@localhost:/vmfs/volumes/datastore 1] "));
}

TEST(BracketPrompt, OnlyTheFirstLineCounts) {
    EXPECT_TRUE(is_bracket_prompt_line("[root@esx01:~] \nmore"));
    EXPECT_FALSE(is_bracket_prompt_line("more\n[root@esx01:~] "));
}

TEST(BracketPrompt, VmRowsAnnotationsAndErrorsAreNotPrompts) {
    const char* const lines[] = {
        "1      web01   [datastore1] web01/web01.vmx   centos64Guest   vmx-08   ",
        "12     build server   [ds 2] build/build.vmx   windows2019srv_64Guest   vmx-21   ",
        "[datastore1] web01/web01.vmx",
        "[root@esx01:~] vim-cmd vmsvc/getallvms",
        "[root@esx01:~] x",
        "[root@esx01] ",
        "[root@esx01:] ",
        "[root@esx01:var] ",
        "[@esx01:~] ",
        "[root@:~] ",
        "[root esx01:~] ",
        "[root@esx 01:~] ",
        " [root@esx01:~] ",
        "[root@esx01:~]]",
        "[root@esx01:~[x]] ",
        "owner: [ops@corp:/team] see wiki",
        "[Errno 2] No such file or directory",
        "-sh: vim-cmd: not found",
        "",
        "[",
    };
    for (const char* line : lines) EXPECT_FALSE(is_bracket_prompt_line(line)) << line;
}

TEST(BracketPrompt, LengthBoundsTheLine) {
    const char text[] = "[root@esx01:~] tail";
    EXPECT_TRUE(is_bracket_prompt_line(text, 15));
    EXPECT_FALSE(is_bracket_prompt_line(text, 13));
    EXPECT_FALSE(is_bracket_prompt_line(text, sizeof(text) - 1));
    EXPECT_FALSE(is_bracket_prompt_line(nullptr));
}

TEST(PromptLine, TheOlderPromptIsAWholeLine) {
    EXPECT_TRUE(is_prompt_line("~ # "));
    EXPECT_TRUE(is_prompt_line("~ #"));
    EXPECT_TRUE(is_prompt_line("~ #  \r"));
    EXPECT_TRUE(is_prompt_line("~ # \nnext"));
    EXPECT_FALSE(is_prompt_line("x ~ # y"));
    EXPECT_FALSE(is_prompt_line("12     db~ # 01   [datastore1] db/db.vmx"));
    EXPECT_FALSE(is_prompt_line("~ # vim-cmd"));
    EXPECT_FALSE(is_prompt_line(" ~ # "));
    EXPECT_TRUE(is_prompt_line("[root@esx01:~] "));
    EXPECT_FALSE(is_prompt_line("~# "));
    EXPECT_FALSE(is_prompt_line("next\n~ # "));
    EXPECT_FALSE(is_prompt_line(nullptr));
}

TEST(HasShellPrompt, AnyLineOfTheText) {
    EXPECT_TRUE(has_shell_prompt("Suspending VM:\n~ # "));
    EXPECT_TRUE(has_shell_prompt("Suspending VM:\n[root@esx01:~] "));
    EXPECT_TRUE(has_shell_prompt("[root@esx01:~] \nSuspending VM:"));
    EXPECT_FALSE(has_shell_prompt("Suspending VM:\n"));
    EXPECT_FALSE(has_shell_prompt("Suspending VM:\n[root@esx01:~] x"));
    EXPECT_FALSE(has_shell_prompt("1   db~ # 01   [ds] db/db.vmx\n"));
    EXPECT_FALSE(has_shell_prompt(""));
    EXPECT_FALSE(has_shell_prompt(nullptr));
}

TEST(EndsWithShellPrompt, OnlyTheLastLine) {
    EXPECT_TRUE(ends_with_shell_prompt("~ # "));
    EXPECT_TRUE(ends_with_shell_prompt("Powering on VM:\r\n~ # "));
    EXPECT_TRUE(ends_with_shell_prompt("Powering on VM:\n[root@esx01:~] "));
    EXPECT_FALSE(ends_with_shell_prompt("~ # \nPowering on VM:"));
    EXPECT_FALSE(ends_with_shell_prompt("[root@esx01:~] \n"));
    EXPECT_FALSE(ends_with_shell_prompt("Powering on VM:\n[root@esx01:~] vim-cmd"));
    EXPECT_FALSE(ends_with_shell_prompt("Vmid   Name\n12     db~ # "));
    EXPECT_FALSE(ends_with_shell_prompt(""));
    EXPECT_FALSE(ends_with_shell_prompt(nullptr));
}

TEST(WithoutBracketPrompts, DropsPromptLinesOnly) {
    EXPECT_EQ("inMaintenanceMode = false,\n",
              without_bracket_prompts("inMaintenanceMode = false,\n[root@trueesx01:~] "));
    EXPECT_EQ("a\n~ # \nb", without_bracket_prompts("a\n[root@esx01:~] \n~ # \nb"));
    EXPECT_EQ("[datastore1] x.vmx\n", without_bracket_prompts("[datastore1] x.vmx\n"));
    EXPECT_EQ("", without_bracket_prompts(nullptr));
}

}  // namespace
