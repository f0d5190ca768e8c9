// What the host object takes from a list file: only virtual machines inside
// <vms>, and only plain ids for the VMs it will power on again.
#include <gtest/gtest.h>

#include <string>

#include "SshServer.h"
#include "kel-tools-trace.h"
#include "temp_dir.h"

namespace {

using SshSrv::ESXiServer;
using SshSrv::VirtualMachineServer;

const char kHead[] =
    "<?xml version=\"1.0\"?>\n<esxiserver host=\"127.0.0.1\" maintenancemode=\"true\" "
    "reboot=\"true\"><vms>";
const char kTail[] = "</vms></esxiserver>\n";

std::string Vm(const std::string& id, const std::string& mark) {
    std::string reboot = mark.empty() ? "" : " rebootstatus=\"" + mark + "\"";
    return "<virtualmachineserver id=\"" + id + "\"" + reboot +
           " timeout=\"300\"></virtualmachineserver>";
}

// Loads `text` into a fresh host; the number of VMs read ends in `vms`.
bool LoadText(const std::string& text, size_t* vms = nullptr) {
    TempDir dir;
    dir.Write("esxi_vms.xml", text);
    kel_set_trace(TRACE_MODE_QUIET);
    ESXiServer host("127.0.0.1", "root", "secret");
    bool ok = host.Load(dir.file("esxi_vms.xml").c_str());
    if (vms != nullptr) *vms = host.GetVMs().size();
    return ok;
}

std::string ListOf(const std::string& rows) { return kHead + rows + kTail; }

}  // namespace

TEST(ListFileLoad, MarkedVmsWithPlainIdsLoad) {
    size_t vms = 0;
    EXPECT_TRUE(LoadText(ListOf(Vm("1", "to reboot") + Vm("20", "to reboot") + Vm("3", "")), &vms));
    EXPECT_EQ(3u, vms);
}

TEST(ListFileLoad, MarkedVmWithACraftedIdMakesTheFileUnreadable) {
    for (const char* id : {"5;touch /tmp/x", "", "12a", " 5", "5 ", "-1", "$(reboot)", "1\n2"})
        EXPECT_FALSE(LoadText(ListOf(Vm("1", "to reboot") + Vm(id, "to reboot")))) << "id " << id;
}

TEST(ListFileLoad, UnmarkedAndRebootedVmsKeepAnyId) {
    size_t vms = 0;
    EXPECT_TRUE(LoadText(ListOf(Vm("owner:", "") + Vm("5;touch /tmp/x", "rebooted") + Vm("1", "to reboot")),
                         &vms));
    EXPECT_EQ(3u, vms);
}

TEST(ListFileLoad, HostInsideVmsMakesTheFileUnreadable) {
    EXPECT_FALSE(LoadText(ListOf("<esxiserver host=\"x\"></esxiserver>")));
}

TEST(ListFileLoad, ListInsideVmsMakesTheFileUnreadable) {
    EXPECT_FALSE(LoadText(ListOf("<xmlobjectlist/>")));
}

TEST(ListFileLoad, EveryOtherRegisteredTypeInsideVmsMakesTheFileUnreadable) {
    for (const char* element : {"<sshserver/>", "<xmlobject/>", "<ESXiServer/>"}) {
        EXPECT_FALSE(LoadText(ListOf(Vm("1", "to reboot") + element))) << element;
    }
}

TEST(ListFileLoad, UnknownElementsInsideVmsAreStillIgnored) {
    size_t vms = 0;
    EXPECT_TRUE(LoadText(ListOf("<vms/><stranger id=\"1\"/>" + Vm("1", "to reboot")), &vms));
    EXPECT_EQ(1u, vms);
}
