// Which waiting VM a free worker of a suspend run takes next: the one that
// keeps every datastore busy. A suspend writes the VM's memory to its
// datastore, so VMs on a datastore with nothing under way go first, and the
// datastore with the most still to do gets the most workers.
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

// Among the waiting VMs, the first in the order given of the group that
// needs a worker most: a group with nothing in flight first; then the group
// with the most left to do for each VM it has in flight (VMs waiting times
// how long its VMs took so far, on average, or all VMs when none of it is
// done yet: a slow datastore earns more workers as the run learns it); then
// the fewest in flight, the most waiting, the first in order. `group`,
// `state` and `seconds` (how long each done VM took) are by VM; without
// `seconds` every VM takes as long. `state.size()` when none waits.
size_t PickNextVm(const std::vector<size_t>& group, const std::vector<VmState>& state,
                  const std::vector<double>& seconds);
size_t PickNextVm(const std::vector<size_t>& group, const std::vector<VmState>& state);

}  // namespace SshSrv

#endif
