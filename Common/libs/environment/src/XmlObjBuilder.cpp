#include "XmlObjBuilder.h"

#include "kel-tools-trace.h"

namespace Env {

namespace {

const char kUnknownName[] = "unknown xml object name, can't create object\n";
const char kCreatorFailed[] = "failed to create xml object\n";
const char kCreateCatched[] = "XmlObjBuilder::Create error catched\n";
const char kRegisterCatched[] = "XmlObjBuilder::RegisterCreator error catched\n";

}  // namespace

XmlObject* XmlObjBuilder::Create(const String& name) const {
    try {
        String key(name);
        key.ToLower();
        Creators::const_iterator found = m_creators.find(key);
        if (found == m_creators.end()) {
            KelTrace(TRACE_DEBUG, "Create", "%s", kUnknownName);
            return nullptr;
        }
        XmlObject* object = found->second ? found->second() : nullptr;
        if (object == nullptr) KelTrace(TRACE_ERROR, "Create", "%s", kCreatorFailed);
        return object;
    } catch (...) {
        KelTrace(TRACE_ERROR, "Create", "%s", kCreateCatched);
    }
    return nullptr;
}

void XmlObjBuilder::RegisterCreator(const String& name, Creator creator) {
    try {
        String key(name);
        key.ToLower();
        m_creators[key] = creator;
    } catch (...) {
        KelTrace(TRACE_ERROR, "RegisterCreator", "%s", kRegisterCatched);
    }
}

}  // namespace Env
