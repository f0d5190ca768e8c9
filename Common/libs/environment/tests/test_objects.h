// Serialisable classes used only by the tests: a small host with string, int
// and bool attributes, a static child object and a list of items.
#ifndef ENV_TESTS_TEST_OBJECTS_H
#define ENV_TESTS_TEST_OBJECTS_H

#include "XmlObjAttr.h"
#include "XmlObject.h"
#include "XmlObjectList.h"

namespace EnvTest {

using Env::String;
using Env::XmlObject;

// Base of the hierarchy: adds a "Status" string.
class TestBase : public XmlObject {
public:
    class XmlObjAttrStatus : public Env::XmlObjStrAttr<String> {};
    class TestBaseStructure : public XmlObjectStructure {
    public:
        TestBaseStructure();
    };

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "TestBase"; }
    static XmlObject* Create() { return new TestBase(); }

    String GetStatus() const { return m_Status.Get(); }
    void SetStatus(const String& s) { m_Status.Set(s); }
    String GetStatusStr() const { return m_Status.GetStr(); }
    void SetStatusStr(const String& s) { m_Status.SetStr(s); }

    static TestBaseStructure m_gTestBaseStructure;

private:
    XmlObjAttrStatus m_Status;
};

// List item: "Label" (string), "Count" (int, default 300), "Enabled" (bool).
class TestItem : public TestBase {
public:
    class XmlObjAttrLabel : public Env::XmlObjStrAttr<String> {};
    class XmlObjAttrCount : public Env::XmlObjStrAttr<int> {
    public:
        XmlObjAttrCount() { m_val = 300; }
    };
    class XmlObjAttrEnabled : public Env::XmlObjStrAttr<bool> {
    public:
        XmlObjAttrEnabled() { m_val = false; }
    };
    class TestItemStructure : public TestBaseStructure {
    public:
        TestItemStructure();
    };

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "TestItem"; }
    static XmlObject* Create() { return new TestItem(); }

    String GetLabel() const { return m_Label.Get(); }
    void SetLabel(const String& v) { m_Label.Set(v); }
    String GetLabelStr() const { return m_Label.GetStr(); }
    void SetLabelStr(const String& v) { m_Label.SetStr(v); }
    int GetCount() const { return m_Count.Get(); }
    void SetCount(const int& v) { m_Count.Set(v); }
    String GetCountStr() const { return m_Count.GetStr(); }
    void SetCountStr(const String& v) { m_Count.SetStr(v); }
    bool GetEnabled() const { return m_Enabled.Get(); }
    void SetEnabled(const bool& v) { m_Enabled.Set(v); }
    String GetEnabledStr() const { return m_Enabled.GetStr(); }
    void SetEnabledStr(const String& v) { m_Enabled.SetStr(v); }

    static TestItemStructure m_gTestItemStructure;

private:
    XmlObjAttrLabel m_Label;
    XmlObjAttrCount m_Count;
    XmlObjAttrEnabled m_Enabled;
};

// Static child of the host: its class name "Settings" is also its tag.
class TestSettings : public XmlObject {
public:
    class XmlObjAttrMode : public Env::XmlObjStrAttr<String> {};
    class XmlObjAttrLevel : public Env::XmlObjStrAttr<int> {};
    class TestSettingsStructure : public XmlObjectStructure {
    public:
        TestSettingsStructure();
    };

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "Settings"; }
    static XmlObject* Create() { return new TestSettings(); }

    String GetMode() const { return m_Mode.Get(); }
    void SetMode(const String& v) { m_Mode.Set(v); }
    String GetModeStr() const { return m_Mode.GetStr(); }
    void SetModeStr(const String& v) { m_Mode.SetStr(v); }
    int GetLevel() const { return m_Level.Get(); }
    void SetLevel(const int& v) { m_Level.Set(v); }
    String GetLevelStr() const { return m_Level.GetStr(); }
    void SetLevelStr(const String& v) { m_Level.SetStr(v); }

    static TestSettingsStructure m_gTestSettingsStructure;

