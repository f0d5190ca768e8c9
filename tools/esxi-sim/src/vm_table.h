// The table printed by "vim-cmd vmsvc/getallvms".
#ifndef ESXI_SIM_VM_TABLE_H
#define ESXI_SIM_VM_TABLE_H

#include <string>
#include <vector>

#include "host_state.h"

namespace esxisim {

// Columns Vmid, Name, File, Guest OS, Version, Annotation, each as wide as its widest entry (title
// included) and joined by three blanks. Titles are centred, values left-justified and padded (the
// annotation too); rows are sorted by id as strings; annotations are printed raw, line feeds included.
// The Annotation column is at least `annotation_width` wide (hosts of 7.0 and later: see profiles/).
std::string FormatVmTable(const std::vector<VmState>& vms, size_t annotation_width = 0);

// "Skipping invalid VM 'ID'", one line per id, which hosts print before the table for a registered VM
// they cannot load.
std::string FormatSkippedVms(const std::vector<std::string>& ids);

}  // namespace esxisim

#endif
