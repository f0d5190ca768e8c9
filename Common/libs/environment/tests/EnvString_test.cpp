#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

#include "EnvString.h"

using Env::String;

TEST(EnvString, EmptyStringStaysEmptyWhenUpperCased) {
    String s("");
    EXPECT_TRUE(s.empty());
    s.ToUpper();
    EXPECT_EQ(String(""), s);
    EXPECT_EQ(0u, s.size());
}

TEST(EnvString, ToUpperChangesOnlyLetters) {
    String s("abc1-Z");
    s.ToUpper();
    EXPECT_EQ(std::string("ABC1-Z"), s);
}

TEST(EnvString, ToLowerChangesOnlyLetters) {
    String s("abc1-Z");
    s.ToLower();
    EXPECT_EQ(std::string("abc1-z"), s);
}

TEST(EnvString, CaseChangeKeepsLength) {
    String s("MiXeD cAsE 123");
    s.ToLower();
    EXPECT_EQ(std::string("mixed case 123"), s);
    s.ToUpper();
    EXPECT_EQ(std::string("MIXED CASE 123"), s);
}

TEST(EnvString, EmptyNeedleIsAlwaysContained) {
    EXPECT_TRUE(String("running").Contains(String("")));
    EXPECT_TRUE(String("").Contains(String("")));
}

TEST(EnvString, EmptyStringContainsNothingElse) {
    EXPECT_FALSE(String("").Contains(String("a")));
}

TEST(EnvString, ContainsFindsInnerText) {
    EXPECT_TRUE(String("Powered on").Contains(String("red o")));
    EXPECT_FALSE(String("Powered on").Contains(String("off")));
}

TEST(EnvString, ContainsStopsAtEmbeddedNul) {
    String hay(std::string("ab\0cd", 5).c_str());
    String withNul;
    withNul.assign("ab\0cd", 5);
    EXPECT_FALSE(withNul.Contains(String("cd")));
    EXPECT_TRUE(hay.Contains(String("ab")));
}

TEST(EnvString, EqualIgnoresCaseWhenAsked) {
    EXPECT_TRUE(String("Name").Equal(String("NAME"), false));
}

TEST(EnvString, EqualIsExactWhenCaseSensitive) {
    EXPECT_FALSE(String("Name").Equal(String("NAME"), true));
    EXPECT_TRUE(String("Name").Equal(String("Name"), true));
}

TEST(EnvString, EqualRejectsDifferentText) {
    EXPECT_FALSE(String("Name").Equal(String("Names"), false));
    EXPECT_FALSE(String("").Equal(String("a"), false));
}

TEST(EnvString, ToStringOfZero) { EXPECT_EQ(std::string("0"), String::ToString(0)); }

TEST(EnvString, ToStringOfMostNegativeInt) {
    EXPECT_EQ(std::string("-2147483648"), String::ToString(INT_MIN));
    EXPECT_EQ(std::string("2147483647"), String::ToString(INT_MAX));
}

TEST(EnvString, ToStringOfBool) {
    EXPECT_EQ(std::string("true"), String::ToString(true));
    EXPECT_EQ(std::string("false"), String::ToString(false));
}

TEST(EnvString, ConstructionFromNullPointerThrows) {
    const char* none = nullptr;
    EXPECT_THROW(String s(none), std::logic_error);
}

TEST(EnvString, HasTheLayoutOfStdString) {
    EXPECT_EQ(sizeof(std::string), sizeof(String));
}
