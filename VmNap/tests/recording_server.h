// Test helpers for the reply parsers: an owner that records what the parser
// writes into it, and the standard output of a piece of code.
#ifndef VMNAP_TESTS_RECORDING_SERVER_H
#define VMNAP_TESTS_RECORDING_SERVER_H

#include <gtest/gtest.h>

#include <stdio.h>

#include <string>
#include <utility>
#include <vector>

#include "SshServer.h"
#include "ssh_defines.h"

typedef std::vector<std::pair<std::string, std::string>> Children;

class RecordingServer : public SshSrv::SshServer {
public:
    Children children;
    int AddChild(const Env::String& id, const Env::String& name) override {
        children.emplace_back(id, name);
        return SSH_SUCCESS;
    }
};

inline std::string StdoutOf(void (*body)()) {
    testing::internal::CaptureStdout();
    body();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

#endif
