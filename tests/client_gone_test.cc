// The VmNap executable with the scripted stand-in client as ./plink when the
// client stops reading in the middle of a suspend: the tool is not killed by
// the broken pipe, reports the failed write with its own status, and the list
// file is saved all the same.
#include <gtest/gtest.h>

#include <string>

#include "esxi_script.h"
#include "fake_plink_dir.h"
#include "run_program.h"

namespace {

using namespace esxi_cmd;

const char kTable[] =
    "Vmid    Name          File                      Guest OS        Version   Annotation\n"
    "7       mail    [datastore1] mail/mail.vmx     centos64Guest   vmx-08              \n"
    "9       files   [datastore1] files/files.vmx   centos64Guest   vmx-08              \n";

const char kListed[] =
    "<?xml version=\"1.0\"?>\n"
    "<esxiserver host=\"esx\" maintenancemode=\"false\" reboot=\"false\"><vms>"
    "<virtualmachineserver id=\"7\" name=\"mail\" status=\"Powered on\" "
    "timeout=\"300\"></virtualmachineserver>"
    "<virtualmachineserver id=\"9\" name=\"files\" status=\"Powered off\" "
    "timeout=\"300\"></virtualmachineserver></vms></esxiserver>\n";

TEST(ClientGone, WriteIntoAClientThatStoppedReadingIs7AndTheListFileIsSaved) {
    FakePlinkDir dir;
    EsxiScript script = EsxiScript::LoggedIn("root", "secret", false);
    script.Answer(kAllVms, kTable)
        .Answer(State("7"), EsxiScript::PowerState("Powered on"))
        // The client stops reading before its prompt comes back, so the tool's next write finds the
        // pipe closed however soon it follows the prompt.
        .AnswerWithoutPrompt(State("9"), EsxiScript::PowerState("Powered off"))
        .Raw("close-input")
        .Print("~ # ")
        .Wait();
    dir.WriteScript(script.lines());
    ProgramResult r = RunProgram(dir.ToolRun(VMNAP_EXE, "suspend_vms"));
    EXPECT_EQ(7, r.exit_status) << r.out << r.err;
    EXPECT_EQ("hh:mm:ss: \nOrvane tool. ver.1.1.0.0\n\nhh:mm:ss: cannot write data.\n",
              NormalizeStamps(r.out));
    EXPECT_EQ(kListed, dir.dir().Read("esxi_vms.xml"));
    EXPECT_EQ(std::string::npos, dir.Received().find(Suspend("7")));
}

}  // namespace
