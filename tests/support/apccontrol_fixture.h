// apcupsd's event handler, the apccontrol of Debian's apcupsd package, run the way apcupsd runs it on a
// directory of event scripts, without installing the package (it conflicts with nut-client).
//
//   ApccontrolFixture apc;
//   ASSERT_TRUE(apc.Prepare(packages_dir, example_dir)) << apc.error();
//   ASSERT_TRUE(apc.Run("onbattery", netns, env, 10));  // apccontrol onbattery ups0 1 1
//
// Prepare unpacks the newest apcupsd_*.deb of `packages_dir` (dpkg-deb -x) into a temporary directory.
// apccontrol looks for the scripts in SCRIPTDIR=/etc/apcupsd, which a test must not create, so it runs
// from a copy whose only change is that line, pointing at a directory of links to the executable files of
// `scripts_dir`. apccontrol reads SCRIPTDIR/config first: there the fixture hands apccontrol's own actions
// (WALL, SHUTDOWN) to a recorder, which appends `apccontrol: wall: MESSAGE` or `apccontrol: shutdown ARGS`
// to record_path(). Each run is a session of its own in the given network namespace (IsolatedDaemon), so
// the jobs a script leaves in the background are seen (JobsEnded) and ended with the fixture.
#ifndef VMNAP_TEST_SUPPORT_APCCONTROL_FIXTURE_H
#define VMNAP_TEST_SUPPORT_APCCONTROL_FIXTURE_H

#include <memory>
#include <string>
#include <vector>

#include "isolated_daemon.h"
#include "temp_dir.h"

class ApccontrolFixture {
public:
    bool Prepare(const std::string& packages_dir, const std::string& scripts_dir);

    // Runs `apccontrol EVENT ups0 1 1` (connected, powered); true when it has ended within `seconds`. Its
    // output and `apccontrol EVENT exit status N` go to output().
    bool Run(const std::string& event, const std::string& netns, const std::vector<std::string>& env,
             int seconds);
    // True when nothing any run started still runs, within `seconds` (0: now).
    bool JobsEnded(int seconds) const;

    std::string record_path() const { return tools_.file("record.log"); }
    std::string output() const { return tools_.Read("apccontrol.log"); }
    const std::string& error() const { return error_; }

private:
    bool Fail(const std::string& message);
    bool CopyApccontrol();
    bool LinkScripts(const std::string& scripts_dir);

    std::string error_;
    TempDir package_, tools_, scripts_;
    std::vector<std::unique_ptr<IsolatedDaemon>> runs_;  // declared last: ended before the directories go
};

#endif
