// Which waiting VM a free worker of a suspend run takes next: the one that
// keeps every datastore busy. A suspend writes the VM's memory to its
// datastore, so VMs on a datastore with nothing under way go first, and the
// datastore with the most still to do is not left for last.
#ifndef VMNAP_VM_PICK_H
#define VMNAP_VM_PICK_H

#include <stddef.h>

#include <string>
#include <vector>

namespace SshSrv {

enum class VmState { kWaiting, kInFlight, kDone };

// A group number for each VM: VMs with the same datastore name share one; a
// VM without a name (empty) has a group of its own.
std::vector<size_t> DatastoreGroups(const std::vector<std::string>& datastores);

// Among the waiting VMs, the first in the order given whose group has the
// fewest VMs in flight; between groups with as few, the one with the most VMs
// waiting; between those, the one whose first waiting VM comes first.
// `group` and `state` are by VM; `state.size()` when none waits.
size_t PickNextVm(const std::vector<size_t>& group, const std::vector<VmState>& state);

}  // namespace SshSrv

#endif
