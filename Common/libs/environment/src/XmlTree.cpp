#include "XmlTree.h"

#include <libxml/parser.h>

#include "FileReplacement.h"
#include "kel-tools-trace.h"

namespace Env {

const char XML_VER[] = "1.0";

namespace {

const char kDocCreateCatched[] = "XmlDoc::Create error catched\n";
const char kDocOpenCatched[] = "XmlDoc::Open error catched\n";
const char kDocSaveCatched[] = "XmlDoc::Save error catched\n";
const char kDocFreeCatched[] = "XmlDoc::~XmlDoc error catched\n";
const char kDocSetRootCatched[] = "XmlDoc::SetRootNode error catched\n";
const char kDocGetRootCatched[] = "XmlDoc::GetRootNode error catched\n";
const char kNodeCreateCatched[] = "XmlNode::Create error catched\n";
const char kNodeAddAttrCatched[] = "XmlNode::AddAttr error catched\n";
const char kNodeAddNodeCatched[] = "XmlNode::AddNode error catched\n";
const char kSaved[] = "xml saved to file, %d bytes writter\n";
const char kCantWrite[] = "can't write xml file\n";
const char kNotRegular[] = "not a regular file: %s\n";

void TraceError(const char* function, const char* message) {
    KelTrace(TRACE_ERROR, function, "%s", message);
}

const xmlChar* Text(const String& s) { return reinterpret_cast<const xmlChar*>(s.c_str()); }

String FromText(const xmlChar* s) {
    return s == NULL ? String() : String(reinterpret_cast<const char*>(s));
}

// Copies what xmlNodeGetContent gives and releases libxml2's copy.
String ContentOf(const xmlNode* node) {
    xmlChar* content = xmlNodeGetContent(node);
    String result = FromText(content);
    xmlFree(content);
    return result;
}

// The document exactly as libxml2's file writer puts it; false when it cannot
// be serialised.
bool Serialised(xmlDoc* doc, std::string& bytes) {
    xmlChar* text = NULL;
    int size = 0;
    xmlDocDumpMemory(doc, &text, &size);
    if (text == NULL) return false;
    bytes.assign(reinterpret_cast<const char*>(text), static_cast<std::string::size_type>(size));
    xmlFree(text);
    return true;
}

XmlDoc* AsDoc(xmlDoc* p) { return reinterpret_cast<XmlDoc*>(p); }
XmlNode* AsNode(xmlNode* p) { return reinterpret_cast<XmlNode*>(p); }
XmlAttr* AsAttr(xmlAttr* p) { return reinterpret_cast<XmlAttr*>(p); }

// First node from `node` on (following `next`) that is an element.
xmlNode* ElementForward(xmlNode* node) {
    while (node != NULL && node->type != XML_ELEMENT_NODE) node = node->next;
    return node;
}

xmlNode* ElementBackward(xmlNode* node) {
    while (node != NULL && node->type != XML_ELEMENT_NODE) node = node->prev;
    return node;
}

}  // namespace

// ---- XmlDoc ----

XmlDoc* XmlDoc::Create() {
    try {
        return AsDoc(xmlNewDoc(Text(XML_VER)));
    } catch (...) {
        TraceError("Create", kDocCreateCatched);
    }
    return NULL;
}

XmlDoc* XmlDoc::Open(const String& sFileName) {
    try {
        if (!PathAllowsReading(sFileName)) {
            KelTrace(TRACE_DEBUG, "Open", kNotRegular, sFileName.c_str());
            return NULL;
        }
        return AsDoc(xmlReadFile(sFileName.c_str(), NULL, 0));
    } catch (...) {
        TraceError("Open", kDocOpenCatched);
    }
    return NULL;
}

bool XmlDoc::Save(const String& sFileName) {
    try {
        std::string bytes;
        if (Serialised(this, bytes) && ReplaceFile(sFileName, bytes)) {
            KelTrace(TRACE_DEBUG, "Save", kSaved, static_cast<int>(bytes.size()));
            return true;
        }
        TraceError("Save", kCantWrite);
    } catch (...) {
        TraceError("Save", kDocSaveCatched);
    }
    return false;
}

void XmlDoc::Free() {
    try {
        xmlFreeDoc(this);
    } catch (...) {
        TraceError("Free", kDocFreeCatched);
    }
}

XmlNode* XmlDoc::SetRootNode(XmlNode* pNode) {
    try {
        return AsNode(xmlDocSetRootElement(this, pNode));
    } catch (...) {
        TraceError("SetRootNode", kDocSetRootCatched);
    }
    return NULL;
}

XmlNode* XmlDoc::GetRootNode() {
    try {
        return AsNode(xmlDocGetRootElement(this));
    } catch (...) {
        TraceError("GetRootNode", kDocGetRootCatched);
    }
    return NULL;
}

// ---- XmlNode ----

XmlNode* XmlNode::Create(const String& sName) {
    try {
        return AsNode(xmlNewNode(NULL, Text(sName)));
    } catch (...) {
        TraceError("Create", kNodeCreateCatched);
    }
    return NULL;
}

String XmlNode::Name() const { return FromText(name); }

String XmlNode::Value() const {
    for (const xmlNode* child = children; child != NULL; child = child->next)
        if (child->type == XML_TEXT_NODE) return ContentOf(child);
    return String();
}

void XmlNode::SetValue(const String& val) { xmlNodeSetContent(this, Text(val)); }

XmlAttr* XmlNode::AddAttr(const String& sName, const String& sValue) {
    try {
        return AsAttr(xmlSetProp(this, Text(sName), Text(sValue)));
    } catch (...) {
        TraceError("AddAttr", kNodeAddAttrCatched);
    }
    return NULL;
}

XmlNode* XmlNode::AddNode(const String& sName, const String& sValue) {
    try {
        return AsNode(xmlNewTextChild(this, NULL, Text(sName), Text(sValue)));
    } catch (...) {
        TraceError("AddNode", kNodeAddNodeCatched);
    }
    return NULL;
}

XmlAttr* XmlNode::GetAttr(const String& sName) {
    return AsAttr(xmlHasProp(this, Text(sName)));
}

const XmlAttr* XmlNode::GetAttr(const String& sName) const {
    for (ConstAttrIterator it = BeginAttr(); it != EndAttr(); ++it)
        if (it->Name().Equal(sName, false)) return it.ptr();
    return NULL;
}

XmlNode* XmlNode::Next() { return AsNode(ElementForward(next)); }
const XmlNode* XmlNode::Next() const { return AsNode(ElementForward(next)); }
XmlNode* XmlNode::Prev() { return AsNode(ElementBackward(prev)); }
const XmlNode* XmlNode::Prev() const { return AsNode(ElementBackward(prev)); }

NodeIterator XmlNode::BeginChild() { return NodeIterator(AsNode(ElementForward(children))); }
ConstNodeIterator XmlNode::BeginChild() const {
    return ConstNodeIterator(AsNode(ElementForward(children)));
}
NodeIterator XmlNode::EndChild() { return NodeIterator(NULL); }
ConstNodeIterator XmlNode::EndChild() const { return ConstNodeIterator(NULL); }

AttrIterator XmlNode::BeginAttr() { return AttrIterator(AsAttr(properties)); }
ConstAttrIterator XmlNode::BeginAttr() const { return ConstAttrIterator(AsAttr(properties)); }
AttrIterator XmlNode::EndAttr() { return AttrIterator(NULL); }
ConstAttrIterator XmlNode::EndAttr() const { return ConstAttrIterator(NULL); }

// ---- XmlAttr ----

String XmlAttr::Name() const { return FromText(name); }

String XmlAttr::Value() const { return children == NULL ? String() : ContentOf(children); }

XmlAttr* XmlAttr::Next() { return AsAttr(next); }
const XmlAttr* XmlAttr::Next() const { return AsAttr(next); }
XmlAttr* XmlAttr::Prev() { return AsAttr(prev); }
const XmlAttr* XmlAttr::Prev() const { return AsAttr(prev); }

}  // namespace Env
