#include <gtest/gtest.h>
#include <libxml/tree.h>

#include "XmlObject.h"
#include "XmlTree.h"
#include "temp_dir.h"
#include "test_paths.h"
#include "trace_capture.h"

using Env::ConstAttrIterator;
using Env::ConstNodeIterator;
using Env::NodeIterator;
using Env::String;
using Env::XmlAttr;
using Env::XmlDoc;
using Env::XmlDocPtr;
using Env::XmlNode;

namespace {

const char kSample[] = "<a> text <!--c--> <b x=\"1\" Y=\"2\"/> more <c/></a>";

class XmlTreeSample : public testing::Test {
protected:
    void SetUp() override {
        dir_.Write("sample.xml", kSample);
        doc_ = XmlDoc::Open(PathIn(dir_, "sample.xml"));
        ASSERT_NE(nullptr, doc_);
        a_ = doc_->GetRootNode();
        ASSERT_NE(nullptr, a_);
        b_ = a_->BeginChild().ptr();
        ASSERT_NE(nullptr, b_);
    }
    void TearDown() override {
        if (doc_ != nullptr) doc_->Free();
    }

    TempDir dir_;
    XmlDoc* doc_ = nullptr;
    XmlNode* a_ = nullptr;
    XmlNode* b_ = nullptr;
};

// The whole document as libxml2's file writer produces it.
std::string SavedText(XmlDoc* doc, const TempDir& dir) {
    EXPECT_TRUE(doc->Save(PathIn(dir, "out.xml")));
    return dir.Read("out.xml");
}

}  // namespace

TEST(XmlTree, VersionTextIsOnePointZero) { EXPECT_STREQ("1.0", Env::XML_VER); }

TEST(XmlTree, OpenOfMissingFileReturnsNull) {
    TempDir dir;
    TraceCapture capture;
    EXPECT_EQ(nullptr, XmlDoc::Open(PathIn(dir, "missing.xml")));
    capture.Stop();
}

TEST(XmlTree, OpenOfMalformedFileReturnsNull) {
    TempDir dir;
    dir.Write("bad.xml", "<a><b></a>");
    TraceCapture capture;
    EXPECT_EQ(nullptr, XmlDoc::Open(PathIn(dir, "bad.xml")));
    capture.Stop();
}

TEST(XmlTree, CreateMakesEmptyDocumentOfVersionOne) {
    XmlDocPtr doc(XmlDoc::Create());
    ASSERT_FALSE(doc == nullptr);
    EXPECT_EQ(nullptr, doc->GetRootNode());
    EXPECT_STREQ("1.0", reinterpret_cast<const char*>(doc->version));
}

TEST_F(XmlTreeSample, FirstChildSkipsTextAndComments) {
    EXPECT_EQ(String("b"), b_->Name());
}

TEST_F(XmlTreeSample, NextAndPrevVisitOnlyElements) {
    XmlNode* c = b_->Next();
    ASSERT_NE(nullptr, c);
    EXPECT_EQ(String("c"), c->Name());
    EXPECT_EQ(nullptr, c->Next());
    EXPECT_EQ(b_, c->Prev());
    EXPECT_EQ(nullptr, b_->Prev());
}

TEST_F(XmlTreeSample, ConstNavigationMatchesNonConst) {
    const XmlNode* ca = a_;
    const XmlNode* cb = ca->BeginChild().ptr();
    EXPECT_EQ(b_, cb);
    ASSERT_NE(nullptr, cb->Next());
    EXPECT_EQ(cb, cb->Next()->Prev());
    EXPECT_EQ(nullptr, cb->Next()->Next());
}

TEST_F(XmlTreeSample, ValueIsFirstTextPieceOnly) {
    EXPECT_EQ(String(" text "), a_->Value());
}

TEST(XmlTree, ValuePassesOverCommentsAndElementsBeforeText) {
    TempDir dir;
    dir.Write("v.xml", "<a><!--c--><b>inner</b>later<c/>last</a>");
    XmlDocPtr doc(XmlDoc::Open(PathIn(dir, "v.xml")));
    ASSERT_FALSE(doc == nullptr);
    EXPECT_EQ(String("later"), doc->GetRootNode()->Value());
}

