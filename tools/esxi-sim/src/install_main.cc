// esxi-sim-install PROGRAM: makes the host files of the esxi-sim executable PROGRAM beside it (host_files.h),
// with the busybox found now. The build runs it after every link of esxi-sim.
#include <iostream>
#include <string>

#include "busybox.h"
#include "host_files.h"

namespace {

const char kUsage[] = "usage: esxi-sim-install PROGRAM\n";
const char kNoBusybox[] = "esxi-sim-install: no busybox in /bin or /usr/bin\n";

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << kUsage;
        return 2;
    }
    std::string busybox = esxisim::FindBusybox();
    if (busybox.empty()) {
        std::cerr << kNoBusybox;
        return 1;
    }
    std::string error;
    if (esxisim::InstallHostFiles(argv[1], busybox, &error)) return 0;
    std::cerr << "esxi-sim-install: " << error << "\n";
    return 1;
}
