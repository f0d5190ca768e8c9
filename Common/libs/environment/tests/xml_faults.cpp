#include "xml_faults.h"

#include <dlfcn.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

namespace XmlFaults {

namespace {

std::string g_function;
Mode g_mode = kNone;

// True when `function` must fail; throws when it must throw.
bool Faulty(const char* function) {
    if (g_mode == kNone || g_function != function) return false;
    if (g_mode == kThrow) throw std::runtime_error(function);
    return true;
}

template <class F>
F Real(const char* function) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, function));
}

}  // namespace

void Inject(const std::string& function, Mode mode) {
    g_function = function;
    g_mode = mode;
}

}  // namespace XmlFaults

using XmlFaults::Faulty;
using XmlFaults::Real;

xmlDocPtr xmlNewDoc(const xmlChar* version) {
    if (Faulty("xmlNewDoc")) return nullptr;
    return Real<xmlDocPtr (*)(const xmlChar*)>("xmlNewDoc")(version);
}

xmlDocPtr xmlReadFile(const char* url, const char* encoding, int options) {
    if (Faulty("xmlReadFile")) return nullptr;
    return Real<xmlDocPtr (*)(const char*, const char*, int)>("xmlReadFile")(url, encoding, options);
}

int xmlSaveFile(const char* filename, xmlDocPtr cur) {
    if (Faulty("xmlSaveFile")) return -1;
    return Real<int (*)(const char*, xmlDocPtr)>("xmlSaveFile")(filename, cur);
}

void xmlFreeDoc(xmlDocPtr cur) {
    if (Faulty("xmlFreeDoc")) return;
    Real<void (*)(xmlDocPtr)>("xmlFreeDoc")(cur);
}

xmlNodePtr xmlDocSetRootElement(xmlDocPtr doc, xmlNodePtr root) {
    if (Faulty("xmlDocSetRootElement")) return nullptr;
    return Real<xmlNodePtr (*)(xmlDocPtr, xmlNodePtr)>("xmlDocSetRootElement")(doc, root);
}

xmlNodePtr xmlDocGetRootElement(const xmlDoc* doc) {
    if (Faulty("xmlDocGetRootElement")) return nullptr;
    return Real<xmlNodePtr (*)(const xmlDoc*)>("xmlDocGetRootElement")(doc);
}

xmlNodePtr xmlNewNode(xmlNsPtr ns, const xmlChar* name) {
    if (Faulty("xmlNewNode")) return nullptr;
    return Real<xmlNodePtr (*)(xmlNsPtr, const xmlChar*)>("xmlNewNode")(ns, name);
}

xmlAttrPtr xmlSetProp(xmlNodePtr node, const xmlChar* name, const xmlChar* value) {
    if (Faulty("xmlSetProp")) return nullptr;
    return Real<xmlAttrPtr (*)(xmlNodePtr, const xmlChar*, const xmlChar*)>("xmlSetProp")(
        node, name, value);
}

xmlNodePtr xmlNewTextChild(xmlNodePtr parent, xmlNsPtr ns, const xmlChar* name,
                           const xmlChar* content) {
    if (Faulty("xmlNewTextChild")) return nullptr;
    return Real<xmlNodePtr (*)(xmlNodePtr, xmlNsPtr, const xmlChar*, const xmlChar*)>(
        "xmlNewTextChild")(parent, ns, name, content);
}