private:
    XmlObjAttrMode m_Mode;
    XmlObjAttrLevel m_Level;
};

// Host: "Host" (string), "Port" (int, default 22), "Active" (bool), static
// children "Items" (a list named "Items") and "Settings".
class TestHost : public TestBase {
public:
    class XmlObjAttrHost : public Env::XmlObjStrAttr<String> {};
    class XmlObjAttrPort : public Env::XmlObjStrAttr<int> {
    public:
        XmlObjAttrPort() { m_val = 22; }
    };
    class XmlObjAttrActive : public Env::XmlObjStrAttr<bool> {};
    class TestHostStructure : public TestBaseStructure {
    public:
        TestHostStructure();
    };

    TestHost() { m_Items.SetName("Items"); }

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "TestHost"; }
    static XmlObject* Create() { return new TestHost(); }

    String GetHost() const { return m_Host.Get(); }
    void SetHost(const String& v) { m_Host.Set(v); }
    String GetHostStr() const { return m_Host.GetStr(); }
    void SetHostStr(const String& v) { m_Host.SetStr(v); }
    int GetPort() const { return m_Port.Get(); }
    void SetPort(const int& v) { m_Port.Set(v); }
    String GetPortStr() const { return m_Port.GetStr(); }
    void SetPortStr(const String& v) { m_Port.SetStr(v); }
    bool GetActive() const { return m_Active.Get(); }
    void SetActive(const bool& v) { m_Active.Set(v); }
    String GetActiveStr() const { return m_Active.GetStr(); }
    void SetActiveStr(const String& v) { m_Active.SetStr(v); }

    Env::XmlObjectList& GetItems() { return m_Items; }
    XmlObject* GetItemsObj() { return &m_Items; }
    const XmlObject* GetItemsObj() const { return &m_Items; }
    TestSettings& GetSettings() { return m_Settings; }
    XmlObject* GetSettingsObj() { return &m_Settings; }
    const XmlObject* GetSettingsObj() const { return &m_Settings; }

    static TestHostStructure m_gTestHostStructure;

private:
    XmlObjAttrHost m_Host;
    XmlObjAttrPort m_Port;
    XmlObjAttrActive m_Active;
    Env::XmlObjectList m_Items;
    TestSettings m_Settings;
};

// Writes and reads nothing: both ToXml and FromXml report failure.
class BrokenChild : public XmlObject {
public:
    const char* ClassName() const override { return "BrokenChild"; }
    bool ToXml(Env::XmlNode*) const override { return false; }
    bool FromXml(const Env::XmlNode*) override { return false; }
};

// Children "Alpha" (fine, written first) and "Broken" (fails); attribute "Host".
class BrokenHost : public XmlObject {
public:
    class XmlObjAttrHost : public Env::XmlObjStrAttr<String> {};
    class BrokenHostStructure : public XmlObjectStructure {
    public:
        BrokenHostStructure();
    };

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "BrokenHost"; }

    String GetHostStr() const { return m_Host.GetStr(); }
    void SetHostStr(const String& v) { m_Host.SetStr(v); }
    TestSettings& GetAlpha() { return m_Alpha; }
    XmlObject* GetAlphaObj() { return &m_Alpha; }
    const XmlObject* GetAlphaObj() const { return &m_Alpha; }
    XmlObject* GetBrokenObj() { return &m_Broken; }
    const XmlObject* GetBrokenObj() const { return &m_Broken; }

    static BrokenHostStructure m_gBrokenHostStructure;

private:
    XmlObjAttrHost m_Host;
    TestSettings m_Alpha;
    BrokenChild m_Broken;
};

// Counts live instances, to check who deletes list items.
class CountedItem : public XmlObject {
public:
    CountedItem() { ++s_live; }
    ~CountedItem() override { --s_live; }
    static int s_live;
};

}  // namespace EnvTest

#endif
