// Failures of libxml2 itself, injected through xml_faults.cpp.
#include <gtest/gtest.h>

#include "XmlObject.h"
#include "XmlObjectList.h"
#include "XmlTree.h"
#include "temp_dir.h"
#include "test_objects.h"
#include "test_paths.h"
#include "trace_capture.h"
#include "xml_faults.h"

using Env::String;
using Env::XmlDoc;
using Env::XmlDocPtr;
using Env::XmlNode;
using XmlFaults::kFail;
using XmlFaults::kThrow;
using XmlFaults::Scoped;

namespace {

// A document with a root "r" holding one child "c".
XmlDoc* SmallDoc() {
    XmlDoc* doc = XmlDoc::Create();
    XmlNode* root = XmlNode::Create("r");
    doc->SetRootNode(root);
    root->AddNode("c", "");
    return doc;
}

}  // namespace

// ---- XML tree ----

TEST(XmlTreeFaults, DocCreateGivesNullWhenLibraryFails) {
    Scoped fault("xmlNewDoc", kFail);
    XmlDocPtr doc(XmlDoc::Create());
    EXPECT_TRUE(doc == nullptr);
}

TEST(XmlTreeFaults, DocCreateCatchesException) {
    Scoped fault("xmlNewDoc", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, XmlDoc::Create());
    EXPECT_EQ("hh:mm:ss: Create: XmlDoc::Create error catched\n", capture.Stop());
}

TEST(XmlTreeFaults, DocOpenCatchesException) {
    TempDir dir;
    dir.Write("a.xml", "<a/>");
    Scoped fault("xmlReadFile", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, XmlDoc::Open(PathIn(dir, "a.xml")));
    EXPECT_EQ("hh:mm:ss: Open: XmlDoc::Open error catched\n", capture.Stop());
}

