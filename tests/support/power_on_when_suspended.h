// Someone starting a VM while the tool works: powers on `vm_id` on the simulated host as soon as
// `trigger_id` is suspended (a thread polling the host's state file every 20 ms, under its lock).
//
//   PowerOnWhenSuspended someone_else(state_path, "1", "2");
//   ... run suspend_vms ...
//   EXPECT_TRUE(someone_else.fired());
#ifndef VMNAP_TEST_SUPPORT_POWER_ON_WHEN_SUSPENDED_H
#define VMNAP_TEST_SUPPORT_POWER_ON_WHEN_SUSPENDED_H

#include <atomic>
#include <string>
#include <thread>

#include "state_store.h"

class PowerOnWhenSuspended {
public:
    PowerOnWhenSuspended(const std::string& state_path, const std::string& trigger_id, const std::string& vm_id);
    ~PowerOnWhenSuspended();  // stops watching
    PowerOnWhenSuspended(const PowerOnWhenSuspended&) = delete;
    PowerOnWhenSuspended& operator=(const PowerOnWhenSuspended&) = delete;

    bool fired() const { return fired_; }

private:
    void Watch(const std::string& trigger_id, const std::string& vm_id);

    esxisim::StateStore store_;
    std::atomic<bool> stop_{false}, fired_{false};
    std::thread thread_;
};

#endif
