// Debian's busybox, whose ash is the simulated host's shell and whose applets fill the host's bin directory.
#ifndef ESXI_SIM_BUSYBOX_H
#define ESXI_SIM_BUSYBOX_H

#include <string>
#include <vector>

namespace esxisim {

// /bin/busybox or /usr/bin/busybox, whichever is an executable; empty when neither is.
std::string FindBusybox();

// The applets `busybox` holds ("busybox --list"); false with `error` set when it cannot be asked.
bool BusyboxApplets(const std::string& busybox, std::vector<std::string>* applets, std::string* error);

}  // namespace esxisim

#endif
