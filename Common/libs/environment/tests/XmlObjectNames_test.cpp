// Attribute names are written lower-cased and in byte order of the lower-cased
// names, whatever their registered spelling and order.
#include <gtest/gtest.h>

#include "XmlObject.h"
#include "temp_dir.h"
#include "test_paths.h"

using Env::String;
using Env::XmlAttrInvoker;
using Env::XmlObject;

namespace {

class NamedAttrs : public XmlObject {
public:
    class Structure : public XmlObjectStructure {
    public:
        Structure() {
            AddChild("Zeta", new XmlAttrInvoker<NamedAttrs>(&NamedAttrs::Zeta, &NamedAttrs::SetZeta));
            AddChild("alpha", new XmlAttrInvoker<NamedAttrs>(&NamedAttrs::Alpha, nullptr));
            AddChild("_x", new XmlAttrInvoker<NamedAttrs>(&NamedAttrs::X, nullptr));
            AddChild("B1", new XmlAttrInvoker<NamedAttrs>(&NamedAttrs::B1, nullptr));
        }
    };
    const XmlObjectStructure& GetXmlStructure() const override { return s_structure; }
    const char* ClassName() const override { return "Named_Attrs"; }
    String Zeta() const { return m_zeta; }
    void SetZeta(const String& v) { m_zeta = v; }
    String Alpha() const { return "a"; }
    String X() const { return "x"; }
    String B1() const { return "b"; }
    String m_zeta = "z";
    static Structure s_structure;
};
NamedAttrs::Structure NamedAttrs::s_structure;

}  // namespace

TEST(XmlObjectNames, AttributesAreLowerCasedAndInByteOrderOfLowerCasedNames) {
    TempDir dir;
    NamedAttrs object;
    ASSERT_TRUE(object.Save(PathIn(dir, "n.xml")));
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<named_attrs _x=\"x\" alpha=\"a\" b1=\"b\" zeta=\"z\"/>\n",
              dir.Read("n.xml"));
}

TEST(XmlObjectNames, AttributeReadUnderAnySpelling) {
    TempDir dir;
    dir.Write("n.xml", "<x ZETA=\"upper\"/>");
    NamedAttrs object;
    ASSERT_TRUE(object.Load(PathIn(dir, "n.xml")));
    EXPECT_EQ(String("upper"), object.m_zeta);
}
