#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "XmlObjBuilder.h"
#include "XmlObjectList.h"
#include "temp_dir.h"
#include "test_objects.h"
#include "test_paths.h"
#include "trace_capture.h"

using Env::String;
using Env::XmlDoc;
using Env::XmlDocPtr;
using Env::XmlNode;
using Env::XmlObject;
using Env::XmlObjectList;
using EnvTest::CountedItem;
using EnvTest::TestItem;

namespace {

TestItem* Item(const char* label) {
    TestItem* item = new TestItem();
    item->SetLabel(label);
    return item;
}

std::string Labels(const XmlObjectList& list) {
    std::string labels;
    for (XmlObjectList::const_iterator it = list.begin(); it != list.end(); ++it) {
        const TestItem* item = dynamic_cast<const TestItem*>(*it);
        labels += item == nullptr ? std::string("?") : std::string(item->GetLabel());
        labels += ";";
    }
    return labels;
}

// Root element of a parsed text; the document lives in `doc`.
const XmlNode* Parse(std::unique_ptr<XmlDocPtr>& doc, const TempDir& dir, const std::string& text) {
    dir.Write("list.xml", text);
    doc.reset(new XmlDocPtr(XmlDoc::Open(PathIn(dir, "list.xml"))));
    return (*doc)->GetRootNode();
}

int CountChildren(const XmlNode* node) {
    int count = 0;
    for (Env::ConstNodeIterator it = node->BeginChild(); it != node->EndChild(); ++it) ++count;
    return count;
}

class ThrowingTagItem : public XmlObject {
public:
    String XmlTag() const override { throw std::runtime_error("tag"); }
};

class UnnamedThrowingList : public XmlObjectList {
public:
    const char* ClassName() const override { throw std::runtime_error("class"); }
};

class RejectingItem : public XmlObject {
public:
    RejectingItem() { ++s_live; }
    ~RejectingItem() override { --s_live; }
    bool FromXml(const XmlNode*) override { return false; }
    static XmlObject* Create() { return new RejectingItem(); }
    static int s_live;
};
int RejectingItem::s_live = 0;

class ThrowingReadItem : public XmlObject {
public:
    bool FromXml(const XmlNode*) override { throw std::runtime_error("read"); }
    static XmlObject* Create() { return new ThrowingReadItem(); }
};

// A list that takes only TestItem objects.
class TestItemsOnly : public XmlObjectList {
public:
    TestItemsOnly() { SetName("Items"); }

protected:
    bool AcceptsItem(const XmlObject& item) const override {
        return dynamic_cast<const TestItem*>(&item) != nullptr;
    }
};

void RegisterTestCreators() {
    Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
    builder->RegisterCreator("RejectingItem", &RejectingItem::Create);
    builder->RegisterCreator("ThrowingReadItem", &ThrowingReadItem::Create);
}

}  // namespace

TEST(XmlObjectList, NamedListUsesLowerCasedNameAsTag) {
    XmlObjectList list;
    list.SetName("VMs");
    EXPECT_EQ(String("vms"), list.XmlTag());
}

TEST(XmlObjectList, UnnamedListUsesClassNameAsTag) {
    XmlObjectList list;
    EXPECT_STREQ("XmlObjectList", list.ClassName());
    EXPECT_EQ(String("xmlobjectlist"), list.XmlTag());
}

TEST(XmlObjectList, TagExceptionIsCaught) {
    UnnamedThrowingList list;
    TraceCapture capture;
    EXPECT_EQ(String(""), list.XmlTag());
    EXPECT_EQ("hh:mm:ss: XmlTag: XmlObjectList::XmlTag error catched\n", capture.Stop());
}

TEST(XmlObjectList, CreateGivesEmptyList) {
    std::unique_ptr<XmlObject> object(XmlObjectList::Create());
    XmlObjectList* list = dynamic_cast<XmlObjectList*>(object.get());
    ASSERT_NE(nullptr, list);
    EXPECT_TRUE(list->empty());
    EXPECT_EQ(0u, list->size());
}

TEST(XmlObjectList, SizeAndEmptyFollowContent) {
    XmlObjectList list;
    list.push_back(Item("a"));
    list.push_front(Item("b"));
    EXPECT_FALSE(list.empty());
    EXPECT_EQ(2u, list.size());
    EXPECT_EQ("b;a;", Labels(list));
}

