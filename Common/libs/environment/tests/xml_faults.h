// Fault injection for the libxml2 calls of the XML tree: the test binary that
// links xml_faults.cpp replaces those functions with forwarders that, on
// request, make one named function return its failure value or throw.
#ifndef ENV_TESTS_XML_FAULTS_H
#define ENV_TESTS_XML_FAULTS_H

#include <stdexcept>
#include <string>

namespace XmlFaults {

enum Mode { kNone, kFail, kThrow };

// Arms `function` (e.g. "xmlNewDoc", "fsync"); Mode kNone disarms everything.
// The first `skip` calls of it still succeed. The file-system calls (open,
// write, fsync, fchmod, close, link, rename) fail with errno EIO and do not
// throw; write and close never fail on descriptors 0 to 2, where traces go.
void Inject(const std::string& function, Mode mode, int skip = 0);

// Calls of the armed function so far, the failed one included.
int Calls();

// Disarms on scope exit.
class Scoped {
public:
    Scoped(const std::string& function, Mode mode, int skip = 0) { Inject(function, mode, skip); }
    ~Scoped() { Inject("", kNone); }
};

}  // namespace XmlFaults

#endif
