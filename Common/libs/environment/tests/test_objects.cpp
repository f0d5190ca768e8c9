#include "test_objects.h"

#include "XmlObjBuilder.h"

namespace EnvTest {

using Env::XmlAttrInvoker;
using Env::XmlChildInvokerStatic;

namespace {

void RegisterCreator(const char* name, Env::XmlObjBuilder::Creator creator) {
    Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
    if (builder != nullptr) builder->RegisterCreator(name, creator);
}

}  // namespace

int CountedItem::s_live = 0;

TestBase::TestBaseStructure TestBase::m_gTestBaseStructure;
TestItem::TestItemStructure TestItem::m_gTestItemStructure;
TestSettings::TestSettingsStructure TestSettings::m_gTestSettingsStructure;
TestHost::TestHostStructure TestHost::m_gTestHostStructure;
BrokenHost::BrokenHostStructure BrokenHost::m_gBrokenHostStructure;

TestBase::TestBaseStructure::TestBaseStructure() {
    RegisterCreator("TestBase", &TestBase::Create);
    AddChild("Status", new XmlAttrInvoker<TestBase>(&TestBase::GetStatusStr, &TestBase::SetStatusStr));
}

const XmlObject::XmlObjectStructure& TestBase::GetXmlStructure() const {
    return m_gTestBaseStructure;
}

TestItem::TestItemStructure::TestItemStructure() {
    RegisterCreator("TestItem", &TestItem::Create);
    AddChild("Label", new XmlAttrInvoker<TestItem>(&TestItem::GetLabelStr, &TestItem::SetLabelStr));
    AddChild("Count", new XmlAttrInvoker<TestItem>(&TestItem::GetCountStr, &TestItem::SetCountStr));
    AddChild("Enabled",
             new XmlAttrInvoker<TestItem>(&TestItem::GetEnabledStr, &TestItem::SetEnabledStr));
}

const XmlObject::XmlObjectStructure& TestItem::GetXmlStructure() const {
    return m_gTestItemStructure;
}

TestSettings::TestSettingsStructure::TestSettingsStructure() {
    RegisterCreator("Settings", &TestSettings::Create);
    AddChild("Mode",
             new XmlAttrInvoker<TestSettings>(&TestSettings::GetModeStr, &TestSettings::SetModeStr));
    AddChild("Level", new XmlAttrInvoker<TestSettings>(&TestSettings::GetLevelStr,
                                                       &TestSettings::SetLevelStr));
}

const XmlObject::XmlObjectStructure& TestSettings::GetXmlStructure() const {
    return m_gTestSettingsStructure;
}

// Registered out of alphabetical order on purpose.
TestHost::TestHostStructure::TestHostStructure() {
    RegisterCreator("TestHost", &TestHost::Create);
    AddChild("Port", new XmlAttrInvoker<TestHost>(&TestHost::GetPortStr, &TestHost::SetPortStr));
    AddChild("Settings", new XmlChildInvokerStatic<TestHost>(&TestHost::GetSettingsObj,
                                                             &TestHost::GetSettingsObj));
    AddChild("Host", new XmlAttrInvoker<TestHost>(&TestHost::GetHostStr, &TestHost::SetHostStr));
    AddChild("Items",
             new XmlChildInvokerStatic<TestHost>(&TestHost::GetItemsObj, &TestHost::GetItemsObj));
    AddChild("Active",
             new XmlAttrInvoker<TestHost>(&TestHost::GetActiveStr, &TestHost::SetActiveStr));
}

const XmlObject::XmlObjectStructure& TestHost::GetXmlStructure() const {
    return m_gTestHostStructure;
}

BrokenHost::BrokenHostStructure::BrokenHostStructure() {
    AddChild("Host",
             new XmlAttrInvoker<BrokenHost>(&BrokenHost::GetHostStr, &BrokenHost::SetHostStr));
    AddChild("Alpha", new XmlChildInvokerStatic<BrokenHost>(&BrokenHost::GetAlphaObj,
                                                            &BrokenHost::GetAlphaObj));
    AddChild("Broken", new XmlChildInvokerStatic<BrokenHost>(&BrokenHost::GetBrokenObj,
                                                             &BrokenHost::GetBrokenObj));
}

const XmlObject::XmlObjectStructure& BrokenHost::GetXmlStructure() const {
    return m_gBrokenHostStructure;
}

}  // namespace EnvTest
