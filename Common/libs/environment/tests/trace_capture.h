// Captures what the trace library prints while a test runs.
#ifndef ENV_TESTS_TRACE_CAPTURE_H
#define ENV_TESTS_TRACE_CAPTURE_H

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>

#include "kel-tools-trace.h"
#include "run_program.h"

// Sets the trace mode and captures stdout and stderr until Stop(). Error lines
// go to stderr only when it is a terminal, so both streams are collected.
// Stop() returns stdout followed by stderr, time stamps replaced by "hh:mm:ss".
class TraceCapture {
public:
    explicit TraceCapture(unsigned int mode = TRACE_MODE_DEBUG) {
        kel_set_trace(mode);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
    }

    std::string Stop() {
        fflush(stdout);
        fflush(stderr);
        std::string out = testing::internal::GetCapturedStdout();
        out += testing::internal::GetCapturedStderr();
        return NormalizeStamps(out);
    }
};

#endif
