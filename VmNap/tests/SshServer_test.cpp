// The host and VM objects as they are saved to and loaded from the list file.
#include "SshServer.h"

#include <gtest/gtest.h>

#include <string>

#include "ESXiCliParser.h"
#include "SshSession.h"
#include "XmlObjBuilder.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"
#include "temp_dir.h"

namespace {

using SshSrv::ESXiServer;
using SshSrv::VirtualMachineServer;

const char kDeclaration[] = "<?xml version=\"1.0\"?>\n";

VirtualMachineServer* Vm(ESXiServer& host, int index) {
    int i = 0;
    for (Env::XmlObject* item : host.GetVMs())
        if (i++ == index) return static_cast<VirtualMachineServer*>(item);
    return nullptr;
}

std::string SaveToString(const Env::XmlObject& object) {
    TempDir dir;
    EXPECT_TRUE(object.Save(dir.file("list.xml").c_str()));
    return dir.Read("list.xml");
}

TEST(ServerObjects, BaseOperationsAreNotSupported) {
    SshSrv::SshServer base;
    EXPECT_EQ(SSH_INTERNAL_ERR, base.Login());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.Suspend());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.Reboot());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.PowerOn());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.IsPoweredOn());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.PowerOff());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.UpdateStatus());
    EXPECT_EQ(SSH_INTERNAL_ERR, base.AddChild("1", "a"));
    VirtualMachineServer vm;
    EXPECT_EQ(SSH_INTERNAL_ERR, vm.Login());
    EXPECT_EQ(SSH_INTERNAL_ERR, vm.AddChild("1", "a"));
    ESXiServer host;
    EXPECT_EQ(SSH_INTERNAL_ERR, host.PowerOn());
    EXPECT_EQ(SSH_INTERNAL_ERR, host.PowerOff());
    EXPECT_EQ(SSH_INTERNAL_ERR, host.UpdateStatus());
}

TEST(ServerObjects, ClassNames) {
    EXPECT_STREQ("SshServer", SshSrv::SshServer().ClassName());
    EXPECT_STREQ("VirtualMachineServer", VirtualMachineServer().ClassName());
    EXPECT_STREQ("ESXiServer", ESXiServer().ClassName());
}

TEST(ServerObjects, DefaultVmHasOnlyItsTimeout) {
    VirtualMachineServer vm;
    EXPECT_EQ("", vm.GetId());
    EXPECT_EQ("", vm.GetName());
    EXPECT_EQ("", vm.GetStatus());
    EXPECT_EQ("", vm.GetRebootStatus());
    EXPECT_EQ(300, vm.GetTimeout());
    EXPECT_EQ(nullptr, vm.GetSession());
    // As a root element with no text it is written in its short form.
    EXPECT_EQ(std::string(kDeclaration) + "<virtualmachineserver timeout=\"300\"/>\n",
              SaveToString(vm));
}

TEST(ServerObjects, HostDefaults) {
    ESXiServer host("192.0.2.10", "root", "secret");
    EXPECT_EQ("192.0.2.10", host.GetHost());
    EXPECT_EQ("root", host.GetUser());
    EXPECT_EQ("secret", host.GetPassword());
    EXPECT_EQ(300, host.GetTimeout());
    EXPECT_FALSE(host.GetMaintenanceMode());
    EXPECT_FALSE(host.GetReboot());
    EXPECT_TRUE(host.GetVMs().empty());
    EXPECT_EQ("VMs", host.GetVMs().GetName());
    EXPECT_NE(nullptr, host.GetSession());
    EXPECT_NE(nullptr, dynamic_cast<SshSrv::ESXiCliParser*>(host.GetParser()));
}

TEST(ServerObjects, CreatorsAreRegisteredByClassName) {
    Env::XmlObjBuilder* builder = Env::Singleton<Env::XmlObjBuilder>::GetInstance();
    ASSERT_NE(nullptr, builder);
    for (const char* name : {"SshServer", "VirtualMachineServer", "ESXiServer", "esxiserver"}) {
        Env::XmlObject* object = builder->Create(name);
        ASSERT_NE(nullptr, object) << name;
        EXPECT_TRUE(Env::String(object->ClassName()).Equal(name, false)) << name;
        delete object;
    }
}

