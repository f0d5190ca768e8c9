// Every step of replacing a file, broken one at a time through xml_faults.cpp:
// the path keeps the old complete file, no scratch file stays behind, and the
// save reports the failure.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>

#include <set>
#include <string>

#include "FileReplacement.h"
#include "XmlObject.h"
#include "temp_dir.h"
#include "test_objects.h"
#include "test_paths.h"
#include "trace_capture.h"
#include "xml_faults.h"

using XmlFaults::kFail;
using XmlFaults::Scoped;

namespace {

struct Step {
    const char* function;
    int skip;  // calls of it that still succeed before the broken one
};

// The calls of one replacement of an existing file, in order: open the
// directory, create the scratch file, make it private, write, flush, close;
// open the old file, make it private, close it, link it as the backup's
// scratch name, rename that over the backup; rename the scratch file over the
// path; flush the directory.
const Step kSteps[] = {
    {"open", 0},  {"open", 1},  {"fchmod", 0}, {"write", 0}, {"fsync", 0}, {"close", 0},
    {"open", 2},  {"fchmod", 1}, {"link", 0},  {"rename", 0}, {"rename", 1}, {"fsync", 1},
};

std::set<std::string> Names(const TempDir& dir) {
    std::set<std::string> names;
    DIR* d = opendir(dir.path().c_str());
    for (dirent* e = readdir(d); e != nullptr; e = readdir(d))
        if (std::string(e->d_name) != "." && std::string(e->d_name) != "..") names.insert(e->d_name);
    closedir(d);
    return names;
}

std::string Describe(const Step& step) {
    return std::string(step.function) + " after " + std::to_string(step.skip) + " good calls";
}

}  // namespace

TEST(FileReplacementFaults, EachBrokenStepLeavesTheOldFileAndNoScratch) {
    for (const Step& step : kSteps) {
        TempDir dir;
        dir.Write("f.xml", "old");
        dir.Write("f.xml.bak", "older");
        bool ok;
        int calls;
        {
            Scoped fault(step.function, kFail, step.skip);
            ok = Env::ReplaceFile(dir.file("f.xml"), "new");
            calls = XmlFaults::Calls();
        }
        EXPECT_FALSE(ok) << Describe(step);
        EXPECT_GT(calls, step.skip) << Describe(step) << ": the broken call was not reached";
        EXPECT_EQ("old", dir.Read("f.xml")) << Describe(step);
        std::set<std::string> names = Names(dir);
        EXPECT_EQ((std::set<std::string>{"f.xml", "f.xml.bak"}), names) << Describe(step);
        struct stat st;
        ASSERT_EQ(0, lstat(dir.file("f.xml").c_str(), &st));
        EXPECT_TRUE(S_ISREG(st.st_mode)) << Describe(step);
    }
}

// Without an old file there is no backup to make; a failed rename or
// directory flush leaves nothing at the path.
TEST(FileReplacementFaults, FirstWriteLeavesNothingWhenItFails) {
    const Step steps[] = {{"open", 1}, {"write", 0}, {"fsync", 0}, {"rename", 0}, {"fsync", 1}};
    for (const Step& step : steps) {
        TempDir dir;
        bool ok;
        {
            Scoped fault(step.function, kFail, step.skip);
            ok = Env::ReplaceFile(dir.file("f.xml"), "new");
        }
        EXPECT_FALSE(ok) << Describe(step);
        EXPECT_TRUE(Names(dir).empty()) << Describe(step);
    }
}

TEST(FileReplacementFaults, FailedStepIsNamedInTheDebugTrace) {
    TempDir dir;
    dir.Write("f.xml", "old");
    std::string out;
    {
        TraceCapture capture(TRACE_MODE_DEBUG);
        {
            Scoped fault("fsync", kFail);
            EXPECT_FALSE(Env::ReplaceFile(dir.file("f.xml"), "new"));
        }
        out = capture.Stop();
    }
    std::string expected = "hh:mm:ss: trace> ReplaceFile: fsync failed for " + dir.file("f.xml") +
                           ".tmp." + std::to_string(getpid()) + ": Input/output error\n";
    EXPECT_EQ(expected, out);
}

TEST(FileReplacementFaults, ObjectSaveReportsTheBrokenWriteAndKeepsTheOldFile) {
    TempDir dir;
    dir.Write("h.xml", "old");
    EnvTest::TestHost host;
    bool ok;
    std::string out;
    {
        TraceCapture capture(TRACE_MODE_QUIET);
        {
            Scoped fault("write", kFail);
            ok = host.Save(PathIn(dir, "h.xml"));
        }
        out = capture.Stop();
    }
    EXPECT_FALSE(ok);
    EXPECT_EQ("hh:mm:ss: Save: can't write xml file\n", out);
    EXPECT_EQ("old", dir.Read("h.xml"));
}
