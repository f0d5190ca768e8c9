// The command-line watch sees a secret in another process's arguments, and only there.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "command_line_watch.h"
#include "run_program.h"

namespace {

ProgramResult SleepAWhileWith(const std::string& argument) {
    ProgramRun run;
    run.path = "/bin/sh";
    run.args = {"-c", "sleep 0.3", argument};
    return RunProgram(run);
}

TEST(CommandLineWatch, SeesTheSecretInTheArgumentsOfAnotherProcess) {
    CommandLineWatch watch("watch-me-417");
    ASSERT_EQ(0, SleepAWhileWith("watch-me-417").exit_status);
    EXPECT_EQ("/bin/sh -c sleep 0.3 watch-me-417 \n", watch.Seen());
}

TEST(CommandLineWatch, SeesNothingWhenTheSecretStaysInTheEnvironment) {
    CommandLineWatch watch("watch-me-418");
    ProgramRun run;
    run.path = "/bin/sh";
    run.args = {"-c", "sleep 0.3"};
    run.env = {"SECRET=watch-me-418"};
    ASSERT_EQ(0, RunProgram(run).exit_status);
    ASSERT_EQ(0, SleepAWhileWith("something-else").exit_status);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_GT(watch.scans(), 5);
    EXPECT_EQ("", watch.Seen());
}

}  // namespace
