#include "command_listings.h"

namespace esxisim {

// Column-major, fixed-width columns; the trailing blanks are part of the listing.
const char kRootListing[] =
    "Commands available under /:\n"
    "hbrsvc/       internalsvc/  solo/         vmsvc/        \n"
    "hostsvc/      proxysvc/     vimsvc/       help\n"
    "\n";

const char kVmsvcListing[] =
    "Commands available under vmsvc/:\n"
    "acquiremksticket                 get.spaceNeededForConsolidation  \n"
    "acquireticket                    get.summary                      \n"
    "connect                          get.tasklist                     \n"
    "convert.toTemplate               getallvms                        \n"
    "convert.toVm                     gethostconstraints               \n"
    "createdummyvm                    login                            \n"
    "destroy                          logout                           \n"
    "device.connection                message                          \n"
    "device.connusbdev                power.getstate                   \n"
    "device.disconnusbdev             power.hibernate                  \n"
    "device.diskadd                   power.off                        \n"
    "device.diskaddexisting           power.on                         \n"
    "device.diskremove                power.reboot                     \n"
    "device.getdevices                power.reset                      \n"
    "device.toolsSyncSet              power.shutdown                   \n"
    "device.vmiadd                    power.suspend                    \n"
    "device.vmiremove                 power.suspendResume              \n"
    "devices.createnic                queryftcompat                    \n"
    "get.capability                   reload                           \n"
    "get.config                       setscreenres                     \n"
    "get.config.cpuidmask             snapshot.create                  \n"
    "get.configoption                 snapshot.dumpoption              \n"
    "get.datastores                   snapshot.get                     \n"
    "get.disabledmethods              snapshot.remove                  \n"
    "get.environment                  snapshot.removeall               \n"
    "get.filelayout                   snapshot.revert                  \n"
    "get.filelayoutex                 snapshot.setoption               \n"
    "get.guest                        tools.cancelinstall              \n"
    "get.guestheartbeatStatus         tools.install                    \n"
    "get.managedentitystatus          tools.upgrade                    \n"
    "get.networks                     unregister                       \n"
    "get.runtime                      upgrade                          \n"
    "get.snapshotinfo\n";

}  // namespace esxisim
