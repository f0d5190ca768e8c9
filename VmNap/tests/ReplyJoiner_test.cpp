#include "ReplyJoiner.h"

#include <gtest/gtest.h>

namespace {

using SshSrv::ReplyJoiner;

TEST(ReplyJoiner, PiecesCutInsideALineAreJoinedAsTheyAre) {
    ReplyJoiner j;
    j.Add("1   web   [ds1] w", true, false);
    j.Add("eb/web.vmx\r\n~ # ", false, false);
    EXPECT_EQ("1   web   [ds1] web/web.vmx\r\n~ # ", j.Text());
    EXPECT_TRUE(j.Complete());
}

TEST(ReplyJoiner, LineEndDroppedAtTheEndOfAPieceIsPutBack) {
    ReplyJoiner j;
    j.Add("1   web", false, true);
    j.Add("2   db\r\n~ # ", false, false);
    EXPECT_EQ("1   web\r\n2   db\r\n~ # ", j.Text());
}

TEST(ReplyJoiner, LineEndDroppedAtTheStartOfAPieceIsPutBack) {
    ReplyJoiner j;
    j.Add("1   web", false, false);
    j.Add("2   db", true, false);
    EXPECT_EQ("1   web\r\n2   db", j.Text());
}

TEST(ReplyJoiner, LineEndDroppedOnBothSidesIsPutBackOnce) {
    ReplyJoiner j;
    j.Add("1   web", false, true);
    j.Add("2   db", true, false);
    EXPECT_EQ("1   web\r\n2   db", j.Text());
}

TEST(ReplyJoiner, FirstPieceGetsNoLineEndInFront) {
    ReplyJoiner j;
    j.Add("Vmid   Name", true, true);
    EXPECT_EQ("Vmid   Name", j.Text());
    j.Add(nullptr, true, false);
    EXPECT_EQ("Vmid   Name", j.Text());
}

TEST(ReplyJoiner, CompleteOnlyWhenTheLastLineIsAPrompt) {
    ReplyJoiner j;
    EXPECT_FALSE(j.Complete());
    j.Add("1   web   see [root@esx01:~] ", false, true);
    EXPECT_FALSE(j.Complete());
    j.Add("[root@esx01", false, false);
    EXPECT_FALSE(j.Complete());
    j.Add(":~] ", false, false);
    EXPECT_TRUE(j.Complete());
    EXPECT_EQ("1   web   see [root@esx01:~] \r\n[root@esx01:~] ", j.Text());
}

}  // namespace
