// Exceptions, null invokers and dynamic children in the object mapping.
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
using Env::XmlChildInvokerStatic;
using Env::XmlObject;

namespace {

// Attribute "Boom" whose getter and setter both throw.
class ThrowingAttrObject : public XmlObject {
public:
    class Structure : public XmlObjectStructure {
    public:
        Structure() {
            AddChild("Boom", new XmlAttrInvoker<ThrowingAttrObject>(&ThrowingAttrObject::GetBoomStr,
                                                                    &ThrowingAttrObject::SetBoomStr));
        }
    };
    const XmlObjectStructure& GetXmlStructure() const override { return s_structure; }
    const char* ClassName() const override { return "ThrowingAttrObject"; }
    String GetBoomStr() const { throw std::runtime_error("get"); }
    void SetBoomStr(const String&) { throw std::runtime_error("set"); }
    static Structure s_structure;
};
ThrowingAttrObject::Structure ThrowingAttrObject::s_structure;

class ThrowingTagObject : public XmlObject {
public:
    String XmlTag() const override { throw std::runtime_error("tag"); }
};

class ThrowingReadObject : public XmlObject {
public:
    bool FromXml(const Env::XmlNode*) override { throw std::runtime_error("read"); }
};

// Null invokers, an invoker without setter, one without getter and a static
// child whose getters give no object.
class SparseObject : public XmlObject {
public:
    class Structure : public XmlObjectStructure {
    public:
        Structure() {
            AddChild("Nothing", static_cast<XmlAttrInvokerBase*>(nullptr));
            AddChild("NoChild", static_cast<XmlChildInvokerBase*>(nullptr));
            AddChild("WriteOnly",
                     new XmlAttrInvoker<SparseObject>(&SparseObject::GetWriteOnlyStr, nullptr));
            AddChild("ReadOnly",
                     new XmlAttrInvoker<SparseObject>(nullptr, &SparseObject::SetReadOnlyStr));
            AddChild("Absent", new XmlChildInvokerStatic<SparseObject>(nullptr, nullptr));
        }
    };
    const XmlObjectStructure& GetXmlStructure() const override { return s_structure; }
    const char* ClassName() const override { return "Sparse"; }
    String GetWriteOnlyStr() const { return m_written; }
    void SetReadOnlyStr(const String& v) { m_read = v; }
    String m_written = "w";
    String m_read;
    static Structure s_structure;
};
SparseObject::Structure SparseObject::s_structure;

// A child created while reading and handed to its parent, which owns it.
template <class T>
class XmlChildInvokerDynamic : public XmlChildInvokerBase {
public:
    typedef void (T::*Adopter)(XmlObject*);
    explicit XmlChildInvokerDynamic(Adopter adopt) : m_adopt(adopt) {}
    ChildType Type() const override { return CHILD_DYNAMIC; }
    void InvokeSetter(XmlObject* parent, XmlObject* child) override {
        (static_cast<T*>(parent)->*m_adopt)(child);
    }
    XmlObject* InvokeGetter(XmlObject*) override { return nullptr; }
    const XmlObject* InvokeGetter(const XmlObject*) const override { return nullptr; }

private:
    Adopter m_adopt;
};

class FailingReader : public XmlObject {
public:
    bool FromXml(const Env::XmlNode*) override { return false; }
    static XmlObject* Create() { return new FailingReader(); }
};

class DynamicHolder : public XmlObject {
public:
    class Structure : public XmlObjectStructure {
    public:
        Structure() {
            Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
            if (builder != nullptr) builder->RegisterCreator("FailingReader", &FailingReader::Create);
            AddChild("TestItem", new XmlChildInvokerDynamic<DynamicHolder>(&DynamicHolder::Adopt));
            AddChild("Ghost", new XmlChildInvokerDynamic<DynamicHolder>(&DynamicHolder::Adopt));
            AddChild("FailingReader",
                     new XmlChildInvokerDynamic<DynamicHolder>(&DynamicHolder::Adopt));
        }
    };
    const XmlObjectStructure& GetXmlStructure() const override { return s_structure; }
    const char* ClassName() const override { return "DynamicHolder"; }
    void Adopt(XmlObject* child) { m_children.emplace_back(child); }
    std::vector<std::unique_ptr<XmlObject>> m_children;
    static Structure s_structure;
};
DynamicHolder::Structure DynamicHolder::s_structure;

bool LoadText(XmlObject& object, const std::string& content) {
    TempDir dir;
    dir.Write("in.xml", content);
    return object.Load(PathIn(dir, "in.xml"));
}

}  // namespace

