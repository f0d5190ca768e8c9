// Listing a host whose VM table is longer than one piece of the session
// (4095 bytes): the listing reads on until the prompt is back and joins the
// pieces without losing or gluing a line at a boundary.
#include <gtest/gtest.h>

#include <stdio.h>

#include <string>

#include "host_fixture.h"

namespace {

using namespace esxi_cmd;

const size_t kPiece = 4095;
const size_t kRowLength = 98;  // a row of the table without its CR LF
// What the host sends in front of the table: the echo of the command.
const size_t kEchoLength = sizeof("vim-cmd vmsvc/getallvms\r\n") - 1;
const char kHeader[] = "Vmid   Name     File                          Guest OS        Version   Annotation";

std::string Padded(std::string text, size_t length) {
    text.resize(length, ' ');
    return text;
}

std::string Name(int id) {
    char name[16];
    snprintf(name, sizeof(name), "vm%04d", id);
    return name;
}

std::string Row(int id, size_t length) {
    char row[128];
    snprintf(row, sizeof(row), "%-4d   %s   [datastore1] %s/%s.vmx   centos64Guest   vmx-08", id,
             Name(id).c_str(), Name(id).c_str(), Name(id).c_str());
    return Padded(row, length);
}

// A table of `vms` rows of kRowLength characters whose header is padded so
// that the first piece ends `offset` bytes into a row (0: right after a line
// end, kRowLength: right before the CR, kRowLength + 1: between CR and LF).
std::string TableCutAt(int vms, size_t offset) {
    const size_t row = kRowLength + 2, shortest = sizeof(kHeader) - 1;
    size_t rest = kPiece - kEchoLength - offset - (shortest + 2);
    std::string table = Padded(kHeader, shortest + rest % row) + "\n";
    for (int id = 1; id <= vms; ++id) table += Row(id, kRowLength) + "\n";
    return table;
}

// A table of `vms` rows whose first piece ends right after a note line `note` (a
// further line of the note of the last row in that piece), before its line end.
std::string TableWithNoteAtThePieceEnd(int vms, const std::string& note) {
    std::string table = TableCutAt(vms, note.size());
    const size_t header = table.find('\n') + 1;
    const size_t rows = (kPiece - kEchoLength - note.size() - (header + 1)) / (kRowLength + 2);
    return table.insert(header + rows * (kRowLength + 1), note + "\n");
}

// Rows that fill the first piece up to its last byte, when the table is cut at offset 0.
int RowsInFirstPiece() {
    const size_t row = kRowLength + 2, shortest = sizeof(kHeader) - 1;
    return static_cast<int>((kPiece - kEchoLength - (shortest + 2)) / row);
}

class Listing : public HostTest {
protected:
    void ListAndExpect(const EsxiScript& script, int vms) {
        Start(script);
        host_->GetSession()->SetState(EXEC_REMOTE);
        ASSERT_EQ(SSH_SUCCESS, host_->GetAllVms());
        Finish();
        ExpectVms(vms);
    }
    void ExpectVms(int vms) {
        ASSERT_EQ(static_cast<size_t>(vms), host_->GetVMs().size()) << trace_.substr(0, 4000);
        for (int i = 0; i < vms; ++i) {
            EXPECT_EQ(std::to_string(i + 1), Vm(i)->GetId()) << i;
            EXPECT_EQ(Name(i + 1), Vm(i)->GetName()) << i;
            EXPECT_EQ("datastore1", Vm(i)->GetDatastore()) << i;
        }
    }
};

TEST_F(Listing, BoundaryInsideARow) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableCutAt(60, 50)).Wait(), 60);
    EXPECT_TRUE(Traced("GetAllVms: the reply goes on without the prompt, reading on\n"));
}

TEST_F(Listing, BoundaryRightBeforeTheCarriageReturn) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableCutAt(60, kRowLength)).Wait(), 60);
}

TEST_F(Listing, BoundaryBetweenCarriageReturnAndLineFeed) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableCutAt(60, kRowLength + 1)).Wait(), 60);
}

TEST_F(Listing, BoundaryRightAfterALineEnd) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableCutAt(60, 0)).Wait(), 60);
}

// The first piece holds the whole table, the prompt is all of the second.
TEST_F(Listing, TableThatEndsExactlyWithThePiece) {
    int vms = RowsInFirstPiece();
    ListAndExpect(EsxiScript().Answer(kAllVms, TableCutAt(vms, 0)).Wait(), vms);
    EXPECT_TRUE(Traced("GetAllVms: the reply goes on without the prompt, reading on\n"));
}

TEST_F(Listing, PromptThatComesLaterIsWaitedFor) {
    ListAndExpect(EsxiScript()
                      .AnswerWithoutPrompt(kAllVms, TableCutAt(3, 0))
                      .Sleep(2.5)
                      .Print("~ # ")
                      .Wait(),
                  3);
}

TEST_F(Listing, BracketPromptSplitOverTwoPieces) {
    std::string table = TableCutAt(RowsInFirstPiece(), 0);
    ListAndExpect(EsxiScript()
                      .AnswerWithoutPrompt(kAllVms, table + "[root@esx01")
                      .Sleep(2.5)
                      .Print(":~] ")
                      .Wait(),
                  RowsInFirstPiece());
}

// Without the prompt the listing waits as long as any reply and then fails
// with the time-out; nothing of the partial table is listed.
TEST_F(Listing, HostThatNeverReturnsThePromptTimesOut) {
    Start(EsxiScript().AnswerWithoutPrompt(kAllVms, TableCutAt(60, 50)).Wait());
    host_->GetSession()->SetState(EXEC_REMOTE);
    host_->GetSession()->SetTimeout(2);
    EXPECT_EQ(SSH_REMOTE_TIMEOUT_ERR, host_->GetAllVms());
    Finish();
    EXPECT_TRUE(host_->GetVMs().empty());
    EXPECT_TRUE(Traced("GetAllVms: m_pSshSession->GetResponse(&pResponse) failed, error code - 8\n"));
}

// A note line that reads exactly like the prompt ends the first piece: the rest of
// the table follows at once, so the listing reads on and lists every VM.
TEST_F(Listing, NoteLineLikeThePromptAtThePieceEnd) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableWithNoteAtThePieceEnd(60, "~ # ")).Wait(), 60);
    EXPECT_TRUE(Traced("GetAllVms: the reply goes on without the prompt, reading on\n"));
}

TEST_F(Listing, NoteLineLikeTheBracketPromptAtThePieceEnd) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableWithNoteAtThePieceEnd(60, "[root@esx01:~] ")).Wait(),
                  60);
}

TEST_F(Listing, TableThatFitsIsReadOnce) {
    ListAndExpect(EsxiScript().Answer(kAllVms, TableCutAt(3, 0)).Wait(), 3);
    EXPECT_FALSE(Traced("reading on"));
}

TEST_F(Listing, ThousandVms) {
    std::string table = std::string(kHeader) + "\n";
    for (int id = 1; id <= 1000; ++id) table += Row(id, 72) + "\n";
    ListAndExpect(EsxiScript().Answer(kAllVms, table).Wait(), 1000);
}

}  // namespace