TEST_F(XmlTreeSample, ValueOfElementWithoutTextIsEmpty) {
    EXPECT_EQ(String(""), b_->Value());
}

TEST_F(XmlTreeSample, ChildIterationVisitsElementsInOrder) {
    std::string names;
    for (NodeIterator it = a_->BeginChild(); it != a_->EndChild(); ++it) names += (*it)->Name();
    EXPECT_EQ("bc", names);
    const XmlNode* ca = a_;
    names.clear();
    for (ConstNodeIterator it = ca->BeginChild(); it != ca->EndChild(); it++) names += it->Name();
    EXPECT_EQ("bc", names);
}

TEST_F(XmlTreeSample, IteratorStepsBackAndComparesPositions) {
    NodeIterator it = a_->BeginChild();
    NodeIterator first = it++;
    EXPECT_EQ(b_, first.ptr());
    EXPECT_EQ(String("c"), it->Name());
    EXPECT_TRUE(first != it);
    --it;
    EXPECT_TRUE(first == it);
    NodeIterator again = it--;
    EXPECT_EQ(b_, again.ptr());
    EXPECT_TRUE(it == a_->EndChild());
}

TEST_F(XmlTreeSample, ElementWithoutChildrenHasEmptyIteration) {
    XmlNode* c = b_->Next();
    EXPECT_TRUE(c->BeginChild() == c->EndChild());
    EXPECT_TRUE(c->BeginAttr() == c->EndAttr());
}

TEST_F(XmlTreeSample, ConstGetAttrIgnoresCase) {
    const XmlNode* cb = b_;
    const XmlAttr* y = cb->GetAttr("y");
    ASSERT_NE(nullptr, y);
    EXPECT_EQ(String("Y"), y->Name());
    EXPECT_EQ(String("2"), y->Value());
    EXPECT_EQ(nullptr, cb->GetAttr("z"));
}

TEST_F(XmlTreeSample, NonConstGetAttrIsCaseSensitive) {
    EXPECT_EQ(nullptr, b_->GetAttr("y"));
    XmlAttr* y = b_->GetAttr("Y");
    ASSERT_NE(nullptr, y);
    EXPECT_EQ(String("2"), y->Value());
}

TEST_F(XmlTreeSample, AttributesIterateInDocumentOrder) {
    std::string seen;
    for (ConstAttrIterator it = static_cast<const XmlNode*>(b_)->BeginAttr();
         it != static_cast<const XmlNode*>(b_)->EndAttr(); ++it)
        seen += it->Name() + "=" + it->Value() + ";";
    EXPECT_EQ("x=1;Y=2;", seen);
    XmlAttr* x = b_->GetAttr("x");
    ASSERT_NE(nullptr, x);
    EXPECT_EQ(b_->GetAttr("Y"), x->Next());
    EXPECT_EQ(x, x->Next()->Prev());
    EXPECT_EQ(nullptr, x->Prev());
}

TEST_F(XmlTreeSample, AddAttrReplacesExistingValue) {
    XmlAttr* x = b_->AddAttr("x", "3");
    ASSERT_NE(nullptr, x);
    EXPECT_EQ(String("3"), b_->GetAttr("x")->Value());
    int count = 0;
    for (Env::AttrIterator it = b_->BeginAttr(); it != b_->EndAttr(); ++it) ++count;
    EXPECT_EQ(2, count);
}

TEST_F(XmlTreeSample, SetValueReplacesAllChildren) {
    a_->SetValue("only");
    EXPECT_EQ(String("only"), a_->Value());
    EXPECT_TRUE(a_->BeginChild() == a_->EndChild());
}

TEST(XmlTree, AddNodeEscapesSpecialCharacters) {
    TempDir dir;
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* root = XmlNode::Create("root");
    doc->SetRootNode(root);
    XmlNode* child = root->AddNode("name", "a<b");
    ASSERT_NE(nullptr, child);
    EXPECT_EQ(String("a<b"), child->Value());
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<root><name>a&lt;b</name></root>\n", SavedText(doc.operator->(), dir));
}