TEST(XmlObjectFaults, ThrowingGetterIsCaughtInToXml) {
    TempDir dir;
    ThrowingAttrObject object;
    TraceCapture capture;
    EXPECT_FALSE(object.Save(PathIn(dir, "t.xml")));
    EXPECT_EQ("hh:mm:ss: ToXml: XmlObject::ToXml error catched\n"
              "hh:mm:ss: Save: to xml function failed\n",
              capture.Stop());
    EXPECT_FALSE(dir.Exists("t.xml"));
}

TEST(XmlObjectFaults, ThrowingSetterIsCaughtInFromXml) {
    ThrowingAttrObject object;
    TraceCapture capture;
    EXPECT_FALSE(LoadText(object, "<x name=\"first\" boom=\"1\"/>"));
    EXPECT_EQ("hh:mm:ss: FromXml: XmlObject::FromXml error catched\n"
              "hh:mm:ss: Load: from xml function failed\n",
              capture.Stop());
    EXPECT_EQ(String("first"), object.GetName());
}

TEST(XmlObjectFaults, ExceptionInsideSaveIsCaught) {
    TempDir dir;
    ThrowingTagObject object;
    TraceCapture capture;
    EXPECT_FALSE(object.Save(PathIn(dir, "t.xml")));
    EXPECT_EQ("hh:mm:ss: Save: XmlObjectFile::Save error catched\n", capture.Stop());
    EXPECT_FALSE(dir.Exists("t.xml"));
}

TEST(XmlObjectFaults, ExceptionInsideLoadIsCaught) {
    ThrowingReadObject object;
    TraceCapture capture;
    EXPECT_FALSE(LoadText(object, "<x/>"));
    EXPECT_EQ("hh:mm:ss: Load: XmlObjectFile::Load error catched\n", capture.Stop());
}

TEST(XmlObjectFaults, NullAndPartialInvokersAreSkippedOnSave) {
    TempDir dir;
    SparseObject object;
    ASSERT_TRUE(object.Save(PathIn(dir, "s.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<sparse writeonly=\"w\"/>\n", dir.Read("s.xml"));
}

TEST(XmlObjectFaults, NullAndPartialInvokersAreSkippedOnLoad) {
    SparseObject object;
    ASSERT_TRUE(LoadText(object,
                         "<sparse nothing=\"1\" writeonly=\"changed\" readonly=\"r\">"
                         "<nochild/><absent/></sparse>"));
    EXPECT_EQ(String("w"), object.m_written);
    EXPECT_EQ(String("r"), object.m_read);
}

TEST(XmlObjectFaults, DynamicChildrenAreCreatedAndHandedToParent) {
    DynamicHolder holder;
    TraceCapture capture;
    ASSERT_TRUE(LoadText(holder,
                         "<dynamicholder><testitem label=\"x\"/><ghost/>"
                         "<TestItem label=\"y\"/></dynamicholder>"));
    EXPECT_EQ("hh:mm:ss: trace> Create: unknown xml object name, can't create object\n",
              capture.Stop());
    ASSERT_EQ(2u, holder.m_children.size());
    auto* x = dynamic_cast<EnvTest::TestItem*>(holder.m_children[0].get());
    auto* y = dynamic_cast<EnvTest::TestItem*>(holder.m_children[1].get());
    ASSERT_NE(nullptr, x);
    ASSERT_NE(nullptr, y);
    EXPECT_EQ(String("x"), x->GetLabel());
    EXPECT_EQ(String("y"), y->GetLabel());
}

TEST(XmlObjectFaults, FailingDynamicChildStopsLoad) {
    DynamicHolder holder;
    TraceCapture capture;
    EXPECT_FALSE(LoadText(holder,
                          "<dynamicholder><testitem/><failingreader/><testitem/></dynamicholder>"));
    EXPECT_EQ("hh:mm:ss: Load: from xml function failed\n", capture.Stop());
    EXPECT_EQ(2u, holder.m_children.size());
}

TEST(XmlObjectFaults, DynamicChildrenAreNotWritten) {
    TempDir dir;
    DynamicHolder holder;
    holder.Adopt(new EnvTest::TestItem());
    ASSERT_TRUE(holder.Save(PathIn(dir, "d.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<dynamicholder/>\n", dir.Read("d.xml"));
}
