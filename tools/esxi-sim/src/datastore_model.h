// How long a suspend or a resume takes on the simulated host: the host's fixed pause for every such
// operation, then the VM's memory written to its datastore (suspend) or read back (resume) at the
// datastore's speed, shared at each moment by the transfers of the same kind on that datastore. A model for
// tests of several suspends at once, not a measurement of a real host (README, "Datastore time").
#ifndef ESXI_SIM_DATASTORE_MODEL_H
#define ESXI_SIM_DATASTORE_MODEL_H

#include <string>

#include "host_state.h"

namespace esxisim {

// The VM's datastore: its "datastore" key, else the name in brackets at the start of its file
// ("[datastore1] web/web.vmx"), else "".
std::string VmDatastore(const VmState& vm);

// The speed in MB/s of `kind` (suspends write, resumes read) on the datastore `name`: the host's
// "datastore" key for it, else the profile's.
double DatastoreSpeed(const HostState& host, const std::string& name, OperationKind kind);

// What a transfer keeps of its memory once it is done: less than this is nothing.
const double kTransferDoneMb = 0.001;

// What `vm`'s transfer gets of its datastore's speed now, in MB/s: the speed divided by the number of
// transfers of the same kind on that datastore that still have memory to move (`vm` counted, whether it is
// among them yet or not). A transfer that is done, though its process has not yet ended it, takes no share.
double TransferShare(const HostState& host, const VmState& vm, OperationKind kind);

// Moves every transfer under way on to `now`: the memory moved since its last moment at its share. Every
// other change of who transfers comes after a call of this (StateStore reads call it, through host_clock.h);
// a transfer that is done meanwhile gives its share to the others from the moment it is done, so that a
// datastore never idles while a transfer on it still has memory to move. A transfer's share never counts
// what the datastore gave another before that transfer's last moment.
void AdvanceTransfers(HostState* host, double now);

// The VMs with an operation under way.
int OperationsInFlight(const HostState& host);

// Counts `in_flight` operations at once into max_in_flight, when the host records it.
void RecordInFlight(HostState* host, int in_flight);

}  // namespace esxisim

#endif
