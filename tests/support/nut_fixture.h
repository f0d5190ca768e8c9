// NUT's own daemons with a configuration of their own in a temporary directory: the dummy-ups driver
// playing a UPS named "dummy", upsd serving it on 127.0.0.1:3493 and upsmon watching it, all inside a
// given network namespace and with a private /run, so nothing listens or writes outside the test.
//
//   NutFixture nut(sshd.netns());
//   ASSERT_TRUE(nut.Start(upsmon_lines, upssched_conf, {"HOME=..."})) << nut.error();
//   nut.SetStatus("OB");  // the driver re-reads its .dev file; upsmon sees it within a second or two
//
// upsmon.conf is a MONITOR line and a fast poll followed by `upsmon_lines` (NOTIFYCMD, NOTIFYFLAG, ...);
// `upssched_conf` becomes upssched.conf in the same directory (NUT_CONFPATH), and `upsmon_env` is the
// environment upsmon adds for its notify command. Stop() (also by the destructor) ends every process
// the daemons started, by PID.
#ifndef VMNAP_TEST_SUPPORT_NUT_FIXTURE_H
#define VMNAP_TEST_SUPPORT_NUT_FIXTURE_H

#include <time.h>

#include <string>
#include <utility>
#include <vector>

#include "isolated_daemon.h"
#include "temp_dir.h"

class NutFixture {
public:
    explicit NutFixture(std::string netns) : netns_(std::move(netns)) {}
    ~NutFixture() { Stop(); }

    bool Start(const std::string& upsmon_lines, const std::string& upssched_conf,
               const std::vector<std::string>& upsmon_env);
    bool SetStatus(const std::string& ups_status);  // e.g. "OL", "OB"
    void Stop();

    const std::string& error() const { return error_; }
    std::string Logs() const;  // what the three daemons printed
    std::string conf_dir() const { return dir_.path(); }

private:
    bool Fail(const std::string& message);
    bool WriteConfiguration(const std::string& upsmon_lines, const std::string& upssched_conf);
    bool StartDaemon(IsolatedDaemon* daemon, const std::vector<std::string>& argv,
                     const std::vector<std::string>& env, const std::string& log, const std::string& ready);
    bool WaitForStatus(const std::string& ups_status);
    std::vector<std::string> NutEnv() const;

    std::string netns_, error_;
    TempDir dir_;
    time_t dev_mtime_ = 0;
    IsolatedDaemon driver_, upsd_, upsmon_;
};

// The upssched.conf of contrib/nut in `nut_dir` as shipped, with the script from that directory and a
// timer of `delay_seconds`; empty when the file no longer has the lines this adapts.
std::string ShippedUpsschedConf(const std::string& nut_dir, int delay_seconds);

#endif