TEST(XmlTreeFaults, DocSaveCatchesException) {
    TempDir dir;
    XmlDocPtr doc(SmallDoc());
    Scoped fault("xmlDocDumpMemory", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(doc->Save(PathIn(dir, "a.xml")));
    EXPECT_EQ("hh:mm:ss: Save: XmlDoc::Save error catched\n", capture.Stop());
}

TEST(XmlTreeFaults, DocSaveReportsWriteFailure) {
    TempDir dir;
    XmlDocPtr doc(SmallDoc());
    Scoped fault("xmlDocDumpMemory", kFail);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(doc->Save(PathIn(dir, "a.xml")));
    EXPECT_EQ("hh:mm:ss: Save: can't write xml file\n", capture.Stop());
}

TEST(XmlTreeFaults, DocFreeCatchesExceptionUnderDestructorName) {
    XmlDoc* doc = SmallDoc();
    {
        Scoped fault("xmlFreeDoc", kThrow);
        TraceCapture capture(TRACE_MODE_QUIET);
        doc->Free();
        EXPECT_EQ("hh:mm:ss: Free: XmlDoc::~XmlDoc error catched\n", capture.Stop());
    }
    doc->Free();
}

TEST(XmlTreeFaults, SetRootNodeCatchesException) {
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* node = XmlNode::Create("r");
    {
        Scoped fault("xmlDocSetRootElement", kThrow);
        TraceCapture capture(TRACE_MODE_QUIET);
        EXPECT_EQ(nullptr, doc->SetRootNode(node));
        EXPECT_EQ("hh:mm:ss: SetRootNode: XmlDoc::SetRootNode error catched\n", capture.Stop());
    }
    EXPECT_EQ(nullptr, doc->GetRootNode());
    xmlFreeNode(node);
}

TEST(XmlTreeFaults, GetRootNodeCatchesException) {
    XmlDocPtr doc(SmallDoc());
    Scoped fault("xmlDocGetRootElement", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, doc->GetRootNode());
    EXPECT_EQ("hh:mm:ss: GetRootNode: XmlDoc::GetRootNode error catched\n", capture.Stop());
}

TEST(XmlTreeFaults, NodeCreateGivesNullOrCatchesException) {
    {
        Scoped fault("xmlNewNode", kFail);
        EXPECT_EQ(nullptr, XmlNode::Create("n"));
    }
    Scoped fault("xmlNewNode", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, XmlNode::Create("n"));
    EXPECT_EQ("hh:mm:ss: Create: XmlNode::Create error catched\n", capture.Stop());
}

TEST(XmlTreeFaults, AddAttrGivesNullOrCatchesException) {
    XmlDocPtr doc(SmallDoc());
    XmlNode* root = doc->GetRootNode();
    {
        Scoped fault("xmlSetProp", kFail);
        EXPECT_EQ(nullptr, root->AddAttr("a", "1"));
    }
    Scoped fault("xmlSetProp", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, root->AddAttr("a", "1"));
    EXPECT_EQ("hh:mm:ss: AddAttr: XmlNode::AddAttr error catched\n", capture.Stop());
    EXPECT_TRUE(root->BeginAttr() == root->EndAttr());
}

TEST(XmlTreeFaults, AddNodeGivesNullOrCatchesException) {
    XmlDocPtr doc(SmallDoc());
    XmlNode* root = doc->GetRootNode();
    {
        Scoped fault("xmlNewTextChild", kFail);
        EXPECT_EQ(nullptr, root->AddNode("d", "x"));
    }
    Scoped fault("xmlNewTextChild", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_EQ(nullptr, root->AddNode("d", "x"));
    EXPECT_EQ("hh:mm:ss: AddNode: XmlNode::AddNode error catched\n", capture.Stop());
    EXPECT_EQ(nullptr, root->BeginChild()->Next());
}

// ---- object mapping ----

TEST(XmlObjectFaultsInjected, SaveWithoutDocumentFails) {
    TempDir dir;
    EnvTest::TestHost host;
    Scoped fault("xmlNewDoc", kFail);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(host.Save(PathIn(dir, "h.xml")));
    EXPECT_EQ("hh:mm:ss: Save: can't create xml document object\n", capture.Stop());
    EXPECT_FALSE(dir.Exists("h.xml"));
}

TEST(XmlObjectFaultsInjected, SaveWithoutRootElementFails) {
    TempDir dir;
    EnvTest::TestHost host;
    Scoped fault("xmlNewNode", kFail);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(host.Save(PathIn(dir, "h.xml")));
    EXPECT_EQ("hh:mm:ss: Save: can't create xml node object", capture.Stop());
    EXPECT_FALSE(dir.Exists("h.xml"));
}

TEST(XmlObjectFaultsInjected, SaveFailsWhenChildElementCannotBeAdded) {
    TempDir dir;
    EnvTest::TestHost host;
    Scoped fault("xmlNewTextChild", kFail);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(host.Save(PathIn(dir, "h.xml")));
    EXPECT_EQ("hh:mm:ss: Save: to xml function failed\n", capture.Stop());
}

TEST(XmlObjectFaultsInjected, LoadWithoutRootElementFails) {
    TempDir dir;
    dir.Write("h.xml", "<testhost host=\"h\"/>");
    EnvTest::TestHost host;
    Scoped fault("xmlDocGetRootElement", kFail);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(host.Load(PathIn(dir, "h.xml")));
    EXPECT_EQ("hh:mm:ss: Load: can't get xml node object", capture.Stop());
    EXPECT_EQ(String(""), host.GetHost());
}

TEST(XmlObjectFaultsInjected, LoadWhenParserThrows) {
    TempDir dir;
    dir.Write("h.xml", "<testhost/>");
    EnvTest::TestHost host;
    Scoped fault("xmlReadFile", kThrow);
    TraceCapture capture(TRACE_MODE_QUIET);
    EXPECT_FALSE(host.Load(PathIn(dir, "h.xml")));
    EXPECT_EQ("hh:mm:ss: Open: XmlDoc::Open error catched\n"
              "hh:mm:ss: Load: can't open xml document object\n",
              capture.Stop());
}

TEST(XmlObjectFaultsInjected, ListToXmlFailsWhenItemElementCannotBeAdded) {
    XmlDocPtr doc(SmallDoc());
    Env::XmlObjectList list;
    list.push_back(new EnvTest::TestItem());
    Scoped fault("xmlNewTextChild", kFail);
    EXPECT_FALSE(list.ToXml(doc->GetRootNode()));
}
