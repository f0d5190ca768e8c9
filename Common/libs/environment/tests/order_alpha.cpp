#include "XmlObjBuilder.h"
#include "order_registry.h"

namespace OrderTest {

int g_initOrder[2] = {0, 0};
int g_initCount = 0;

void NoteInit(int id) {
    if (g_initCount < 2) g_initOrder[g_initCount] = id;
    ++g_initCount;
}

AlphaObject::AlphaStructure AlphaObject::m_gAlphaStructure;

AlphaObject::AlphaStructure::AlphaStructure() {
    NoteInit(1);
    Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
    if (builder != nullptr) builder->RegisterCreator("AlphaObject", &AlphaObject::Create);
}

const Env::XmlObject::XmlObjectStructure& AlphaObject::GetXmlStructure() const {
    return m_gAlphaStructure;
}

}  // namespace OrderTest
