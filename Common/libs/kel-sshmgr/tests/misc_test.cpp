#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ssh_io.h"

namespace {

std::string RemoveEnding(std::string text) {
    std::vector<char> buf(text.begin(), text.end());
    buf.push_back('\0');
    str_remove_ending(buf.data());
    return buf.data();
}

std::string RemoveSingleCr(const std::string& text, int len) {
    std::vector<char> buf(text.begin(), text.end());
    buf.push_back('\0');
    str_remove_single_cr(buf.data(), len);
    return buf.data();
}

TEST(StrRemoveEnding, RemovesEveryTrailingCrAndLf) { EXPECT_EQ("abc", RemoveEnding("abc\r\n\r\n")); }

TEST(StrRemoveEnding, LineEndAloneBecomesEmpty) { EXPECT_EQ("", RemoveEnding("\n")); }

TEST(StrRemoveEnding, KeepsInnerLineEndsAndOtherTrailingCharacters) {
    EXPECT_EQ("a\r\nb ", RemoveEnding("a\r\nb "));
    EXPECT_EQ("", RemoveEnding(""));
}

TEST(StrRemoveEnding, IgnoresNull) { str_remove_ending(nullptr); }

TEST(StrRemoveSingleCr, DropsCrNotFollowedByLf) { EXPECT_EQ("ab\r\nc", RemoveSingleCr("a\rb\r\nc", 64)); }

TEST(StrRemoveSingleCr, DropsTrailingCr) { EXPECT_EQ("x", RemoveSingleCr("x\r", 64)); }

TEST(StrRemoveSingleCr, CrCrLfKeepsOneCrLf) { EXPECT_EQ("a\r\nb", RemoveSingleCr("a\r\r\nb", 64)); }

TEST(StrRemoveSingleCr, KeepsAtMostLenMinusOneCharacters) {
    EXPECT_EQ("abc", RemoveSingleCr("abcdef\r", 4));
}

TEST(StrRemoveSingleCr, TextLongerThanLenStaysInsideTheWorkBuffer) {
    EXPECT_EQ("abc", RemoveSingleCr("a\rbcdefghijklmnop\r\nq", 4));
}

TEST(StrRemoveSingleCr, NullZeroLengthAndEmptyTextDoNothing) {
    str_remove_single_cr(nullptr, 10);
    EXPECT_EQ("a\rb", RemoveSingleCr("a\rb", 0));
    EXPECT_EQ("", RemoveSingleCr("", 10));
}

TEST(GetLastErrorStr, IsTheLibraryTextAndIgnoresTheBuffer) {
    char buf[8] = "keep";
    EXPECT_STREQ(strerror(ENOENT), get_last_error_str(ENOENT, buf, sizeof(buf)));
    EXPECT_STREQ("keep", buf);
}

TEST(Dup2Shim, ZeroOnSuccessMinusOneOnFailure) {
    int fds[2];
    ASSERT_EQ(0, _pipe(fds, 512, 0));
    int target = dup(fds[0]);
    EXPECT_EQ(0, _dup2(fds[1], target));
    EXPECT_EQ(-1, _dup2(-1, target));
    ASSERT_EQ(1, write(target, "x", 1));  // target now writes into the pipe
    char c = 0;
    EXPECT_EQ(1, read(fds[0], &c, 1));
    close(target);
    close(fds[0]);
    close(fds[1]);
}

}  // namespace
