// The list-file loader on arbitrary files: the host object of reboot_vms is
// rebuilt from the input, its VMs are walked as the reboot workflow walks them,
// and the host is written back to a document in memory.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "SshServer.h"
#include "XmlObject.h"
#include "XmlTree.h"
#include "kel-tools-trace.h"

namespace {

std::string g_path;

// Where the input file goes: $TMPDIR, else memory (/dev/shm) when there is
// one, which is several times faster than a disk.
std::string ScratchBase() {
    const char* base = getenv("TMPDIR");
    if (base != nullptr) return base;
    return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

// A private directory for the one input file, removed at exit.
void MakeScratchDirectory() {
    std::string pattern = ScratchBase() + "/vmnap-fuzz-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) abort();
    g_path = pattern + "/esxi_vms.xml";
    static std::string directory = pattern;
    atexit([] {
        unlink(g_path.c_str());
        rmdir(directory.c_str());
    });
}

bool WriteInput(const uint8_t* data, size_t size) {
    FILE* file = fopen(g_path.c_str(), "wb");
    if (file == nullptr) return false;
    bool ok = fwrite(data, 1, size, file) == size;
    return fclose(file) == 0 && ok;
}

// What a VM to power on must be known by: a list file with anything else is
// not taken.
bool PlainId(const std::string& id) {
    return !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
}

void WriteBack(const SshSrv::ESXiServer& host) {
    Env::XmlDocPtr doc(Env::XmlDoc::Create());
    Env::XmlNode* root = Env::XmlNode::Create(host.XmlTag());
    doc->SetRootNode(root);
    host.ToXml(root);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    kel_set_trace(TRACE_MODE_QUIET);
    MakeScratchDirectory();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (!WriteInput(data, size)) abort();
    SshSrv::ESXiServer host("127.0.0.1", "root", "secret");
    if (!host.Load(g_path.c_str())) return 0;
    for (Env::XmlObject* item : host.GetVMs()) {
        SshSrv::VirtualMachineServer* vm = static_cast<SshSrv::VirtualMachineServer*>(item);
        if (vm->IsMarkedToReboot() && !PlainId(vm->GetId())) abort();
        vm->GetTimeout();
    }
    WriteBack(host);
    return 0;
}
