// Two serialisable classes registered from two translation units, used to
// check that registrations made during static initialisation all reach the
// builder whatever order the units are initialised in.
#ifndef ENV_TESTS_ORDER_REGISTRY_H
#define ENV_TESTS_ORDER_REGISTRY_H

#include "XmlObject.h"

namespace OrderTest {

// Ids of the units in the order their structures were built; constant
// initialised, so valid before any unit's dynamic initialisation.
extern int g_initOrder[2];
extern int g_initCount;

void NoteInit(int id);

class AlphaObject : public Env::XmlObject {
public:
    class AlphaStructure : public XmlObjectStructure {
    public:
        AlphaStructure();
    };
    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "AlphaObject"; }
    static Env::XmlObject* Create() { return new AlphaObject(); }
    static AlphaStructure m_gAlphaStructure;
};

class BetaObject : public Env::XmlObject {
public:
    class BetaStructure : public XmlObjectStructure {
    public:
        BetaStructure();
    };
    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "BetaObject"; }
    static Env::XmlObject* Create() { return new BetaObject(); }
    static BetaStructure m_gBetaStructure;
};

}  // namespace OrderTest

#endif
