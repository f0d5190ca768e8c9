#include <gtest/gtest.h>

#include "XmlObjAttr.h"

using Env::String;
using Env::XmlObjAttr;
using Env::XmlObjStrAttr;

namespace {

int IntFrom(const char* text) {
    XmlObjStrAttr<int> attr;
    attr.SetStr(text);
    return attr.Get();
}

bool BoolFrom(const char* text) {
    XmlObjStrAttr<bool> attr;
    attr.Set(true);
    attr.SetStr(text);
    return attr.Get();
}

}  // namespace

TEST(XmlObjAttr, GetReturnsWhatSetStored) {
    XmlObjAttr<int> attr;
    attr.Set(42);
    EXPECT_EQ(42, attr.Get());
}

TEST(XmlObjAttr, DefaultValuesAreEmptyZeroAndFalse) {
    EXPECT_EQ(String(""), XmlObjStrAttr<String>().Get());
    EXPECT_EQ(0, XmlObjStrAttr<int>().Get());
    EXPECT_FALSE(XmlObjStrAttr<bool>().Get());
}

TEST(XmlObjAttr, StringTextIsTakenUnchanged) {
    XmlObjStrAttr<String> attr;
    attr.SetStr(" Mixed Case \n");
    EXPECT_EQ(String(" Mixed Case \n"), attr.Get());
    EXPECT_EQ(String(" Mixed Case \n"), attr.GetStr());
}

TEST(XmlObjAttr, IntTextIsDecimal) {
    XmlObjStrAttr<int> attr;
    attr.Set(-300);
    EXPECT_EQ(String("-300"), attr.GetStr());
}

TEST(XmlObjAttr, IntReadsLeadingNumberOnly) { EXPECT_EQ(12, IntFrom("12abc")); }

TEST(XmlObjAttr, IntWithoutNumberReadsZero) {
    EXPECT_EQ(0, IntFrom("abc"));
    EXPECT_EQ(0, IntFrom(""));
}

TEST(XmlObjAttr, IntReadsNegativeAndSkipsLeadingBlanks) {
    EXPECT_EQ(-5, IntFrom("-5"));
    EXPECT_EQ(7, IntFrom("  +7"));
}

TEST(XmlObjAttr, BoolTextIsTrueOrFalse) {
    XmlObjStrAttr<bool> attr;
    attr.Set(true);
    EXPECT_EQ(String("true"), attr.GetStr());
    attr.Set(false);
    EXPECT_EQ(String("false"), attr.GetStr());
}

TEST(XmlObjAttr, BoolReadsTrueInAnyCase) {
    EXPECT_TRUE(BoolFrom("true"));
    EXPECT_TRUE(BoolFrom("TRUE"));
    EXPECT_TRUE(BoolFrom("True"));
}

TEST(XmlObjAttr, BoolReadsEverythingElseAsFalse) {
    EXPECT_FALSE(BoolFrom("1"));
    EXPECT_FALSE(BoolFrom("yes"));
    EXPECT_FALSE(BoolFrom("on"));
    EXPECT_FALSE(BoolFrom(""));
    EXPECT_FALSE(BoolFrom("true "));
    EXPECT_FALSE(BoolFrom("false"));
}
