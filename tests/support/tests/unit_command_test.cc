#include "unit_command.h"

#include <gtest/gtest.h>

namespace {

using Argv = std::vector<std::string>;

const char kUnit[] =
    "[Unit]\nDescription=Host %i\n\n[Service]\nType=oneshot\nEnvironmentFile=/etc/x/%i.conf\n"
    "ExecStart=/usr/sbin/tool -host ${HOST} -usr ${USER} File=/var/lib/x/%i.xml $OPTIONS\n";

Argv Command(const std::string& unit, const UnitEnvironment& env) {
    Argv argv;
    std::string error;
    EXPECT_TRUE(UnitCommand(unit, "esx01", env, &argv, &error)) << error;
    return argv;
}

TEST(UnitCommand, InstanceAndVariablesAreFilledIn) {
    UnitEnvironment env = {{"HOST", "192.0.2.10"}, {"USER", "root"}, {"OPTIONS", "-D  verbose"}};
    EXPECT_EQ((Argv{"/usr/sbin/tool", "-host", "192.0.2.10", "-usr", "root", "File=/var/lib/x/esx01.xml",
                    "-D", "verbose"}),
              Command(kUnit, env));
}

TEST(UnitCommand, UnsetVariablesGiveAnEmptyWordInBracesAndNoWordWithout) {
    EXPECT_EQ((Argv{"/usr/sbin/tool", "-host", "", "-usr", "", "File=/var/lib/x/esx01.xml"}),
              Command(kUnit, {}));
}

TEST(UnitCommand, QuotesOtherSpecifiersAndASecondExecStartAreRefused) {
    Argv argv;
    std::string error;
    EXPECT_FALSE(UnitCommand("ExecStart=/bin/tool \"a b\"\n", "h", {}, &argv, &error));
    EXPECT_FALSE(UnitCommand("ExecStart=/bin/tool %H\n", "h", {}, &argv, &error));
    EXPECT_FALSE(UnitCommand("ExecStart=/bin/a\nExecStart=/bin/b\n", "h", {}, &argv, &error));
    EXPECT_FALSE(UnitCommand("[Service]\n", "h", {}, &argv, &error));
    EXPECT_EQ("not exactly one ExecStart= line", error);
}

TEST(ReadEnvironmentFile, PairsWithoutCommentsOrQuotes) {
    UnitEnvironment env = ReadEnvironmentFile(
        "# comment\n\nVMNAP_HOST=192.0.2.10\nVMNAP_PASSWORD='se cret'\n#VMNAP_OPTIONS=-D verbose\nX=\"a=b\"\n");
    EXPECT_EQ((UnitEnvironment{{"VMNAP_HOST", "192.0.2.10"}, {"VMNAP_PASSWORD", "se cret"}, {"X", "a=b"}}), env);
}

}  // namespace
