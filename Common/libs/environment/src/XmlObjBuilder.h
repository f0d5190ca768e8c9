// Process-wide factory of serialisable objects by class name.
#ifndef ENV_XML_OBJ_BUILDER_H
#define ENV_XML_OBJ_BUILDER_H

#include <map>

#include "EnvString.h"
#include "Singleton.h"

namespace Env {

class XmlObject;

class XmlObjBuilder : public Singleton<XmlObjBuilder> {
public:
    typedef XmlObject* (*Creator)();
    typedef std::map<String, Creator> Creators;

    virtual ~XmlObjBuilder() {}

    // New object of the class registered under `name` (any case); the caller
    // owns it. Null for an unknown name or a failing creator.
    XmlObject* Create(const String& name) const;

    // Stores `creator` under the lower-cased `name`; the last one wins.
    void RegisterCreator(const String& name, Creator creator);

private:
    friend class Singleton<XmlObjBuilder>;
    XmlObjBuilder() {}

    Creators m_creators;
};

}  // namespace Env

#endif