TEST(ServerObjects, AddChildAppendsAVmWithTheHostsTimeoutAndSession) {
    kel_set_trace(TRACE_MODE_DEBUG);
    ESXiServer host("h", "u", "p");
    host.SetTimeout(60);
    testing::internal::CaptureStdout();
    EXPECT_EQ(SSH_SUCCESS, host.AddChild("12", "web"));
    fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(": trace> AddChild: add child server, id: 12, name: web\n", out.substr(8));
    ASSERT_EQ(1u, host.GetVMs().size());
    VirtualMachineServer* vm = Vm(host, 0);
    EXPECT_EQ("12", vm->GetId());
    EXPECT_EQ("web", vm->GetName());
    EXPECT_EQ(60, vm->GetTimeout());
    EXPECT_EQ(host.GetSession(), vm->GetSession());
    EXPECT_EQ(host.GetParser(), vm->GetParser());
}

TEST(ServerObjects, AddChildMakesNoDuplicateCheck) {
    ESXiServer host;
    host.AddChild("1", "a");
    host.AddChild("1", "a");
    EXPECT_EQ(2u, host.GetVMs().size());
}

// The list file after one VM was suspended and the host entered maintenance.
const char kSuspendedList[] =
    "<?xml version=\"1.0\"?>\n"
    "<esxiserver host=\"192.0.2.10\" maintenancemode=\"true\" reboot=\"true\"><vms>"
    "<virtualmachineserver id=\"1\" name=\"web01\" rebootstatus=\"to reboot\" "
    "status=\"Suspended\" timeout=\"300\"></virtualmachineserver>"
    "<virtualmachineserver id=\"2\" name=\"backup\" status=\"Powered off\" "
    "timeout=\"300\"></virtualmachineserver></vms></esxiserver>\n";

TEST(ListFile, SuspendedHostIsWrittenOnTwoLines) {
    ESXiServer host("192.0.2.10", "root", "secret-password");
    host.AddChild("1", "web01");
    host.AddChild("2", "backup");
    Vm(host, 0)->SetStatus("Suspended");
    Vm(host, 0)->SetRebootStatus("to reboot");
    Vm(host, 1)->SetStatus("Powered off");
    host.SetMaintenanceMode(true);
    host.SetReboot(true);
    std::string file = SaveToString(host);
    EXPECT_EQ(kSuspendedList, file);
    EXPECT_EQ(std::string::npos, file.find("root"));
    EXPECT_EQ(std::string::npos, file.find("secret"));
    EXPECT_EQ(std::string::npos, file.find("user"));
    EXPECT_EQ(std::string::npos, file.find("password"));
}

TEST(ListFile, HostTimeoutIsNotSaved) {
    ESXiServer host("h", "u", "p");
    host.SetTimeout(1234);
    EXPECT_EQ(std::string(kDeclaration) +
                  "<esxiserver host=\"h\" maintenancemode=\"false\" reboot=\"false\"><vms></vms>"
                  "</esxiserver>\n",
              SaveToString(host));
}

TEST(ListFile, LoadsBackIntoAHostFromTheCommandLine) {
    TempDir dir;
    dir.Write("list.xml", kSuspendedList);
    ESXiServer host("198.51.100.7", "admin", "pw");
    host.SetTimeout(60);
    ASSERT_TRUE(host.Load(dir.file("list.xml").c_str()));
    EXPECT_TRUE(host.GetMaintenanceMode());
    EXPECT_TRUE(host.GetReboot());
    EXPECT_EQ("192.0.2.10", host.GetHost());
    EXPECT_EQ("admin", host.GetUser());
    EXPECT_EQ("pw", host.GetPassword());
    ASSERT_EQ(2u, host.GetVMs().size());
    VirtualMachineServer* web = Vm(host, 0);
    EXPECT_EQ("1", web->GetId());
    EXPECT_EQ("web01", web->GetName());
    EXPECT_EQ("to reboot", web->GetRebootStatus());
    EXPECT_EQ("Suspended", web->GetStatus());
    EXPECT_EQ(300, web->GetTimeout());
    EXPECT_EQ(host.GetSession(), web->GetSession());
    EXPECT_EQ(host.GetParser(), web->GetParser());
    EXPECT_EQ(host.GetSession(), Vm(host, 1)->GetSession());
    EXPECT_EQ(kSuspendedList, SaveToString(host));
}

