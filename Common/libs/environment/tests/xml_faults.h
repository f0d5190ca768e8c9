// Fault injection for the libxml2 calls of the XML tree: the test binary that
// links xml_faults.cpp replaces those functions with forwarders that, on
// request, make one named function return its failure value or throw.
#ifndef ENV_TESTS_XML_FAULTS_H
#define ENV_TESTS_XML_FAULTS_H

#include <stdexcept>
#include <string>

namespace XmlFaults {

enum Mode { kNone, kFail, kThrow };

// Arms `function` (e.g. "xmlNewDoc"); Mode kNone disarms everything.
void Inject(const std::string& function, Mode mode);

// Disarms on scope exit.
class Scoped {
public:
    Scoped(const std::string& function, Mode mode) { Inject(function, mode); }
    ~Scoped() { Inject("", kNone); }
};

}  // namespace XmlFaults

#endif
