// The state file on disk.
#include "state_store.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "temp_dir.h"

namespace esxisim {
namespace {

TEST(StateStoreTest, MissingFileReadsAsEmptyHost) {
    TempDir dir;
    StateStore store(dir.file("host.state"));
    HostState host;
    host.vms.emplace_back();
    std::string error;
    ASSERT_TRUE(store.Read(&host, &error)) << error;
    EXPECT_TRUE(host.vms.empty());
    EXPECT_FALSE(host.in_maintenance);
}

TEST(StateStoreTest, UpdateIsWrittenForTheNextReader) {
    TempDir dir;
    StateStore store(dir.file("host.state"));
    std::string error;
    ASSERT_TRUE(store.Update([](HostState* host) { host->in_maintenance = true; }, &error)) << error;
    HostState host;
    ASSERT_TRUE(StateStore(dir.file("host.state")).Read(&host, &error)) << error;
    EXPECT_TRUE(host.in_maintenance);
    EXPECT_NE(std::string::npos, dir.Read("host.state").find("maintenance yes\n"));
}

TEST(StateStoreTest, WrittenFileIsReadableByOtherAccounts) {
    TempDir dir;
    StateStore store(dir.file("host.state"));
    std::string error;
    ASSERT_TRUE(store.Write(HostState(), &error)) << error;
    struct stat st;
    ASSERT_EQ(0, stat(dir.file("host.state").c_str(), &st));
    EXPECT_EQ(0644u, st.st_mode & 0777);
}

TEST(StateStoreTest, BadFileIsReportedWithItsPath) {
    TempDir dir;
    dir.Write("host.state", "vm 1\npower sideways\n");
    HostState host;
    std::string error;
    EXPECT_FALSE(StateStore(dir.file("host.state")).Read(&host, &error));
    EXPECT_EQ(dir.file("host.state") + ": line 2: bad value for power", error);
}

TEST(StateStoreTest, ConcurrentUpdatesAreNotLost) {
    TempDir dir;
    StateStore store(dir.file("host.state"));
    std::string error;
    const int kWriters = 4, kEach = 25;
    for (int w = 0; w < kWriters; ++w) {
        if (fork() != 0) continue;
        for (int i = 0; i < kEach; ++i) store.Update([](HostState* host) { host->task_counter++; }, &error);
        _exit(0);
    }
    for (int w = 0; w < kWriters; ++w) wait(nullptr);
    HostState host;
    ASSERT_TRUE(store.Read(&host, &error)) << error;
    EXPECT_EQ(1 + kWriters * kEach, host.task_counter);
}

TEST(StateStoreTest, EnvironmentNamesTheDefaultPath) {
    setenv("ESXI_SIM_STATE", "/some/where/host.state", 1);
    EXPECT_EQ("/some/where/host.state", DefaultStatePath());
    unsetenv("ESXI_SIM_STATE");
    char exe[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", exe, sizeof(exe) - 1), 0);
    std::string beside_exe(exe);
    beside_exe = beside_exe.substr(0, beside_exe.rfind('/')) + "/esxi-sim.state";
    EXPECT_EQ(beside_exe, DefaultStatePath());
}

}  // namespace
}  // namespace esxisim