TEST(ListFile, MissingAttributesKeepTheirDefaults) {
    TempDir dir;
    dir.Write("list.xml",
              "<esxiserver><vms><virtualmachineserver id=\"4\"/></vms></esxiserver>");
    ESXiServer host("h", "u", "p");
    ASSERT_TRUE(host.Load(dir.file("list.xml").c_str()));
    ASSERT_EQ(1u, host.GetVMs().size());
    EXPECT_EQ("", Vm(host, 0)->GetRebootStatus());
    EXPECT_EQ(300, Vm(host, 0)->GetTimeout());
    EXPECT_FALSE(host.GetReboot());
    EXPECT_EQ("h", host.GetHost());
}

TEST(ListFile, FileTimeoutWinsForLoadedVms) {
    TempDir dir;
    dir.Write("list.xml",
              "<esxiserver><vms><virtualmachineserver id=\"4\" timeout=\"42\"/></vms></esxiserver>");
    ESXiServer host("h", "u", "p");
    host.SetTimeout(600);
    ASSERT_TRUE(host.Load(dir.file("list.xml").c_str()));
    EXPECT_EQ(42, Vm(host, 0)->GetTimeout());
}

TEST(ListFile, OnlyTrueInAnyCaseIsTrue) {
    TempDir dir;
    ESXiServer a;
    dir.Write("a.xml", "<esxiserver maintenancemode=\"TRUE\" reboot=\"True\"/>");
    ASSERT_TRUE(a.Load(dir.file("a.xml").c_str()));
    EXPECT_TRUE(a.GetMaintenanceMode());
    EXPECT_TRUE(a.GetReboot());
    ESXiServer b;
    dir.Write("b.xml", "<esxiserver maintenancemode=\"yes\" reboot=\"1\"/>");
    ASSERT_TRUE(b.Load(dir.file("b.xml").c_str()));
    EXPECT_FALSE(b.GetMaintenanceMode());
    EXPECT_FALSE(b.GetReboot());
}

TEST(ListFile, UpperAndMixedCaseNamesLoad) {
    TempDir dir;
    dir.Write("list.xml",
              "<ESXiServer Host=\"h1\" REBOOT=\"true\"><VMs><VirtualMachineServer Id=\"7\" "
              "NAME=\"db\" RebootStatus=\"to reboot\" Timeout=\"9\"></VirtualMachineServer>"
              "</VMs></ESXiServer>");
    ESXiServer host;
    ASSERT_TRUE(host.Load(dir.file("list.xml").c_str()));
    EXPECT_EQ("h1", host.GetHost());
    EXPECT_TRUE(host.GetReboot());
    ASSERT_EQ(1u, host.GetVMs().size());
    EXPECT_EQ("7", Vm(host, 0)->GetId());
    EXPECT_EQ("db", Vm(host, 0)->GetName());
    EXPECT_EQ("to reboot", Vm(host, 0)->GetRebootStatus());
    EXPECT_EQ(9, Vm(host, 0)->GetTimeout());
}

TEST(ListFile, UserAndPasswordInTheFileAreIgnored) {
    TempDir dir;
    dir.Write("list.xml", "<esxiserver user=\"x\" password=\"y\" timeout=\"5\"/>");
    ESXiServer host("h", "u", "p");
    ASSERT_TRUE(host.Load(dir.file("list.xml").c_str()));
    EXPECT_EQ("u", host.GetUser());
    EXPECT_EQ("p", host.GetPassword());
    EXPECT_EQ(300, host.GetTimeout());
}

}  // namespace
