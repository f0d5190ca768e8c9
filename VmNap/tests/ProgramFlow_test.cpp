#include <gtest/gtest.h>

#include <string>

#include "SshServer.h"
#include "kel-tools-trace.h"
#include "main.h"

namespace {

TEST(ProgramFlowDispatch, ReservedModesAreRejected) {
    kel_set_trace(TRACE_MODE_QUIET);
    for (int mode : {0, 2, 4, 7}) {  // undefined, the two reserved values, out of range
        SshSrv::ESXiServer host("h", "u", "p");
        ToolOptions options;
        options.mode.value = mode;
        testing::internal::CaptureStdout();
        EXPECT_EQ(1, RunMode(host, options)) << mode;
        fflush(stdout);
        EXPECT_EQ(": main: Invalid tool mode\n",
                  testing::internal::GetCapturedStdout().substr(8))
            << mode;
    }
}

}  // namespace
