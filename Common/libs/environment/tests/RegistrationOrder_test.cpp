// Built twice, with the two registering units linked in opposite orders;
// FIRST_UNIT names the unit expected to be initialised first.
#include <gtest/gtest.h>

#include <memory>

#include "XmlObjBuilder.h"
#include "XmlObjectList.h"
#include "order_registry.h"

using Env::XmlObject;

namespace {

Env::XmlObjBuilder* Builder() { return Env::Singleton<Env::XmlObjBuilder>::GetInstance(); }

void ExpectCreates(const char* name) {
    ASSERT_NE(nullptr, Builder());
    std::unique_ptr<XmlObject> object(Builder()->Create(name));
    ASSERT_NE(nullptr, object) << name;
    EXPECT_STREQ(name, object->ClassName());
}

}  // namespace

TEST(RegistrationOrder, BothUnitsRanBeforeMainInLinkOrder) {
    ASSERT_EQ(2, OrderTest::g_initCount);
    EXPECT_EQ(FIRST_UNIT, OrderTest::g_initOrder[0]);
    EXPECT_EQ(3 - FIRST_UNIT, OrderTest::g_initOrder[1]);
}

TEST(RegistrationOrder, RegistrationsOfBothUnitsReachTheBuilder) {
    ExpectCreates("AlphaObject");
    ExpectCreates("BetaObject");
}

TEST(RegistrationOrder, LibraryRegistrationsSurviveEarlyUseOfBuilder) {
    ExpectCreates("XmlObject");
    std::unique_ptr<XmlObject> list(Env::XmlObjectList::Create());
    ExpectCreates("XmlObjectList");
}

TEST(RegistrationOrder, StructuresOfBothUnitsHoldTheNameAttribute) {
    EXPECT_NE(nullptr, OrderTest::AlphaObject::m_gAlphaStructure.AttributeByName("Name"));
    EXPECT_NE(nullptr, OrderTest::BetaObject::m_gBetaStructure.AttributeByName("Name"));
}
