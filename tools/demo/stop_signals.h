// SIGINT, SIGTERM and SIGHUP end the demo early but cleanly: the VmNap run in progress (a child of this
// process, found by its command line) and its plink are stopped with SIGTERM, the steps after it are
// skipped, and the destructors stop the server and remove the account, the namespace and the temporary
// directories.
#ifndef VMNAP_DEMO_STOP_SIGNALS_H
#define VMNAP_DEMO_STOP_SIGNALS_H

#include <atomic>
#include <string>
#include <thread>

class StopSignals {
public:
    // `child_program`: the path in the command line of the children to stop.
    explicit StopSignals(std::string child_program);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    bool requested() const;  // a stop signal arrived
    int signal() const;

private:
    void Watch();
    void StopChildren() const;

    std::string child_program_;
    std::atomic<bool> done_{false};
    std::thread watcher_;
};

#endif
