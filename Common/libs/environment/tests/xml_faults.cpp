#include "xml_faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

namespace XmlFaults {

namespace {

std::string g_function;
Mode g_mode = kNone;
int g_skip = 0;
int g_calls = 0;

// True when `function` must fail; throws when it must throw.
bool Faulty(const char* function) {
    if (g_mode == kNone || g_function != function) return false;
    if (++g_calls <= g_skip) return false;
    if (g_mode == kThrow) throw std::runtime_error(function);
    return true;
}

// The same for a file-system call: sets errno instead of throwing.
bool FaultyCall(const char* function) {
    if (g_mode == kNone || g_function != function) return false;
    if (++g_calls <= g_skip) return false;
    errno = EIO;
    return true;
}

template <class F>
F Real(const char* function) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, function));
}

}  // namespace

void Inject(const std::string& function, Mode mode, int skip) {
    g_function = function;
    g_mode = mode;
    g_skip = skip;
    g_calls = 0;
}

int Calls() { return g_calls; }

}  // namespace XmlFaults

using XmlFaults::Faulty;
using XmlFaults::FaultyCall;
using XmlFaults::Real;

xmlDocPtr xmlNewDoc(const xmlChar* version) {
    if (Faulty("xmlNewDoc")) return nullptr;
    return Real<xmlDocPtr (*)(const xmlChar*)>("xmlNewDoc")(version);
}

xmlDocPtr xmlReadFile(const char* url, const char* encoding, int options) {
    if (Faulty("xmlReadFile")) return nullptr;
    return Real<xmlDocPtr (*)(const char*, const char*, int)>("xmlReadFile")(url, encoding, options);
}

void xmlDocDumpMemory(xmlDocPtr cur, xmlChar** mem, int* size) {
    if (Faulty("xmlDocDumpMemory")) {
        *mem = nullptr;
        *size = 0;
        return;
    }
    Real<void (*)(xmlDocPtr, xmlChar**, int*)>("xmlDocDumpMemory")(cur, mem, size);
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

// ---- file-system calls ----

extern "C" {

int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if (flags & (O_CREAT | O_TMPFILE)) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, mode_t);
        va_end(args);
    }
    if (FaultyCall("open")) return -1;
    return Real<int (*)(const char*, int, ...)>("open")(path, flags, mode);
}

ssize_t write(int fd, const void* buf, size_t count) {
    if (fd > 2 && FaultyCall("write")) return -1;
    return Real<ssize_t (*)(int, const void*, size_t)>("write")(fd, buf, count);
}

int fsync(int fd) {
    if (FaultyCall("fsync")) return -1;
    return Real<int (*)(int)>("fsync")(fd);
}

int fchmod(int fd, mode_t mode) {
    if (FaultyCall("fchmod")) return -1;
    return Real<int (*)(int, mode_t)>("fchmod")(fd, mode);
}

int close(int fd) {
    if (fd > 2 && FaultyCall("close")) {
        Real<int (*)(int)>("close")(fd);
        return -1;
    }
    return Real<int (*)(int)>("close")(fd);
}

int link(const char* from, const char* to) {
    if (FaultyCall("link")) return -1;
    return Real<int (*)(const char*, const char*)>("link")(from, to);
}

int rename(const char* from, const char* to) {
    if (FaultyCall("rename")) return -1;
    return Real<int (*)(const char*, const char*)>("rename")(from, to);
}

}  // extern "C"
