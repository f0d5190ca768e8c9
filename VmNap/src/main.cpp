#include "kel-tools-trace.h"
#include "main.h"

namespace {

const char* const kBanner = "\nOrvane tool. ver.%d.%d.%d.%d\n\n";
const char* const kNotYet = "modes are not implemented in this build\n";

// Status while the remote operations are still missing: nothing was done.
const int kNotImplementedStatus = 2;

}  // namespace

int main(int argc, char** argv) {
    ToolOptions options;
    int status = parse_args(argc, argv, options);
    if (status != 0) return status;
    kel_set_trace(static_cast<unsigned int>(options.tracemode.value));
    kel_trace(TRACE_ALWAYS, kBanner, VMNAP_VER_MAJOR, VMNAP_VER_MINOR, VMNAP_VER_BUILD,
              VMNAP_VER_PATCH);
    KelTrace(TRACE_ERROR, "main", kNotYet);
    return kNotImplementedStatus;
}
