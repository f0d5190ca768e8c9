// The getallvms table layout.
#include "vm_table.h"

#include <gtest/gtest.h>

namespace esxisim {
namespace {

VmState Vm(const std::string& id, const std::string& name, const std::string& file, const std::string& guest,
           const std::string& version, const std::string& note = "") {
    VmState vm;
    vm.id = id;
    vm.name = name;
    vm.file = file;
    vm.guest_os = guest;
    vm.version = version;
    vm.note = note;
    return vm;
}

TEST(VmTableTest, ReproducesAHostListingByteForByte) {
    std::vector<VmState> vms = {
        Vm("4", "xubuntu-neo", "[Transverse] xubuntu-neo/xubuntu-neo.vmx", "ubuntu64Guest", "vmx-08"),
        Vm("13", "xpenology-3810-esxi-1.1", "[Transverse] xpenology-3810-esxi/xpenology-3810-esxi.vmx",
           "other26xLinux64Guest", "vmx-09"),
        Vm("15", "xpenology-dsm5b-test", "[Transverse] xpenology-dsm5-test/xpenology-dsm5-test.vmx",
           "other26xLinux64Guest", "vmx-09"),
        Vm("14", "xpenology-3810-esxi-1.1-test",
           "[Transverse] xpenology-3810-esxi-test/xpenology-3810-esxi-test.vmx", "other26xLinux64Guest",
           "vmx-09"),
    };
    EXPECT_EQ(
        "Vmid               Name                                              File                                "
        "        Guest OS         Version   Annotation\n"
        "13     xpenology-3810-esxi-1.1        [Transverse] xpenology-3810-esxi/xpenology-3810-esxi.vmx        "
        "     other26xLinux64Guest   vmx-09              \n"
        "14     xpenology-3810-esxi-1.1-test   [Transverse] xpenology-3810-esxi-test/xpenology-3810-esxi-test.vmx"
        "   other26xLinux64Guest   vmx-09              \n"
        "15     xpenology-dsm5b-test           [Transverse] xpenology-dsm5-test/xpenology-dsm5-test.vmx        "
        "     other26xLinux64Guest   vmx-09              \n"
        "4      xubuntu-neo                    [Transverse] xubuntu-neo/xubuntu-neo.vmx                        "
        "     ubuntu64Guest          vmx-08              \n",
        FormatVmTable(vms));
}

TEST(VmTableTest, IdsAreSortedAsStrings) {
    std::vector<VmState> vms = {Vm("2", "b", "f", "g", "v"), Vm("10", "a", "f", "g", "v"),
                                Vm("1", "c", "f", "g", "v"), Vm("17", "d", "f", "g", "v")};
    std::string table = FormatVmTable(vms);
    EXPECT_LT(table.find("\n1 "), table.find("\n10 "));
    EXPECT_LT(table.find("\n10 "), table.find("\n17 "));
    EXPECT_LT(table.find("\n17 "), table.find("\n2 "));
}

TEST(VmTableTest, MultiLineNoteIsPrintedRawAndWidensTheAnnotationColumn) {
    std::vector<VmState> vms = {
        Vm("1", "my vm", "[datastore1] my vm/my vm.vmx", "otherGuest", "vmx-08", "Built by CI\n  second line"),
        Vm("2", "db", "[datastore1] db/db.vmx", "otherGuest", "vmx-08"),
    };
    // The note is 25 characters long, so the Annotation column is 25 wide: its title is centred with 7
    // blanks before and 8 after, and the row without a note ends in 3 + 25 blanks.
    EXPECT_EQ(
        "Vmid   Name                File                Guest OS    Version          Annotation        \n"
        "1      my vm   [datastore1] my vm/my vm.vmx   otherGuest   vmx-08    Built by CI\n"
        "  second line\n"
        "2      db      [datastore1] db/db.vmx         otherGuest   vmx-08                             \n",
        FormatVmTable(vms));
}

// A vCLS VM (empty datastore brackets, as ESXi 9.0 lists them), and names that hold two blanks in a row or
// look like a prompt or a password question: every cell printed as it is, padded like any other.
TEST(VmTableTest, OddFilesAndNamesArePrintedAsTheyAre) {
    std::vector<VmState> vms = {
        Vm("1", "vCLS-1", "[] /var/run/crx/infra/vCLS-1/vCLS-1.vmx", "other4xLinux64Guest", "vmx-15"),
        Vm("2", "two  blanks", "[ds] a/a.vmx", "otherGuest", "vmx-08"),
        Vm("3", "~ # ", "[ds] b/b.vmx", "otherGuest", "vmx-08"),
        Vm("4", "[root@x:~]", "[ds] c/c.vmx", "otherGuest", "vmx-08"),
        Vm("5", "password:", "[ds] d/d.vmx", "otherGuest", "vmx-08"),
    };
    EXPECT_EQ(
        "Vmid      Name                        File                          Guest OS         Version   Annotation\n"
        "1      vCLS-1        [] /var/run/crx/infra/vCLS-1/vCLS-1.vmx   other4xLinux64Guest   vmx-15              \n"
        "2      two  blanks   [ds] a/a.vmx                              otherGuest            vmx-08              \n"
        "3      ~ #           [ds] b/b.vmx                              otherGuest            vmx-08              \n"
        "4      [root@x:~]    [ds] c/c.vmx                              otherGuest            vmx-08              \n"
        "5      password:     [ds] d/d.vmx                              otherGuest            vmx-08              \n",
        FormatVmTable(vms));
}

TEST(VmTableTest, SkippedVmsAreOneLineEach) {
    EXPECT_EQ("Skipping invalid VM '6'\nSkipping invalid VM '30'\n", FormatSkippedVms({"6", "30"}));
    EXPECT_EQ("", FormatSkippedVms({}));
}

TEST(VmTableTest, NoMachinesGivesTheHeaderAlone) {
    EXPECT_EQ("Vmid   Name   File   Guest OS   Version   Annotation\n", FormatVmTable({}));
}

}  // namespace
}  // namespace esxisim
