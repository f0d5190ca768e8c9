#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <memory>
#include <stdexcept>

#include "XmlObjBuilder.h"
#include "XmlObjectList.h"
#include "trace_capture.h"

using Env::Singleton;
using Env::XmlObjBuilder;
using Env::XmlObject;

namespace {

XmlObjBuilder* Builder() { return Singleton<XmlObjBuilder>::GetInstance(); }

int g_firstCalls = 0;
int g_secondCalls = 0;

XmlObject* FirstCreator() {
    ++g_firstCalls;
    return new XmlObject();
}

XmlObject* SecondCreator() {
    ++g_secondCalls;
    return new XmlObject();
}

XmlObject* NullCreator() { return nullptr; }

XmlObject* ThrowingCreator() { throw std::runtime_error("creator"); }

// Constructed before every ordinary static object, so it is destroyed after
// the builder. When armed, it reports at exit what GetInstance() then gives.
struct ExitProbe {
    bool armed = false;
    ~ExitProbe() {
        if (!armed) return;
        bool gone = Singleton<XmlObjBuilder>::GetInstance() == nullptr;
        bool stillGone = Singleton<XmlObjBuilder>::GetInstance() == nullptr;
        XmlObject::XmlObjectStructure lateStructure;  // must skip its registration
        fprintf(stderr, "builder after exit: %s %s %zu\n", gone ? "null" : "alive",
                stillGone ? "null" : "alive", lateStructure.GetAttributes().size());
        fflush(stderr);
    }
};
ExitProbe g_exitProbe __attribute__((init_priority(101)));

}  // namespace

TEST(XmlObjBuilder, InstanceIsUniqueAndExistsBeforeMain) {
    ASSERT_NE(nullptr, Builder());
    EXPECT_EQ(Builder(), Singleton<XmlObjBuilder>::GetInstance());
}

TEST(XmlObjBuilder, LibraryClassesAreRegisteredBeforeMain) {
    std::unique_ptr<XmlObject> object(Builder()->Create("XmlObject"));
    std::unique_ptr<XmlObject> list(Builder()->Create("XmlObjectList"));
    ASSERT_NE(nullptr, object);
    ASSERT_NE(nullptr, list);
    EXPECT_STREQ("XmlObject", object->ClassName());
    EXPECT_STREQ("XmlObjectList", list->ClassName());
}

TEST(XmlObjBuilder, CreateIgnoresCaseOfName) {
    Builder()->RegisterCreator("ESXiServer", &FirstCreator);
    g_firstCalls = 0;
    const char* names[] = {"esxiserver", "ESXISERVER", "EsxiServer"};
    for (const char* name : names) {
        std::unique_ptr<XmlObject> object(Builder()->Create(name));
        EXPECT_NE(nullptr, object) << name;
    }
    EXPECT_EQ(3, g_firstCalls);
}

TEST(XmlObjBuilder, LaterRegistrationReplacesSilently) {
    Builder()->RegisterCreator("VirtualMachineServer", &FirstCreator);
    TraceCapture capture;
    Builder()->RegisterCreator("virtualmachineserver", &SecondCreator);
    EXPECT_EQ("", capture.Stop());
    g_firstCalls = g_secondCalls = 0;
    std::unique_ptr<XmlObject> object(Builder()->Create("VirtualMachineServer"));
    EXPECT_NE(nullptr, object);
    EXPECT_EQ(0, g_firstCalls);
    EXPECT_EQ(1, g_secondCalls);
}

TEST(XmlObjBuilder, UnknownNameGivesNullWithDebugTrace) {
    TraceCapture capture;
    EXPECT_EQ(nullptr, Builder()->Create("NoSuchClass"));
    EXPECT_EQ("hh:mm:ss: trace> Create: unknown xml object name, can't create object\n",
              capture.Stop());
}

TEST(XmlObjBuilder, UnknownNameIsSilentBelowDebugMode) {
    TraceCapture capture(TRACE_MODE_VERBOSE);
    EXPECT_EQ(nullptr, Builder()->Create("NoSuchClass"));
    EXPECT_EQ("", capture.Stop());
}

TEST(XmlObjBuilder, CreatorGivingNullIsReportedAsError) {
    Builder()->RegisterCreator("NullMaker", &NullCreator);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, Builder()->Create("nullmaker"));
    EXPECT_EQ("hh:mm:ss: Create: failed to create xml object\n", capture.Stop());
}

TEST(XmlObjBuilder, ThrowingCreatorIsCaught) {
    Builder()->RegisterCreator("Thrower", &ThrowingCreator);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, Builder()->Create("Thrower"));
    EXPECT_EQ("hh:mm:ss: Create: XmlObjBuilder::Create error catched\n", capture.Stop());
}

TEST(XmlObjBuilderDeathTest, InstanceIsGoneAfterExitAndNotRecreated) {
    EXPECT_EXIT(
        {
            g_exitProbe.armed = true;
            exit(0);
        },
        testing::ExitedWithCode(0), "builder after exit: null null 1\n");
}
