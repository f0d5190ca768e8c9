// Dropping the greeting of Debian's busybox ash from the shell's output.
#include "greeting_filter.h"

#include <gtest/gtest.h>

namespace esxisim {
namespace {

const char kGreeting[] =
    "\n\nBusyBox v1.35.0 (Debian 1:1.35.0-4+deb12u1+b1) built-in shell (ash)\n"
    "Enter 'help' for a list of built-in commands.\n\n";

TEST(GreetingFilterTest, GreetingInOnePieceIsDroppedAndWhatFollowsShown) {
    GreetingFilter filter;
    EXPECT_EQ("~ # ", filter.Pass(std::string(kGreeting) + "~ # "));
    EXPECT_EQ("Powered on\n", filter.Pass("Powered on\n"));
}

TEST(GreetingFilterTest, GreetingByteByByteIsHeldThenDropped) {
    GreetingFilter filter;
    std::string shown;
    for (char c : std::string(kGreeting)) shown += filter.Pass(std::string(1, c));
    EXPECT_EQ("", shown);
    EXPECT_EQ("[root@esx01:~] ", filter.Pass("[root@esx01:~] "));
    EXPECT_EQ("", filter.Flush());
}

TEST(GreetingFilterTest, OtherOutputPassesUnchangedAtOnce) {
    GreetingFilter filter;
    EXPECT_EQ("~ # ", filter.Pass("~ # "));
    EXPECT_EQ(kGreeting, filter.Pass(kGreeting));  // once decided, nothing more is dropped
}

TEST(GreetingFilterTest, OutputThatOnlyStartsLikeTheGreetingIsShownOnceItDiffers) {
    GreetingFilter filter;
    EXPECT_EQ("", filter.Pass("\n\nBusy"));
    EXPECT_EQ("\n\nBusyBee\n", filter.Pass("Bee\n"));
}

TEST(GreetingFilterTest, AnotherShellsGreetingLineIsShown) {
    GreetingFilter filter;
    const std::string hush = "\n\nBusyBox v1.35.0 (Debian) hush - the humble shell\nEnter 'help' for a list.\n\n";
    EXPECT_EQ(hush, filter.Pass(hush));
}

TEST(GreetingFilterTest, AVersionLineWithoutEndIsShownOnceTooLong) {
    GreetingFilter filter;
    std::string text = "\n\nBusyBox " + std::string(300, 'v');
    EXPECT_EQ(text, filter.Pass(text));
}

TEST(GreetingFilterTest, AnUnfinishedGreetingIsShownAtTheEnd) {
    GreetingFilter filter;
    EXPECT_EQ("", filter.Pass("\n\nBusyBox v1.35.0 (Debian) built-in shell (ash)\nEnter"));
    EXPECT_EQ("\n\nBusyBox v1.35.0 (Debian) built-in shell (ash)\nEnter", filter.Flush());
}

}  // namespace
}  // namespace esxisim
