// The shell's command log: its line form, appending, and reading the commands back.
#include "shell_log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "temp_dir.h"
#include "text_wait.h"

namespace esxisim {
namespace {

TEST(ShellLogTest, LineHasTheFormOfAnEsxiShellLog) {
    EXPECT_EQ("2014-06-07T08:12:31Z shell[2100123]: [root]: vim-cmd vmsvc/getallvms\n",
              ShellLogLine(1402128751, 2100123, "root", "vim-cmd vmsvc/getallvms"));
}

TEST(ShellLogTest, LogLiesBesideTheStateFile) {
    EXPECT_EQ("/tmp/x/esxi-sim.state.shell.log", ShellLogPath("/tmp/x/esxi-sim.state"));
}

TEST(ShellLogTest, AppendedCommandsReadBackInOrderWithBlanksKept) {
    TempDir dir;
    std::string state = dir.file("esxi-sim.state");
    std::string error;
    for (const char* command : {"vim-cmd vmsvc/power.getstate 1", "", "echo ]: [x]: y ", "exit"}) {
        ASSERT_TRUE(AppendShellLog(state, 42, command, &error)) << error;
    }
    EXPECT_EQ((std::vector<std::string>{"vim-cmd vmsvc/power.getstate 1", "", "echo ]: [x]: y ", "exit"}),
              ReadShellLogCommands(state));
    std::string text = ReadFile(ShellLogPath(state));
    EXPECT_EQ(4u, CountOf(text, " shell[42]: ["));
    EXPECT_EQ('Z', text[19]);
}

TEST(ShellLogTest, NoLogMeansNoCommands) {
    TempDir dir;
    EXPECT_TRUE(ReadShellLogCommands(dir.file("esxi-sim.state")).empty());
}

TEST(ShellLogTest, ALineNotInTheLogsFormIsReadBackWhole) {
    TempDir dir;
    dir.Write("esxi-sim.state.shell.log", "garbage\n");
    EXPECT_EQ(std::vector<std::string>{"garbage"}, ReadShellLogCommands(dir.file("esxi-sim.state")));
}

TEST(ShellLogTest, UnwritableLogIsAnError) {
    TempDir dir;
    std::string error;
    EXPECT_FALSE(AppendShellLog(dir.file("missing/esxi-sim.state"), 1, "vim-cmd", &error));
    EXPECT_NE(std::string::npos, error.find("missing/esxi-sim.state.shell.log")) << error;
}

}  // namespace
}  // namespace esxisim
