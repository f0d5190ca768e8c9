// What "vim-cmd" prints when given a namespace instead of a command.
#ifndef ESXI_SIM_COMMAND_LISTINGS_H
#define ESXI_SIM_COMMAND_LISTINGS_H

namespace esxisim {

// "vim-cmd" alone.
extern const char kRootListing[];
// "vim-cmd vmsvc/".
extern const char kVmsvcListing[];

}  // namespace esxisim

#endif
