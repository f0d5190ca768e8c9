// The simulated hosts of the benchmark: N running VMs whose suspends finish at once, and the checks that
// a run left the host as it should.
#ifndef VMNAP_BENCH_BENCH_HOST_H
#define VMNAP_BENCH_BENCH_HOST_H

#include <string>

// Writes a host out of maintenance with `vms` running VMs (ids 1..vms) to the simulator's state file. Like a
// standalone host, it refuses to enter maintenance mode while a VM runs.
bool WriteRunningHost(const std::string& state_path, int vms, std::string* error);

// Every VM suspended and the host in maintenance mode (after suspending), or every VM running and the host
// out of maintenance (after powering them on again). Empty when so, else what differs.
std::string CheckSuspended(const std::string& state_path, int vms);
std::string CheckRunning(const std::string& state_path, int vms);

// The commands of the one-shot loop, in order: list, each VM's state, suspend each running VM, enter
// maintenance; and back: leave maintenance, power on each VM.
std::string ListCommand();
std::string StateCommand(int id);
std::string SuspendCommand(int id);
std::string EnterMaintenanceCommand();
std::string ExitMaintenanceCommand();
std::string PowerOnCommand(int id);

#endif
