// Reading what an earlier run recorded before this run changes the host.
#ifndef VMNAP_EARLIER_RECORD_H
#define VMNAP_EARLIER_RECORD_H

#include "EnvString.h"

namespace SshSrv {
class ESXiServer;
}

// Hands the marks of the list file at `listfile` to `host`, when there is one
// for the same host that can be read; otherwise traces why not, and the file
// is only kept as the .bak of the next save.
void TakeEarlierRecord(SshSrv::ESXiServer& host, const Env::String& listfile);

#endif
