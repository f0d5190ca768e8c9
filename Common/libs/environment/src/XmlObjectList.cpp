#include "XmlObjectList.h"

#include <memory>

#include "XmlObjBuilder.h"
#include "kel-tools-trace.h"

namespace Env {

namespace {

const char kXmlTagCatched[] = "XmlObjectList::XmlTag error catched\n";
const char kToXmlCatched[] = "XmlObjectList::ToXml error catched\n";
const char kFromXmlCatched[] = "XmlObjectList::FromXml error catched\n";
const char kItemRefused[] = "xml object %s is not allowed in list %s\n";

void TraceError(const char* function, const char* message) {
    KelTrace(TRACE_ERROR, function, "%s", message);
}

}  // namespace

XmlObjectList::XmlObjectListStructure XmlObjectList::m_gXmlObjectListStructure;

XmlObjectList::XmlObjectListStructure::XmlObjectListStructure() {
    XmlObjBuilder* builder = Singleton<XmlObjBuilder>::GetInstance();
    if (builder != nullptr) builder->RegisterCreator("XmlObjectList", &XmlObjectList::Create);
}

const XmlObject::XmlObjectStructure& XmlObjectList::GetXmlStructure() const {
    return m_gXmlObjectListStructure;
}

const char* XmlObjectList::ClassName() const { return "XmlObjectList"; }

XmlObjectList::~XmlObjectList() {
    for (iterator it = m_objects.begin(); it != m_objects.end(); ++it) delete *it;
    m_objects.clear();
}

XmlObject* XmlObjectList::Create() { return new XmlObjectList(); }

// The list's own name is its tag, unlike plain objects.
String XmlObjectList::XmlTag() const {
    try {
        String tag = GetName();
        if (tag.empty()) tag = ClassName();
        tag.ToLower();
        return tag;
    } catch (...) {
        TraceError("XmlTag", kXmlTagCatched);
    }
    return String();
}

bool XmlObjectList::ToXml(XmlNode* node) const {
    try {
        for (const_iterator it = m_objects.begin(); it != m_objects.end(); ++it) {
            const XmlObject* item = *it;
            XmlNode* element = node->AddNode(item->XmlTag(), item->GetValue());
            if (element == nullptr || !item->ToXml(element)) return false;
        }
        return true;
    } catch (...) {
        TraceError("ToXml", kToXmlCatched);
    }
    return false;
}

bool XmlObjectList::FromXml(const XmlNode* node) {
    try {
        for (ConstNodeIterator it = node->BeginChild(); it != node->EndChild(); ++it)
            if (!ReadItem(it.ptr())) return false;
        return true;
    } catch (...) {
        TraceError("FromXml", kFromXmlCatched);
    }
    return false;
}

bool XmlObjectList::AcceptsItem(const XmlObject&) const { return true; }

// Creates the item named by the element's tag and appends it. An element that
// names no registered class is skipped; an item that the list refuses, that
// fails to read (or throws) is deleted.
bool XmlObjectList::ReadItem(const XmlNode* element) {
    XmlObjBuilder* builder = Singleton<XmlObjBuilder>::GetInstance();
    if (builder == nullptr) return true;
    std::unique_ptr<XmlObject> item(builder->Create(element->Name()));
    if (item == nullptr) return true;
    if (!AcceptsItem(*item)) {
        KelTrace(TRACE_DEBUG, "FromXml", kItemRefused, item->ClassName(), XmlTag().c_str());
        return false;
    }
    if (!item->FromXml(element)) return false;
    push_back(item.release());
    return true;
}

}  // namespace Env
