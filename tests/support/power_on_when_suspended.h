// Someone starting a VM while the tool works: powers on `vm_id` on the simulated host as soon as the host
// starts suspending `trigger_id`. The start is the simulator's first write of its state file (listing and
// state reads only read it) while that VM still runs; give that VM a slow suspend (suspend_seconds), so
// that the tool is still waiting for it. A thread polls the state file every 20 ms, under its lock.
//
//   PowerOnWhileSuspending someone_else(state_path, "1", "2");
//   ... run suspend_vms ...
//   EXPECT_TRUE(someone_else.fired());
#ifndef VMNAP_TEST_SUPPORT_POWER_ON_WHEN_SUSPENDED_H
#define VMNAP_TEST_SUPPORT_POWER_ON_WHEN_SUSPENDED_H

#include <sys/types.h>

#include <atomic>
#include <string>
#include <thread>

#include "state_store.h"

class PowerOnWhileSuspending {
public:
    PowerOnWhileSuspending(const std::string& state_path, const std::string& trigger_id,
                           const std::string& vm_id);
    ~PowerOnWhileSuspending();  // stops watching
    PowerOnWhileSuspending(const PowerOnWhileSuspending&) = delete;
    PowerOnWhileSuspending& operator=(const PowerOnWhileSuspending&) = delete;

    bool fired() const { return fired_; }

private:
    void Watch(const std::string& trigger_id, const std::string& vm_id);

    std::string path_;
    esxisim::StateStore store_;
    ino_t first_inode_;
    std::atomic<bool> stop_{false}, fired_{false};
    std::thread thread_;
};

#endif
