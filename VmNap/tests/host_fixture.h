// The host object started against the scripted stand-in client in a temp
// directory, for the tests of the host operations.
#ifndef VMNAP_TESTS_HOST_FIXTURE_H
#define VMNAP_TESTS_HOST_FIXTURE_H

#include <gtest/gtest.h>

#include <stdio.h>

#include <memory>
#include <string>

#include "SshServer.h"
#include "SshSession.h"
#include "esxi_script.h"
#include "fake_plink_dir.h"
#include "kel-tools-trace.h"
#include "ssh_defines.h"

// A host object started against the scripted client in a temp directory.
class HostTest : public testing::Test {
protected:
    void Start(const EsxiScript& script) {
        kel_set_trace(TRACE_MODE_DEBUG);
        dir_.WriteScript(script.lines());
        dir_.Enter();
        host_.reset(new SshSrv::ESXiServer("host", "root", "secret"));
        ASSERT_EQ(SSH_SUCCESS, host_->Init());
        testing::internal::CaptureStdout();
    }
    // Ends the client, as destroying the host would, and returns what it received.
    std::string Finish() {
        fflush(stdout);
        trace_ = testing::internal::GetCapturedStdout();
        host_->GetSession()->CloseSession();
        dir_.Leave();
        return dir_.Received();
    }
    SshSrv::VirtualMachineServer* Vm(int index) {
        int i = 0;
        for (Env::XmlObject* item : host_->GetVMs())
            if (i++ == index) return static_cast<SshSrv::VirtualMachineServer*>(item);
        return nullptr;
    }
    bool Traced(const std::string& text) const { return trace_.find(text) != std::string::npos; }

    FakePlinkDir dir_;
    std::unique_ptr<SshSrv::ESXiServer> host_;
    std::string trace_;
};

#endif