TEST(XmlObjectList, ItemsAreWrittenInInsertionOrder) {
    TempDir dir;
    XmlObjectList list;
    list.SetName("VMs");
    list.push_back(Item("one"));
    list.push_back(Item("two"));
    ASSERT_TRUE(list.Save(PathIn(dir, "l.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<vms>"
              "<testitem count=\"300\" enabled=\"false\" label=\"one\"></testitem>"
              "<testitem count=\"300\" enabled=\"false\" label=\"two\"></testitem></vms>\n",
              dir.Read("l.xml"));
}

TEST(XmlObjectList, PushFrontPutsItemFirstInOutput) {
    TempDir dir;
    XmlObjectList list;
    list.SetName("VMs");
    list.push_back(Item("one"));
    list.push_back(Item("two"));
    list.push_front(Item("zero"));
    ASSERT_TRUE(list.Save(PathIn(dir, "l.xml")));
    std::string text = dir.Read("l.xml");
    size_t zero = text.find("label=\"zero\"");
    ASSERT_NE(std::string::npos, zero);
    EXPECT_LT(zero, text.find("label=\"one\""));
    EXPECT_LT(text.find("label=\"one\""), text.find("label=\"two\""));
}

TEST(XmlObjectList, EmptyListIsElementWithoutChildren) {
    TempDir dir;
    EnvTest::TestHost host;
    ASSERT_TRUE(host.Save(PathIn(dir, "h.xml")));
    std::string text = dir.Read("h.xml");
    EXPECT_NE(std::string::npos, text.find("<items></items>")) << text;
}

TEST(XmlObjectList, ListWritesNoAttributesOfItsOwn) {
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* root = XmlNode::Create("vms");
    doc->SetRootNode(root);
    XmlObjectList list;
    list.SetName("VMs");
    list.SetValue("text");
    list.push_back(Item("x"));
    ASSERT_TRUE(list.ToXml(root));
    EXPECT_TRUE(root->BeginAttr() == root->EndAttr());
    EXPECT_EQ(String(""), root->Value());
    EXPECT_EQ(1, CountChildren(root));
}

TEST(XmlObjectList, FailingItemStopsWritingAtOnce) {
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* root = XmlNode::Create("vms");
    doc->SetRootNode(root);
    XmlObjectList list;
    list.push_back(Item("first"));
    list.push_back(new EnvTest::BrokenChild());
    list.push_back(Item("never"));
    EXPECT_FALSE(list.ToXml(root));
    EXPECT_EQ(2, CountChildren(root));
    EXPECT_EQ(String("first"), root->BeginChild()->GetAttr("label")->Value());
}

TEST(XmlObjectList, ExceptionWhileWritingIsCaught) {
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* root = XmlNode::Create("vms");
    doc->SetRootNode(root);
    XmlObjectList list;
    list.push_back(new ThrowingTagItem());
    TraceCapture capture;
    EXPECT_FALSE(list.ToXml(root));
    EXPECT_EQ("hh:mm:ss: ToXml: XmlObjectList::ToXml error catched\n", capture.Stop());
}

TEST(XmlObjectList, ReadingCreatesItemsThroughBuilder) {
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(doc, dir, "<vms><TestItem label=\"a\"/><testitem label=\"b\"/></vms>");
    XmlObjectList list;
    ASSERT_TRUE(list.FromXml(root));
    EXPECT_EQ("a;b;", Labels(list));
}

TEST(XmlObjectList, ReadingAppendsAfterExistingItems) {
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(doc, dir, "<vms><testitem label=\"new\"/></vms>");
    XmlObjectList list;
    list.push_back(Item("old"));
    ASSERT_TRUE(list.FromXml(root));
    EXPECT_EQ("old;new;", Labels(list));
}

TEST(XmlObjectList, TextAndCommentsBetweenItemsAreIgnored) {
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(doc, dir,
                                "<vms>\n  text <!-- note -->\n  <testitem label=\"a\"/>\n"
                                "  <?pi data?> more\n  <testitem label=\"b\"/>\n</vms>");
    XmlObjectList list;
    ASSERT_TRUE(list.FromXml(root));
    EXPECT_EQ("a;b;", Labels(list));
}

TEST(XmlObjectList, OwnAttributesAndTextAreNotRead) {
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(doc, dir, "<vms name=\"other\">text<testitem/></vms>");
    XmlObjectList list;
    list.SetName("VMs");
    ASSERT_TRUE(list.FromXml(root));
    EXPECT_EQ(String("VMs"), list.GetName());
    EXPECT_EQ(String(""), list.GetValue());
    EXPECT_EQ(1u, list.size());
}

TEST(XmlObjectList, UnknownItemElementIsSkipped) {
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root =
        Parse(doc, dir, "<vms><testitem label=\"a\"/><stranger/><testitem label=\"b\"/></vms>");
    XmlObjectList list;
    TraceCapture capture;
    ASSERT_TRUE(list.FromXml(root));
    EXPECT_EQ("hh:mm:ss: trace> Create: unknown xml object name, can't create object\n",
              capture.Stop());
    EXPECT_EQ("a;b;", Labels(list));
}

TEST(XmlObjectList, ItemThatFailsToReadStopsReadingAndIsDropped) {
    RegisterTestCreators();
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(
        doc, dir, "<vms><testitem label=\"a\"/><rejectingitem/><testitem label=\"c\"/></vms>");
    XmlObjectList list;
    EXPECT_FALSE(list.FromXml(root));
    EXPECT_EQ("a;", Labels(list));
    EXPECT_EQ(0, RejectingItem::s_live);
}

TEST(XmlObjectList, RefusedItemStopsReadingAndIsDropped) {
    RegisterTestCreators();
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(doc, dir,
                                "<items><testitem label=\"a\"/><stranger/><rejectingitem/>"
                                "<testitem label=\"c\"/></items>");
    TestItemsOnly list;
    TraceCapture capture;
    EXPECT_FALSE(list.FromXml(root));
    EXPECT_EQ("hh:mm:ss: trace> Create: unknown xml object name, can't create object\n"
              "hh:mm:ss: trace> FromXml: xml object XmlObject is not allowed in list items\n",
              capture.Stop());
    EXPECT_EQ("a;", Labels(list));
    EXPECT_EQ(0, RejectingItem::s_live);
}

TEST(XmlObjectList, ExceptionWhileReadingIsCaught) {
    RegisterTestCreators();
    TempDir dir;
    std::unique_ptr<XmlDocPtr> doc;
    const XmlNode* root = Parse(doc, dir, "<vms><testitem label=\"a\"/><throwingreaditem/></vms>");
    XmlObjectList list;
    TraceCapture capture;
    EXPECT_FALSE(list.FromXml(root));
    EXPECT_EQ("hh:mm:ss: FromXml: XmlObjectList::FromXml error catched\n", capture.Stop());
    EXPECT_EQ("a;", Labels(list));
}

TEST(XmlObjectList, DestructionDeletesItems) {
    CountedItem::s_live = 0;
    {
        XmlObjectList list;
        list.push_back(new CountedItem());
        list.push_front(new CountedItem());
        EXPECT_EQ(2, CountedItem::s_live);
    }
    EXPECT_EQ(0, CountedItem::s_live);
}

TEST(XmlObjectList, ClearNeverDeletes) {
    CountedItem::s_live = 0;
    CountedItem* a = new CountedItem();
    CountedItem* b = new CountedItem();
    {
        XmlObjectList list;
        list.push_back(a);
        list.push_back(b);
        list.clear();
        EXPECT_TRUE(list.empty());
        EXPECT_EQ(2, CountedItem::s_live);
    }
    EXPECT_EQ(2, CountedItem::s_live);
    delete a;
    delete b;
    EXPECT_EQ(0, CountedItem::s_live);
}

TEST(XmlObjectList, NullItemsAreSkippedOnDestruction) {
    CountedItem::s_live = 0;
    {
        XmlObjectList list;
        list.push_back(nullptr);
        list.push_back(new CountedItem());
        list.push_back(nullptr);
        EXPECT_EQ(3u, list.size());
    }
    EXPECT_EQ(0, CountedItem::s_live);
}
