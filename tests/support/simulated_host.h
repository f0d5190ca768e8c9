// Texts of the simulated ESXi host (tools/esxi-sim): its state file, and the list file the tool writes for
// it. Shared by the end-to-end tests that run the tool against the simulator behind a real sshd.
#ifndef VMNAP_TEST_SUPPORT_SIMULATED_HOST_H
#define VMNAP_TEST_SUPPORT_SIMULATED_HOST_H

#include <string>

namespace simulated {

// One VM of the simulator's state file, every key spelt out as the simulator writes it back.
std::string Vm(const std::string& id, const std::string& name, const std::string& power,
               const std::string& refuse_suspend = "no", int suspend_seconds = 0);

// The host part of the state file of an ESXi 5.5 host; `task_counter` counts the maintenance tasks run so
// far, from 1. The host refuses to enter maintenance while a VM runs, as a real one does.
std::string Host(const std::string& maintenance, int task_counter, const std::string& prompt = "busybox",
                 const std::string& hostname = "esx01");

// The same for a host of ESXi `version` (5.5, 6.7, 7.0, 8.0), with that version's prompt.
std::string HostOfVersion(const std::string& version, const std::string& maintenance, int task_counter);

// One row of the list file, as the tool writes it.
std::string Row(const std::string& id, const std::string& name, const std::string& status,
                const std::string& mark = "", int timeout_seconds = 300);

// The whole list file of the host at `host` (127.0.0.1 unless given).
std::string ListFile(const std::string& maintenance, const std::string& reboot, const std::string& rows,
                     const std::string& host = "127.0.0.1");

// Writes `text` as the simulator's state file at `path`, after checking that the simulator reads it and
// writes it back unchanged; false with `error` set otherwise.
bool WriteState(const std::string& path, const std::string& text, std::string* error);

}  // namespace simulated

#endif
