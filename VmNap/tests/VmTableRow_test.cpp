// Reading one line of the VM table: which lines are rows, and the columns of a row.
#include "VmTableRow.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using SshSrv::IsVmTableHeader;
using SshSrv::ReadVmTableRow;
using SshSrv::VmTableRow;

VmTableRow Row(const std::string& line) {
    VmTableRow row;
    EXPECT_TRUE(ReadVmTableRow(line, &row)) << line;
    return row;
}

bool IsRow(const std::string& line) {
    VmTableRow row;
    return ReadVmTableRow(line, &row);
}

TEST(VmTableRow, A55RowWithItsFourteenTrailingBlanks) {
    VmTableRow row = Row("1      VM1      [datastore1] VM1/VM1.vmx           rhel6_64Guest           vmx-08"
                         "              ");
    EXPECT_EQ("1", row.id);
    EXPECT_EQ("VM1", row.name);
    EXPECT_EQ("[datastore1] VM1/VM1.vmx", row.file);
    EXPECT_EQ("datastore1", row.datastore);
    EXPECT_EQ("rhel6_64Guest", row.guest);
    EXPECT_EQ("vmx-08", row.version);
    EXPECT_EQ("", row.annotation);
}

TEST(VmTableRow, ARowPaddedForAWideAnnotationColumn) {
    VmTableRow row = Row("10     app server   [datastore 2] app server/app server.vmx   "
                         "windows2019srvNext_64Guest   vmx-21   first line of the note" +
                         std::string(200, ' '));
    EXPECT_EQ("10", row.id);
    EXPECT_EQ("app server", row.name);
    EXPECT_EQ("[datastore 2] app server/app server.vmx", row.file);
    EXPECT_EQ("datastore 2", row.datastore);
    EXPECT_EQ("windows2019srvNext_64Guest", row.guest);
    EXPECT_EQ("vmx-21", row.version);
    EXPECT_EQ("first line of the note", row.annotation);
}

TEST(VmTableRow, ARowWithoutTrailingBlanks) {
    VmTableRow row = Row("1      x8     [pve-esx] x8/x8.vmx   centos9_64Guest   vmx-20");
    EXPECT_EQ("x8", row.name);
    EXPECT_EQ("vmx-20", row.version);
}

TEST(VmTableRow, NamesAreKeptWholeWithTheirBlanksAndSigns) {
    const char* names[] = {"build server", "two  blanks", "db~ # 01", "[root@x:~]", "password:",
                           "a & b; c", "$(x) `y`", "(c) 2023 ACME Corp", "win-214 [maintenance]"};
    for (const char* name : names) {
        std::string padded = std::string(name) + std::string(30 - std::string(name).size(), ' ');
        VmTableRow row = Row("7      " + padded + "   [datastore1] vm/vm.vmx   otherGuest   vmx-08   ");
        EXPECT_EQ(name, row.name);
        EXPECT_EQ("[datastore1] vm/vm.vmx", row.file) << name;
    }
}

TEST(VmTableRow, AVclsRowWithAnEmptyDatastore) {
    VmTableRow row = Row("3      vCLS-1   [] /var/run/crx/infra/vCLS-1/vCLS-1.vmx   otherGuest   vmx-14   ");
    EXPECT_EQ("vCLS-1", row.name);
    EXPECT_EQ("[] /var/run/crx/infra/vCLS-1/vCLS-1.vmx", row.file);
    EXPECT_EQ("", row.datastore);
}

TEST(VmTableRow, LinesThatAreNotRows) {
    const char* lines[] = {
        "Vmid    Name                 File                      Guest OS          Version   Annotation",
        "Skipping invalid VM '6'",
        "(c) 2023 ACME Corp",
        "-> ask ops first",
        ";touch${IFS}/tmp/x",
        "$(touch${IFS}/tmp/x)",
        "&& reboot",
        "2 is the database, do not stop it first",
        "42",
        "12     https://wiki.example.org/" ,
        "",
        "   ",
        "~ # ",
        "[root@esx01:~] ",
        " 1      VM1      [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-08",
        "1x     VM1      [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-08",
        "1      VM1 [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-08",
        "1      VM1      [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-",
        "1      VM1      [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-08x",
        "1      VM1      [datastore1] VM1/VM1.vmx   vmx-08",
        "1      VM1      datastore1 VM1/VM1.vmx   rhel6_64Guest   vmx-08",
        "12345678901   VM1   [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-08",
    };
    for (const char* line : lines) EXPECT_FALSE(IsRow(line)) << line;
}

TEST(VmTableRow, AnIdOfTenDigitsIsARow) {
    EXPECT_EQ("1234567890", Row("1234567890   VM1   [ds] VM1/VM1.vmx   otherGuest   vmx-08").id);
}

TEST(VmTableRow, ANoteLineThatMimicsAWholeRowIsARow) {
    // Only the table around it can tell: the parser takes rows after the header once per id.
    EXPECT_TRUE(IsRow("2      web   [ds] web/web.vmx   otherGuest   vmx-08"));
}

TEST(VmTableHeader, NamesTheFirstThreeColumns) {
    EXPECT_TRUE(IsVmTableHeader("Vmid   Name   File   Guest OS   Version   Annotation"));
    EXPECT_TRUE(IsVmTableHeader("Vmid   Name          File             Guest OS        Version   "));
    EXPECT_FALSE(IsVmTableHeader("Skipping invalid VM '6'"));
    EXPECT_FALSE(IsVmTableHeader("1      VM1      [datastore1] VM1/VM1.vmx   rhel6_64Guest   vmx-08"));
}

}  // namespace
