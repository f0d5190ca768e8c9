#include "reply_gathering.h"

#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "plink_texts.h"

namespace {

const char kHostKeyQuestion[] =
    "The host key is not cached for this server:\r\n  127.0.0.1 (port 22)\r\n"
    "The server's ssh-ed25519 key fingerprint is:\r\n  ssh-ed25519 255 SHA256:abc\r\n"
    "Store key in cache? (y/n, Return cancels connection, i for more info) ";

bool Awaits(const std::string& text) {
    std::string copy = text;
    bool awaits = awaits_answer(&copy[0]);
    EXPECT_EQ(text, copy.c_str()) << "the text must be left as it was";
    return awaits;
}

TEST(AwaitsAnswer, ShellPromptsAtTheEnd) {
    EXPECT_TRUE(Awaits("vim-cmd vmsvc/getallvms\r\nVmid Name\r\n~ # "));
    EXPECT_TRUE(Awaits("~ # "));
    EXPECT_TRUE(Awaits("Suspending VM:\r\n~ # "));
    EXPECT_TRUE(Awaits("hostname\r\nesx01\r\n[root@esx01:~] "));
    EXPECT_TRUE(Awaits("~ # \r\n~ # "));
}

TEST(AwaitsAnswer, QuestionsOfTheClient) {
    EXPECT_TRUE(Awaits(kHostKeyQuestion));
    EXPECT_TRUE(Awaits("host key fingerprint is x\r\nContinue (yes/no)? "));
    EXPECT_TRUE(Awaits("Using username \"root\".\r\nroot@10.0.0.5's password: "));
    EXPECT_TRUE(Awaits("| Password: "));
    EXPECT_TRUE(Awaits("Access denied\r\nroot@10.0.0.5's password: "));
}

// The warning about a changed host key ends in a question too: it is handed on at once, to be refused.
TEST(AwaitsAnswer, ChangedHostKeyWarningEndsInItsQuestion) {
    EXPECT_TRUE(Awaits(kPlinkChangedKeyWarning));
    EXPECT_FALSE(Awaits("WARNING - POTENTIAL SECURITY BREACH!\n"));
}

TEST(AwaitsAnswer, TextEndingInALineEndIsNotWaitedOn) {
    EXPECT_FALSE(Awaits("Vmid Name\r\n~ # \r\n"));
    EXPECT_FALSE(Awaits("~ # \n"));
    EXPECT_FALSE(Awaits("root@10.0.0.5's password: \r"));
    EXPECT_FALSE(Awaits("Suspending VM:\r\n"));
    EXPECT_FALSE(Awaits("Access denied\r\n"));
    EXPECT_FALSE(Awaits(""));
}

TEST(AwaitsAnswer, TextThatOnlyHasNotEndedIsNotWaitedOn) {
    EXPECT_FALSE(Awaits("Suspending VM:"));
    EXPECT_FALSE(Awaits("vim-cmd hostsvc/hostsu"));
    EXPECT_FALSE(Awaits("Vmid Name\r\n1    web01   [datastore1] web"));
    EXPECT_FALSE(Awaits("weak admin's password: "));
    EXPECT_FALSE(Awaits("[root@esx01:~] vim-cmd"));
    // The host-key question before its last line has arrived.
    std::string question = kHostKeyQuestion;
    EXPECT_FALSE(Awaits(question.substr(0, question.rfind('\n') + 1) + "Store key in"));
}

TEST(AwaitsAnswer, QuestionWordsEarlierInTheTextDoNotEndIt) {
    EXPECT_FALSE(Awaits("Vmid Name Annotation\r\n1 db note: password: see vault\r\n2 web"));
    EXPECT_FALSE(Awaits("host key fingerprint (y/n)\r\nmore text"));
}

TEST(ReplyGathering, ReadsAppendAndStayTerminated) {
    char buffer[16];
    ReplyGathering reply(buffer, sizeof(buffer));
    EXPECT_EQ(0, reply.Held());
    EXPECT_EQ(15, reply.Room());
    memcpy(reply.Tail(), "abc", 3);
    reply.Took(3);
    memcpy(reply.Tail(), "de", 2);
    reply.Took(2);
    EXPECT_STREQ("abcde", buffer);
    EXPECT_EQ(5, reply.Held());
    EXPECT_EQ(10, reply.Room());
    reply.Reset();
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(15, reply.Room());
}

TEST(ReplyGathering, FullBufferOrAPromptCompletesTheReply) {
    char buffer[8];
    ReplyGathering reply(buffer, sizeof(buffer));
    memcpy(reply.Tail(), "abcdef", 6);
    reply.Took(6);
    EXPECT_FALSE(reply.Complete());
    memcpy(reply.Tail(), "g", 1);
    reply.Took(1);
    EXPECT_TRUE(reply.Complete());
    reply.Reset();
    memcpy(reply.Tail(), "x\r\n~ # ", 7);
    reply.Took(7);
    EXPECT_TRUE(reply.Complete());
}

TEST(ReplyGathering, QuietSecondCountsFromTheLastOutput) {
    char buffer[16];
    ReplyGathering reply(buffer, sizeof(buffer));
    EXPECT_EQ(ReplyGathering::kQuietMs, reply.WaitMs());
    EXPECT_FALSE(reply.QuietOver());  // nothing held: nothing to deliver
    memcpy(reply.Tail(), "Suspending VM:", 14);
    reply.Took(14);
    EXPECT_GT(reply.WaitMs(), 800);
    EXPECT_LE(reply.WaitMs(), ReplyGathering::kQuietMs);
    EXPECT_FALSE(reply.QuietOver());
    usleep(600000);
    EXPECT_LT(reply.WaitMs(), 500);
    usleep(450000);
    EXPECT_EQ(0, reply.WaitMs());
    EXPECT_TRUE(reply.QuietOver());
}

}  // namespace