TEST(XmlTree, SetRootNodeReturnsPreviousRoot) {
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* first = XmlNode::Create("first");
    XmlNode* second = XmlNode::Create("second");
    EXPECT_EQ(nullptr, doc->SetRootNode(first));
    EXPECT_EQ(first, doc->GetRootNode());
    EXPECT_EQ(first, doc->SetRootNode(second));
    EXPECT_EQ(second, doc->GetRootNode());
    xmlFreeNode(first);  // unlinked from the document, so ours to release
}

TEST(XmlTree, SaveWritesDeclarationAndOneLineTreeAndTracesByteCount) {
    TempDir dir;
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* root = XmlNode::Create("r");
    doc->SetRootNode(root);
    root->AddAttr("k", "v");
    root->AddNode("s", "");
    TraceCapture capture;
    ASSERT_TRUE(doc->Save(PathIn(dir, "f.xml")));
    std::string out = capture.Stop();
    std::string text = dir.Read("f.xml");
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<r k=\"v\"><s></s></r>\n", text);
    EXPECT_NE(std::string::npos,
              out.find("hh:mm:ss: trace> Save: xml saved to file, " + std::to_string(text.size()) +
                       " bytes writter\n"))
        << out;
}

TEST(XmlTree, SaveIntoMissingDirectoryFailsWithTrace) {
    TempDir dir;
    XmlDocPtr doc(XmlDoc::Create());
    doc->SetRootNode(XmlNode::Create("r"));
    TraceCapture capture;
    EXPECT_FALSE(doc->Save(PathIn(dir, "no/such/dir/f.xml")));
    std::string out = capture.Stop();
    EXPECT_NE(std::string::npos, out.find("hh:mm:ss: Save: can't write xml file\n")) << out;
    EXPECT_FALSE(dir.Exists("no"));
}

TEST(XmlTree, AttributeWithoutChildNodeHasEmptyValue) {
    XmlDocPtr doc(XmlDoc::Create());
    XmlNode* root = XmlNode::Create("r");
    doc->SetRootNode(root);
    xmlSetProp(root, reinterpret_cast<const xmlChar*>("e"), nullptr);
    XmlAttr* e = root->GetAttr("e");
    ASSERT_NE(nullptr, e);
    ASSERT_EQ(nullptr, e->children);
    EXPECT_EQ(String(""), e->Value());
}

TEST(XmlTree, ParsedEmptyAttributeHasEmptyValue) {
    TempDir dir;
    dir.Write("e.xml", "<r e=\"\"/>");
    XmlDocPtr doc(XmlDoc::Open(PathIn(dir, "e.xml")));
    ASSERT_FALSE(doc == nullptr);
    const XmlNode* root = doc->GetRootNode();
    ASSERT_NE(nullptr, root->GetAttr("E"));
    EXPECT_EQ(String(""), root->GetAttr("E")->Value());
}

TEST(XmlTree, NodeCreatedOutsideDocumentCanBeAdopted) {
    XmlNode* node = XmlNode::Create("lonely");
    ASSERT_NE(nullptr, node);
    EXPECT_EQ(String("lonely"), node->Name());
    EXPECT_EQ(nullptr, node->doc);
    XmlDocPtr doc(XmlDoc::Create());
    doc->SetRootNode(node);
    EXPECT_EQ(node, doc->GetRootNode());
    EXPECT_EQ(static_cast<void*>(doc.operator->()), static_cast<void*>(node->doc));
}

TEST(XmlTree, DocPtrHoldingNullDoesNothing) {
    {
        XmlDocPtr doc(nullptr);
        EXPECT_TRUE(doc == nullptr);
    }
    TempDir dir;
    TraceCapture capture;
    {
        XmlDocPtr missing(XmlDoc::Open(PathIn(dir, "missing.xml")));
        EXPECT_TRUE(missing == nullptr);
    }
    capture.Stop();
}
