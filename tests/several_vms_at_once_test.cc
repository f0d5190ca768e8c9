// -parallel through the real plink and sshd against the simulated host, whose suspends and resumes take
// time (a pause of their own and the VM's memory through one of two datastores): three at once suspend
// and resume every VM, leave the list file a run one after another leaves, and the host counts at most
// three operations under way and more than one; a refusal in the middle ends the run as it always did
// (the ones under way finish, none starts after it), or, with -onrefusal poweroff, every VM is tried;
// -parallel 1 sends what the tool has always sent.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <regex>
#include <string>
#include <vector>

#include "processes.h"
#include "real_client_fixture.h"
#include "shell_log.h"
#include "sshd_fixture_process.h"

namespace {

const int kVms = 8;

// A host of ESXi 7.0 whose suspends and resumes pause `pause` seconds and move the VM's memory, the odd
// VMs' on datastore1, the even ones' on ds2; the host counts the operations under way at once.
std::string TimedHost(int pause) {
    return HostOfVersion("7.0", "no", 1) + "op_pause_seconds " + std::to_string(pause) +
           "\nmax_in_flight 0\ndatastore datastore1 1000 1000\ndatastore ds2 1000 1000\n";
}

std::string TimedVm(int i, const std::string& power, const std::string& extra = "") {
    std::string id = std::to_string(i);
    return Vm(id, "vm" + id, power) + "memory_mb " + std::to_string(100 * i) + "\n" +
           (i % 2 == 0 ? "datastore ds2\n" : "") + extra;
}

std::string EightRunningVms() {
    std::string host = TimedHost(1);
    for (int i = 1; i <= kVms; ++i) host += TimedVm(i, "on");
    return host;
}

class SeveralVmsAtOnce : public RealClient {
protected:
    // The run, its wall time kept as a property of the test (seconds) under `name`.
    ProgramResult TimedRun(const std::string& name, const std::string& mode, const std::vector<std::string>& extra) {
        auto start = std::chrono::steady_clock::now();
        ProgramResult r = Run(mode, extra);
        std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        RecordProperty(name, std::to_string(took.count()));
        return r;
    }
    std::vector<std::string> ShellLog() const { return esxisim::ReadShellLogCommands(StatePath()); }
    // The most operations the host had under way at once since the count was last set to 0.
    int MaxInFlight() const {
        std::smatch m;
        std::string host = HostNow();
        if (!std::regex_search(host, m, std::regex("\nmax_in_flight (\\d+)\n"))) return -1;
        return std::stoi(m[1]);
    }
    void ResetCount() { SetHost(std::regex_replace(HostNow(), std::regex("\nmax_in_flight \\d+\n"), "\nmax_in_flight 0\n")); }
    int Count(const std::string& command) const {
        int n = 0;
        for (const std::string& line : ShellLog()) n += line == command ? 1 : 0;
        return n;
    }
    bool EveryVmIs(const std::string& power) const {
        std::string host = HostNow();
        for (int i = 1; i <= kVms; ++i) {
            size_t vm = host.find("vm " + std::to_string(i) + "\n");
            if (vm == std::string::npos || host.find("power " + power + "\n", vm) != host.find("power ", vm))
                return false;
        }
        return true;
    }
    // The power commands the host's shell received, in order.
    std::string PowerCommands() const {
        std::string commands;
        for (const std::string& line : ShellLog())
            if (line.find("power.") != std::string::npos && line.find("getstate") == std::string::npos)
                commands += std::regex_replace(line, std::regex("^vim-cmd vmsvc/"), "") + "; ";
        return commands;
    }
};

TEST_F(SeveralVmsAtOnce, ThreeSuspendsAtOnceLeaveTheFileOfOneAfterAnother) {
    SetHostInAnyOrder(EightRunningVms());
    const std::string start = HostNow();
    ProgramResult serial = TimedRun("serial_seconds", "suspend_vms", {"-parallel", "1"});
    ASSERT_EQ(0, serial.exit_status) << Explain(serial);
    const std::string serialList = ListNow();
    EXPECT_EQ(1, MaxInFlight()) << "one after another";

    SetHost(start);
    ASSERT_EQ(0, unlink(work_.file(kListFile).c_str()));
    ASSERT_EQ(0, unlink(esxisim::ShellLogPath(StatePath()).c_str()));
    ProgramResult r = TimedRun("three_at_once_seconds", "suspend_vms", {"-parallel", "3"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(serialList, ListNow());
    EXPECT_TRUE(EveryVmIs("suspended")) << HostNow();
    EXPECT_NE(std::string::npos, HostNow().find("maintenance yes"));
    EXPECT_LE(MaxInFlight(), 3) << HostNow();
    EXPECT_GT(MaxInFlight(), 1) << HostNow();
    for (int i = 1; i <= kVms; ++i)
        EXPECT_EQ(1, Count("vim-cmd vmsvc/power.suspend " + std::to_string(i))) << i;
    EXPECT_EQ(2, Count("exit")) << "the two extra sessions log out";
}

TEST_F(SeveralVmsAtOnce, ThreeResumesAtOnceLeaveTheFileOfOneAfterAnother) {
    SetHostInAnyOrder(EightRunningVms());
    ASSERT_EQ(0, Run("suspend_vms", {"-parallel", "4"}).exit_status);
    ASSERT_TRUE(EveryVmIs("suspended")) << HostNow();
    ResetCount();
    const std::string suspendedHost = HostNow(), suspendedList = ListNow();

    ProgramResult serial = TimedRun("serial_seconds", "reboot_vms", {"-parallel", "1"});
    ASSERT_EQ(0, serial.exit_status) << Explain(serial);
    const std::string serialList = ListNow();
    EXPECT_EQ(1, MaxInFlight()) << "one after another";

    SetHost(suspendedHost);
    work_.Write(kListFile, suspendedList);
    size_t before = ShellLog().size();
    ProgramResult r = TimedRun("three_at_once_seconds", "reboot_vms", {"-parallel", "3"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_EQ(serialList, ListNow());
    EXPECT_TRUE(EveryVmIs("on")) << HostNow();
    EXPECT_NE(std::string::npos, HostNow().find("maintenance no"));
    EXPECT_LE(MaxInFlight(), 3) << HostNow();
    EXPECT_GT(MaxInFlight(), 1) << HostNow();
    std::vector<std::string> log = ShellLog();
    for (int i = 1; i <= kVms; ++i) {
        int ons = 0;
        for (size_t l = before; l < log.size(); ++l) ons += log[l] == "vim-cmd vmsvc/power.on " + std::to_string(i);
        EXPECT_EQ(1, ons) << i;
    }
}

// VM 2 cannot be suspended: the default policy ends the run with the serial run's status. VM 1, under way
// meanwhile, finishes and is recorded, and so does VM 3 when a worker took it before the refusal came;
// no VM starts after the refusal (the others take 3 s, the refusal comes at once).
TEST_F(SeveralVmsAtOnce, ARefusalEndsTheRunAsOneAfterAnotherWouldAndStartsNoFurtherVm) {
    std::string host = TimedHost(3);
    for (int i = 1; i <= 6; ++i) host += TimedVm(i, "on", i == 2 ? "passthrough yes\ntools no\n" : "");
    SetHostInAnyOrder(host);
    ProgramResult r = Run("suspend_vms", {"-parallel", "3"});
    EXPECT_EQ(11, r.exit_status) << Explain(r);
    EXPECT_EQ(1, Count("vim-cmd vmsvc/power.suspend 1")) << PowerCommands();
    EXPECT_EQ(1, Count("vim-cmd vmsvc/power.suspend 2")) << PowerCommands();
    for (int i : {4, 5, 6})
        EXPECT_EQ(0, Count("vim-cmd vmsvc/power.suspend " + std::to_string(i))) << PowerCommands();
    bool third = Count("vim-cmd vmsvc/power.suspend 3") == 1;
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "vm1", "Suspended", "to reboot") + Row("2", "vm2", "Powered on") +
                           (third ? Row("3", "vm3", "Suspended", "to reboot") : Row("3", "vm3", "Powered on")) +
                           Row("4", "vm4", "Powered on") + Row("5", "vm5", "Powered on") +
                           Row("6", "vm6", "Powered on")),
              ListNow());
    EXPECT_NE(std::string::npos, HostNow().find("maintenance no"));
}

// With -onrefusal poweroff every VM is tried and stopped, the refused one powered off, and the host enters
// maintenance mode.
TEST_F(SeveralVmsAtOnce, PowerOffTriesEveryVmAndStopsThemAll) {
    std::string host = TimedHost(1);
    for (int i = 1; i <= 6; ++i) host += TimedVm(i, "on", i == 2 ? "passthrough yes\ntools no\n" : "");
    SetHostInAnyOrder(host);
    ProgramResult r = Run("suspend_vms", {"-parallel", "3", "-onrefusal", "poweroff"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    for (int i = 1; i <= 6; ++i)
        EXPECT_EQ(1, Count("vim-cmd vmsvc/power.suspend " + std::to_string(i))) << i;
    EXPECT_EQ(1, Count("vim-cmd vmsvc/power.off 2"));
    std::string list = ListNow();
    EXPECT_NE(std::string::npos, list.find("id=\"2\" name=\"vm2\" rebootstatus=\"to reboot\" status=\"Powered off\" "
                                           "stopped=\"powered off\""))
        << list;
    for (int i : {1, 3, 4, 5, 6})
        EXPECT_NE(std::string::npos, list.find("id=\"" + std::to_string(i) + "\" name=\"vm" + std::to_string(i) +
                                               "\" rebootstatus=\"to reboot\" status=\"Suspended\" "
                                               "stopped=\"suspended\""))
            << i << "\n" << list;
    EXPECT_NE(std::string::npos, HostNow().find("maintenance yes"));
    EXPECT_GT(MaxInFlight(), 1) << HostNow();
}

// SIGTERM while three suspends are under way: they finish and are recorded, no further VM starts, every
// session ends, 17.
TEST_F(SeveralVmsAtOnce, AStopSignalLetsTheSuspendsUnderWayEndAndStartsNoOther) {
    std::string host = TimedHost(4);
    for (int i = 1; i <= 6; ++i) host += TimedVm(i, "on");
    SetHostInAnyOrder(host);
    PipedProcess tool;
    ASSERT_TRUE(StartRun(tool, Command("suspend_vms", {"-parallel", "3"})));
    bool three = false;
    for (double waited = 0; waited < 30 && !three; waited += 0.05) {
        three = PowerCommands() == "power.suspend 1; power.suspend 2; power.suspend 3; ";
        if (!three) SleepSeconds(0.05);
    }
    ASSERT_TRUE(three) << PowerCommands() << "\n" << tool.output();
    ASSERT_EQ(0, kill(tool.pid(), SIGTERM));
    EXPECT_EQ(17, tool.Wait(60)) << tool.output();
    EXPECT_EQ("power.suspend 1; power.suspend 2; power.suspend 3; ", PowerCommands());
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "vm1", "Suspended", "to reboot") + Row("2", "vm2", "Suspended", "to reboot") +
                           Row("3", "vm3", "Suspended", "to reboot") + Row("4", "vm4", "Powered on") +
                           Row("5", "vm5", "Powered on") + Row("6", "vm6", "Powered on")),
              ListNow());
    EXPECT_EQ(2, Count("exit")) << "the extra sessions log out";
    bool ended = false;
    for (double waited = 0; waited < 5 && !ended; waited += 0.1) {
        ended = sshd_.AccountProcesses().empty();
        if (!ended) SleepSeconds(0.1);
    }
    EXPECT_TRUE(ended) << "a session of the host is still there";
}

// One extra client cannot reach the host (it is sent to an address where nothing listens): the run goes on
// with the host's session and the other extra one, two at a time, and says so in the trace.
TEST_F(SeveralVmsAtOnce, AnExtraSessionThatCannotLogInMeansOneWorkerFewer) {
    std::string host = TimedHost(1);
    for (int i = 1; i <= 6; ++i) host += TimedVm(i, "on");
    SetHostInAnyOrder(host);
    const std::string plink = work_.file("plink"), marks = work_.path();
    const std::string script =
        "#!/bin/sh\n"
        "# The host's own client and all others but one reach the host; that one goes where nothing listens.\n"
        "if mkdir '" + marks + "/plink.first' 2>/dev/null || ! mkdir '" + marks + "/plink.lost' 2>/dev/null; then\n"
        "    exec /usr/bin/plink \"$@\"\n"
        "fi\n"
        "exec /usr/bin/plink \"$1\" \"${2%@*}@127.0.0.9\"\n";
    ASSERT_EQ(0, unlink(plink.c_str()));
    ASSERT_TRUE(WriteWholeFile(plink, script));
    ASSERT_EQ(0, chmod(plink.c_str(), 0755));

    ProgramResult r = Run("suspend_vms", {"-parallel", "3", "-D", "verbose"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    EXPECT_TRUE(std::regex_search(r.out, std::regex("Warning> Login: session [12]: extra session did not log "
                                                    "in \\(code \\d+\\): one worker fewer\n")))
        << r.out;
    std::string state = HostNow();
    for (int i = 1; i <= 6; ++i)
        EXPECT_NE(std::string::npos, state.find("vm " + std::to_string(i) + "\nname vm" + std::to_string(i)))
            << state;
    EXPECT_EQ(std::string::npos, state.find("power on\n")) << state;
    EXPECT_NE(std::string::npos, state.find("maintenance yes"));
    EXPECT_EQ(2, MaxInFlight()) << state;
    EXPECT_EQ(1, Count("exit")) << "only the session that logged in logs out";
}

// -last with several at once: VM 1, named by -last, starts only once the three others have all finished
// (each one's confirming state read, sent after its suspend ended, comes before VM 1's suspend), though a
// worker was free as soon as the quickest of them ended; VM 4 takes seconds longer than the others.
TEST_F(SeveralVmsAtOnce, ALastVmStartsOnlyAfterEveryOtherVmHasFinished) {
    std::string host = TimedHost(1);
    for (int i = 1; i <= 3; ++i) host += TimedVm(i, "on");
    host += Vm("4", "vm4", "on") + "memory_mb 3000\n";
    SetHostInAnyOrder(host);
    ProgramResult r = Run("suspend_vms", {"-parallel", "3", "-last", "1"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    std::vector<std::string> log = ShellLog();
    auto first = [&log](const std::string& line) { return std::find(log.begin(), log.end(), line) - log.begin(); };
    auto last = [&log](const std::string& line) {
        return log.rend() - std::find(log.rbegin(), log.rend(), line) - 1;
    };
    long lastStart = first("vim-cmd vmsvc/power.suspend 1");
    ASSERT_LT(lastStart, static_cast<long>(log.size())) << PowerCommands();
    for (int i = 2; i <= 4; ++i) {
        std::string id = std::to_string(i);
        long suspend = first("vim-cmd vmsvc/power.suspend " + id), confirmed = last("vim-cmd vmsvc/power.getstate " + id);
        ASSERT_LT(suspend, static_cast<long>(log.size())) << id;
        EXPECT_GT(confirmed, suspend) << id << ": the state read after the suspend";
        EXPECT_LT(confirmed, lastStart) << id << " had not finished when VM 1 started\n" << PowerCommands();
    }
    EXPECT_EQ(1, Count("vim-cmd vmsvc/power.suspend 1"));
    EXPECT_EQ(ListFile("true", "true",
                       Row("1", "vm1", "Suspended", "to reboot") + Row("2", "vm2", "Suspended", "to reboot") +
                           Row("3", "vm3", "Suspended", "to reboot") + Row("4", "vm4", "Suspended", "to reboot")),
              ListNow());
    EXPECT_NE(std::string::npos, HostNow().find("maintenance yes"));
}

// SIGTERM while the two VMs before the -last one are under way: they finish and are recorded, and the -last
// VM does not start, though every other VM was started before the stop came; 17.
TEST_F(SeveralVmsAtOnce, AStopSignalBeforeTheLastGroupStartsNoLastVm) {
    std::string host = TimedHost(3);
    for (int i = 1; i <= 3; ++i) host += TimedVm(i, "on");
    SetHostInAnyOrder(host);
    PipedProcess tool;
    ASSERT_TRUE(StartRun(tool, Command("suspend_vms", {"-parallel", "2", "-last", "vm1"})));
    bool both = false;
    for (double waited = 0; waited < 30 && !both; waited += 0.05) {
        both = Count("vim-cmd vmsvc/power.suspend 2") == 1 && Count("vim-cmd vmsvc/power.suspend 3") == 1;
        if (!both) SleepSeconds(0.05);
    }
    ASSERT_TRUE(both) << PowerCommands() << "\n" << tool.output();
    ASSERT_EQ(0, kill(tool.pid(), SIGTERM));
    EXPECT_EQ(17, tool.Wait(60)) << tool.output();
    EXPECT_EQ(0, Count("vim-cmd vmsvc/power.suspend 1")) << PowerCommands();
    EXPECT_EQ(ListFile("false", "false",
                       Row("1", "vm1", "Powered on") + Row("2", "vm2", "Suspended", "to reboot") +
                           Row("3", "vm3", "Suspended", "to reboot")),
              ListNow());
    EXPECT_NE(std::string::npos, HostNow().find("maintenance no"));
}

// The next VM to start is the first on the datastore with the fewest suspends under way: VMs 1 to 3 are
// on datastore1, VM 4 alone on ds2; with two at once VM 4 starts second, before VMs 2 and 3.
TEST_F(SeveralVmsAtOnce, TheNextVmStartsOnTheDatastoreWithTheFewestUnderWay) {
    std::string host = TimedHost(2);
    for (int i = 1; i <= 3; ++i) host += Vm(std::to_string(i), "vm" + std::to_string(i), "on");
    host += std::regex_replace(Vm("4", "vm4", "on"), std::regex("file \\[datastore1\\]"), "file [ds2]");
    SetHostInAnyOrder(host);
    ProgramResult r = Run("suspend_vms", {"-parallel", "2"});
    ASSERT_EQ(0, r.exit_status) << Explain(r);
    std::string commands = PowerCommands();
    EXPECT_EQ(0u, commands.find("power.suspend 1; power.suspend 4; ")) << commands;
    for (int i = 1; i <= 4; ++i)
        EXPECT_EQ(1, Count("vim-cmd vmsvc/power.suspend " + std::to_string(i))) << i;
    EXPECT_EQ(ListFile("true", "true",
                       Row("1", "vm1", "Suspended", "to reboot") + Row("2", "vm2", "Suspended", "to reboot") +
                           Row("3", "vm3", "Suspended", "to reboot") + Row("4", "vm4", "Suspended", "to reboot")),
              ListNow());
}

// -parallel 1 is the tool as it always was: the same command lines, in the same order, one session.
TEST_F(SeveralVmsAtOnce, OneAtATimeSendsWhatTheToolAlwaysSent) {
    std::string host = TimedHost(0);
    for (int i = 1; i <= 3; ++i) host += TimedVm(i, "on");
    SetHostInAnyOrder(host);
    const std::string start = HostNow();
    ASSERT_EQ(0, Run("suspend_vms").exit_status);
    ASSERT_EQ(0, Run("reboot_vms").exit_status);
    const std::vector<std::string> always = ShellLog();
    const std::string list = ListNow();

    SetHost(start);
    ASSERT_EQ(0, unlink(work_.file(kListFile).c_str()));
    ASSERT_EQ(0, unlink(esxisim::ShellLogPath(StatePath()).c_str()));
    ASSERT_EQ(0, Run("suspend_vms", {"-parallel", "1"}).exit_status);
    ASSERT_EQ(0, Run("reboot_vms", {"-parallel", "1"}).exit_status);
    EXPECT_EQ(always, ShellLog());
    EXPECT_EQ(list, ListNow());
    EXPECT_EQ(0, Count("exit"));
}

}  // namespace
