#include "XmlObjBuilder.h"
#include "order_registry.h"

namespace OrderTest {

BetaObject::BetaStructure BetaObject::m_gBetaStructure;

BetaObject::BetaStructure::BetaStructure() {
    NoteInit(2);
    Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
    if (builder != nullptr) builder->RegisterCreator("BetaObject", &BetaObject::Create);
}

const Env::XmlObject::XmlObjectStructure& BetaObject::GetXmlStructure() const {
    return m_gBetaStructure;
}

}  // namespace OrderTest
