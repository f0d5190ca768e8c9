#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "XmlObjBuilder.h"
#include "XmlObject.h"
#include "temp_dir.h"
#include "test_objects.h"
#include "test_paths.h"
#include "trace_capture.h"

using Env::String;
using Env::XmlAttrInvoker;
using Env::XmlAttrInvokerBase;
using Env::XmlChildInvokerBase;
using Env::XmlObject;
using EnvTest::BrokenHost;
using EnvTest::TestHost;
using EnvTest::TestItem;

namespace {

const char kHostFile[] =
    "<?xml version=\"1.0\"?>\n"
    "<testhost active=\"true\" host=\"192.0.2.10\" name=\"main\" port=\"2222\"><items>"
    "<testitem count=\"3\" enabled=\"true\" label=\"first\" name=\"a\"></testitem>"
    "<testitem count=\"300\" enabled=\"false\" name=\"b\" status=\"off\"></testitem>"
    "</items><settings level=\"0\" mode=\"fast\"></settings></testhost>\n";

void FillHost(TestHost& host) {
    host.SetName("main");
    host.SetHost("192.0.2.10");
    host.SetPort(2222);
    host.SetActive(true);
    TestItem* first = new TestItem();
    first->SetName("a");
    first->SetLabel("first");
    first->SetCount(3);
    first->SetEnabled(true);
    TestItem* second = new TestItem();
    second->SetName("b");
    second->SetStatus("off");
    host.GetItems().push_back(first);
    host.GetItems().push_back(second);
    host.GetSettings().SetMode("fast");
}

const TestItem* ItemAt(TestHost& host, int index) {
    Env::XmlObjectList::iterator it = host.GetItems().begin();
    for (int i = 0; i < index; ++i) ++it;
    return dynamic_cast<const TestItem*>(*it);
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Loads `content` written to a file into `object`.
bool LoadText(XmlObject& object, const std::string& content) {
    TempDir dir;
    dir.Write("in.xml", content);
    return object.Load(PathIn(dir, "in.xml"));
}

}  // namespace

// ---- structure ----

TEST(XmlObjectStructure, BaseStructureHoldsLowerCasedName) {
    const XmlObject::XmlObjectStructure& s = XmlObject::m_gXmlStructure;
    ASSERT_EQ(1u, s.GetAttributes().size());
    EXPECT_EQ(String("name"), s.GetAttributes().begin()->first);
    EXPECT_TRUE(s.getChildren().empty());
}

TEST(XmlObjectStructure, LookupsIgnoreCase) {
    const XmlObject::XmlObjectStructure& s = TestHost::m_gTestHostStructure;
    EXPECT_NE(nullptr, s.AttributeByName("HOST"));
    EXPECT_EQ(s.AttributeByName("host"), s.AttributeByName("Host"));
    EXPECT_NE(nullptr, s.ChildByName("iTeMs"));
    EXPECT_EQ(nullptr, s.AttributeByName("items"));
    EXPECT_EQ(nullptr, s.ChildByName("host"));
}

TEST(XmlObjectStructure, DerivedStructureStartsWithBaseEntries) {
    const XmlObject::XmlObjectStructure& s = TestHost::m_gTestHostStructure;
    std::string keys;
    for (auto it = s.GetAttributes().begin(); it != s.GetAttributes().end(); ++it)
        keys += it->first + ",";
    EXPECT_EQ("active,host,name,port,status,", keys);
}

TEST(XmlObjectStructure, AddChildReplacesEntryOfSameName) {
    XmlObject::XmlObjectStructure s;
    XmlAttrInvokerBase* first = new XmlAttrInvoker<TestItem>(&TestItem::GetLabelStr, nullptr);
    XmlAttrInvokerBase* second = new XmlAttrInvoker<TestItem>(nullptr, &TestItem::SetLabelStr);
    s.AddChild("Label", first);
    s.AddChild("LABEL", second);
    EXPECT_EQ(second, s.AttributeByName("label"));
    EXPECT_EQ(2u, s.GetAttributes().size());
}

// ---- tags and creation ----

TEST(XmlObject, TagIsLowerCasedClassNameWhateverTheName) {
    TestHost host;
    host.SetName("Other");
    EXPECT_EQ(String("testhost"), host.XmlTag());
    EXPECT_EQ(String("xmlobject"), XmlObject().XmlTag());
}

TEST(XmlObject, CreateMakesDefaultObject) {
    std::unique_ptr<XmlObject> object(XmlObject::Create());
    EXPECT_STREQ("XmlObject", object->ClassName());
    EXPECT_EQ(String(""), object->GetName());
    EXPECT_EQ(String(""), object->GetValue());
}

TEST(XmlObject, NameAndValueAccessorsShareTheirField) {
    XmlObject object;
    object.SetNameStr("n");
    object.SetValueStr("v");
    EXPECT_EQ(String("n"), object.GetName());
    EXPECT_EQ(String("v"), object.GetValue());
}

// ---- saving ----

TEST(XmlObjectSave, WritesWholeTreeByteForByte) {
    TempDir dir;
    TestHost host;
    FillHost(host);
    ASSERT_TRUE(host.Save(PathIn(dir, "host.xml")));
    EXPECT_EQ(kHostFile, dir.Read("host.xml"));
}

TEST(XmlObjectSave, TracesByteCountInDebugMode) {
    TempDir dir;
    TestHost host;
    TraceCapture capture;
    ASSERT_TRUE(host.Save(PathIn(dir, "host.xml")));
    std::string out = capture.Stop();
    std::string expected = "hh:mm:ss: trace> Save: xml saved to file, " +
                           std::to_string(dir.Read("host.xml").size()) + " bytes writter\n";
    EXPECT_EQ(expected, out);
}

TEST(XmlObjectSave, EmptyStringAttributesAreLeftOut) {
    TempDir dir;
    TestItem item;
    ASSERT_TRUE(item.Save(PathIn(dir, "item.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<testitem count=\"300\" enabled=\"false\"/>\n",
              dir.Read("item.xml"));
}

// libxml2 writes a root without text or children as an empty-element tag.
TEST(XmlObjectSave, ObjectWithoutAttributesHasBareElement) {
    TempDir dir;
    XmlObject object;
    ASSERT_TRUE(object.Save(PathIn(dir, "o.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<xmlobject/>\n", dir.Read("o.xml"));
}

TEST(XmlObjectSave, ValueBecomesElementText) {
    TempDir dir;
    TestHost host;
    host.SetValue("v<1>");
    host.GetSettings().SetValue("s");
    ASSERT_TRUE(host.Save(PathIn(dir, "v.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<testhost active=\"false\" port=\"22\">"
              "v&lt;1&gt;<items></items><settings level=\"0\">s</settings></testhost>\n",
              dir.Read("v.xml"));
}

TEST(XmlObjectSave, EmptyFileNameFailsWithTrace) {
    TestHost host;
    TraceCapture capture;
    EXPECT_FALSE(host.Save(""));
    EXPECT_EQ("hh:mm:ss: Save: xml file name is not defined\n", capture.Stop());
}

TEST(XmlObjectSave, MissingDirectoryFailsWithTrace) {
    TempDir dir;
    TestHost host;
    TraceCapture capture;
    EXPECT_FALSE(host.Save(PathIn(dir, "missing/host.xml")));
    std::string out = capture.Stop();
    EXPECT_TRUE(Contains(out, "hh:mm:ss: Save: can't write xml file\n")) << out;
    EXPECT_FALSE(dir.Exists("missing"));
}

TEST(XmlObjectSave, FailingChildStopsSaveAndWritesNothing) {
    TempDir dir;
    BrokenHost host;
    host.SetHostStr("h");
    TraceCapture capture;
    EXPECT_FALSE(host.Save(PathIn(dir, "broken.xml")));
    EXPECT_EQ("hh:mm:ss: Save: to xml function failed\n", capture.Stop());
    EXPECT_FALSE(dir.Exists("broken.xml"));
}

TEST(XmlObjectSave, FailingChildLeavesExistingFileUntouched) {
    TempDir dir;
    dir.Write("broken.xml", "old");
    BrokenHost host;
    TraceCapture capture;
    EXPECT_FALSE(host.Save(PathIn(dir, "broken.xml")));
    capture.Stop();
    EXPECT_EQ("old", dir.Read("broken.xml"));
}

// ---- loading ----

TEST(XmlObjectLoad, SavedFileLoadsBack) {
    TempDir dir;
    {
        TestHost host;
        FillHost(host);
        ASSERT_TRUE(host.Save(PathIn(dir, "host.xml")));
    }
    TestHost loaded;
    ASSERT_TRUE(loaded.Load(PathIn(dir, "host.xml")));
    EXPECT_EQ(String("main"), loaded.GetName());
    EXPECT_EQ(String("192.0.2.10"), loaded.GetHost());
    EXPECT_EQ(2222, loaded.GetPort());
    EXPECT_TRUE(loaded.GetActive());
    EXPECT_EQ(String("fast"), loaded.GetSettings().GetMode());
    ASSERT_EQ(2u, loaded.GetItems().size());
    const TestItem* first = ItemAt(loaded, 0);
    const TestItem* second = ItemAt(loaded, 1);
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(String("a"), first->GetName());
    EXPECT_EQ(String("first"), first->GetLabel());
    EXPECT_EQ(3, first->GetCount());
    EXPECT_TRUE(first->GetEnabled());
    EXPECT_EQ(String("b"), second->GetName());
    EXPECT_EQ(String("off"), second->GetStatus());
    EXPECT_EQ(300, second->GetCount());
    EXPECT_FALSE(second->GetEnabled());
    EXPECT_EQ(String("Items"), loaded.GetItems().GetName());
}

TEST(XmlObjectLoad, ResavingLoadedFileGivesSameBytes) {
    TempDir dir;
    dir.Write("in.xml", kHostFile);
    TestHost host;
    ASSERT_TRUE(host.Load(PathIn(dir, "in.xml")));
    ASSERT_TRUE(host.Save(PathIn(dir, "out.xml")));
    EXPECT_EQ(kHostFile, dir.Read("out.xml"));
}

TEST(XmlObjectLoad, NamesInAnyCaseLoadLikeLowerCase) {
    TestHost host;
    ASSERT_TRUE(LoadText(host,
                         "<TestHost HOST=\"h\" Port=\"7\" AcTiVe=\"True\"><ITEMS>"
                         "<TestItem Label=\"x\" COUNT=\"4\"/></ITEMS>"
                         "<Settings MODE=\"m\"/></TestHost>"));
    EXPECT_EQ(String("h"), host.GetHost());
    EXPECT_EQ(7, host.GetPort());
    EXPECT_TRUE(host.GetActive());
    EXPECT_EQ(String("m"), host.GetSettings().GetMode());
    ASSERT_EQ(1u, host.GetItems().size());
    EXPECT_EQ(String("x"), ItemAt(host, 0)->GetLabel());
    EXPECT_EQ(4, ItemAt(host, 0)->GetCount());
}

TEST(XmlObjectLoad, NameAttributeInEveryCaseSetsSameProperty) {
    const char* forms[] = {"NAME", "Name", "name"};
    for (const char* form : forms) {
        TestHost host;
        ASSERT_TRUE(LoadText(host, std::string("<testhost ") + form + "=\"n1\"/>"));
        EXPECT_EQ(String("n1"), host.GetName()) << form;
    }
}

TEST(XmlObjectLoad, IntAndBoolTextsFollowTheirRules) {
    struct Case {
        const char* count;
        int expectedCount;
        const char* enabled;
        bool expectedEnabled;
    } cases[] = {{"12abc", 12, "TRUE", true}, {"abc", 0, "1", false},
                 {"-5", -5, "yes", false},   {"", 0, "", false},
                 {" 8", 8, "True", true}};
    for (const Case& c : cases) {
        TestHost host;
        ASSERT_TRUE(LoadText(host, std::string("<testhost><items><testitem count=\"") + c.count +
                                       "\" enabled=\"" + c.enabled + "\"/></items></testhost>"));
        ASSERT_EQ(1u, host.GetItems().size());
        EXPECT_EQ(c.expectedCount, ItemAt(host, 0)->GetCount()) << c.count;
        EXPECT_EQ(c.expectedEnabled, ItemAt(host, 0)->GetEnabled()) << c.enabled;
    }
}

TEST(XmlObjectLoad, MissingAttributesKeepDefaults) {
    TestHost host;
    ASSERT_TRUE(LoadText(host, "<testhost host=\"h\"><items><testitem/></items></testhost>"));
    EXPECT_EQ(22, host.GetPort());
    EXPECT_FALSE(host.GetActive());
    EXPECT_EQ(String(""), host.GetName());
    ASSERT_EQ(1u, host.GetItems().size());
    EXPECT_EQ(300, ItemAt(host, 0)->GetCount());
    EXPECT_EQ(String(""), ItemAt(host, 0)->GetLabel());
}

TEST(XmlObjectLoad, AttributesLackingInFileKeepCurrentValues) {
    TestHost host;
    host.SetHost("kept");
    host.SetPort(99);
    ASSERT_TRUE(LoadText(host, "<testhost active=\"true\"/>"));
    EXPECT_EQ(String("kept"), host.GetHost());
    EXPECT_EQ(99, host.GetPort());
    EXPECT_TRUE(host.GetActive());
}

TEST(XmlObjectLoad, UnknownAttributesAndElementsAreIgnored) {
    TestHost host;
    ASSERT_TRUE(LoadText(host,
                         "<testhost user=\"u\" host=\"h\" password=\"p\">"
                         "<unknown port=\"1\"><settings mode=\"inner\"/></unknown>"
                         "<settings mode=\"m\" colour=\"red\"/><extra/></testhost>"));
    EXPECT_EQ(String("h"), host.GetHost());
    EXPECT_EQ(22, host.GetPort());
    EXPECT_EQ(String("m"), host.GetSettings().GetMode());
}

TEST(XmlObjectLoad, ChildFoundThroughItsNameAttribute) {
    TestHost host;
    ASSERT_TRUE(LoadText(host, "<testhost><config NAME=\"Settings\" mode=\"slow\"/></testhost>"));
    EXPECT_EQ(String("slow"), host.GetSettings().GetMode());
}

TEST(XmlObjectLoad, UnregisteredNameAttributeLeavesElementIgnored) {
    TestHost host;
    ASSERT_TRUE(LoadText(host, "<testhost><config name=\"other\" mode=\"slow\"/></testhost>"));
    EXPECT_EQ(String(""), host.GetSettings().GetMode());
}

TEST(XmlObjectLoad, RootWithAnotherTagIsReadAllTheSame) {
    TestHost host;
    ASSERT_TRUE(LoadText(host, "<somethingelse host=\"h\"><settings mode=\"m\"/></somethingelse>"));
    EXPECT_EQ(String("h"), host.GetHost());
    EXPECT_EQ(String("m"), host.GetSettings().GetMode());
}

TEST(XmlObjectLoad, FirstTextPieceBecomesValue) {
    TestHost host;
    ASSERT_TRUE(LoadText(host, "<testhost>one<settings>inner</settings>two</testhost>"));
    EXPECT_EQ(String("one"), host.GetValue());
    EXPECT_EQ(String("inner"), host.GetSettings().GetValue());
}

TEST(XmlObjectLoad, ElementWithoutTextGivesEmptyValue) {
    TestHost host;
    host.SetValue("before");
    ASSERT_TRUE(LoadText(host, "<testhost/>"));
    EXPECT_EQ(String(""), host.GetValue());
}

TEST(XmlObjectLoad, HandIndentationBecomesValueAndIsWrittenBack) {
    TempDir dir;
    dir.Write("in.xml",
              "<?xml version=\"1.0\"?>\n"
              "<testhost host=\"h\">\n"
              "  <settings mode=\"m\"/>\n"
              "</testhost>\n");
    TestHost host;
    ASSERT_TRUE(host.Load(PathIn(dir, "in.xml")));
    EXPECT_EQ(String("\n  "), host.GetValue());
    EXPECT_EQ(String(""), host.GetSettings().GetValue());
    ASSERT_TRUE(host.Save(PathIn(dir, "out.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<testhost active=\"false\" host=\"h\" port=\"22\">\n  "
              "<items></items><settings level=\"0\" mode=\"m\"></settings></testhost>\n",
              dir.Read("out.xml"));
}

TEST(XmlObjectLoad, EmptyFileNameFailsWithTrace) {
    TestHost host;
    TraceCapture capture;
    EXPECT_FALSE(host.Load(""));
    EXPECT_EQ("hh:mm:ss: Load: xml file name is not defined\n", capture.Stop());
}

TEST(XmlObjectLoad, MissingFileFailsWithTrace) {
    TempDir dir;
    TestHost host;
    TraceCapture capture;
    EXPECT_FALSE(host.Load(PathIn(dir, "missing.xml")));
    std::string out = capture.Stop();
    EXPECT_TRUE(Contains(out, "hh:mm:ss: Load: can't open xml document object\n")) << out;
}

TEST(XmlObjectLoad, MalformedFileFailsWithTrace) {
    TestHost host;
    TraceCapture capture;
    EXPECT_FALSE(LoadText(host, "<testhost host=\"h\"><items></testhost>"));
    std::string out = capture.Stop();
    EXPECT_TRUE(Contains(out, "hh:mm:ss: Load: can't open xml document object\n")) << out;
    EXPECT_EQ(String(""), host.GetHost());
}

TEST(XmlObjectLoad, EmptyFileFailsWithTrace) {
    TestHost host;
    TraceCapture capture;
    EXPECT_FALSE(LoadText(host, ""));
    std::string out = capture.Stop();
    EXPECT_TRUE(Contains(out, "hh:mm:ss: Load: can't open xml document object\n")) << out;
}

TEST(XmlObjectLoad, FailingChildStopsLoadButKeepsWhatWasRead) {
    BrokenHost host;
    TraceCapture capture;
    EXPECT_FALSE(LoadText(host,
                          "<brokenhost host=\"h\"><alpha mode=\"a\"/><broken/>"
                          "<alpha mode=\"late\"/>tail</brokenhost>"));
    EXPECT_EQ("hh:mm:ss: Load: from xml function failed\n", capture.Stop());
    EXPECT_EQ(String("h"), host.GetHostStr());
    EXPECT_EQ(String("a"), host.GetAlpha().GetMode());
    EXPECT_EQ(String(""), host.GetValue());
}
