// The list file an earlier suspend left for the same host: read before the
// host is touched, so that a later suspend keeps the marks that still hold.
#include "EarlierRecord.h"

#include <sys/stat.h>

#include "SshServer.h"
#include "kel-tools-trace.h"

namespace {

const char* const kUnreadable =
    "the earlier list file %s cannot be read: it is kept as .bak, no mark is carried over\n";
const char* const kOtherHost =
    "the earlier list file %s is for host %s: it is kept as .bak, no mark is carried over\n";

bool Exists(const Env::String& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

}  // namespace

void TakeEarlierRecord(SshSrv::ESXiServer& host, const Env::String& listfile) {
    if (!Exists(listfile)) return;
    SshSrv::ESXiServer earlier("", "", "");
    if (!earlier.Load(listfile)) {
        KelTrace(TRACE_WARNING, "main", kUnreadable, listfile.c_str());
        return;
    }
    if (earlier.GetHost() != host.GetHost()) {
        KelTrace(TRACE_WARNING, "main", kOtherHost, listfile.c_str(), earlier.GetHost().c_str());
        return;
    }
    host.TakeEarlierRecord(earlier);
}
