#include "XmlObject.h"

#include "XmlObjBuilder.h"
#include "kel-tools-trace.h"

namespace Env {

namespace {

const char kNoFileName[] = "xml file name is not defined\n";
const char kCantCreateDoc[] = "can't create xml document object\n";
const char kCantCreateNode[] = "can't create xml node object";
const char kToXmlFailed[] = "to xml function failed\n";
const char kSaveCatched[] = "XmlObjectFile::Save error catched\n";
const char kCantOpenDoc[] = "can't open xml document object\n";
const char kCantGetNode[] = "can't get xml node object";
const char kFromXmlFailed[] = "from xml function failed\n";
const char kLoadCatched[] = "XmlObjectFile::Load error catched\n";
const char kToXmlCatched[] = "XmlObject::ToXml error catched\n";
const char kFromXmlCatched[] = "XmlObject::FromXml error catched\n";

const char kNameAttr[] = "Name";

void TraceError(const char* function, const char* message) {
    KelTrace(TRACE_ERROR, function, "%s", message);
}

String Lowered(const String& name) {
    String key(name);
    key.ToLower();
    return key;
}

// Stores `invoker` under the lower-cased name; a replaced invoker is deleted.
template <class Map, class Invoker>
void StoreInvoker(Map& map, const String& name, Invoker* invoker) {
    Invoker*& slot = map[Lowered(name)];
    if (slot != invoker) delete slot;
    slot = invoker;
}

template <class Map>
typename Map::mapped_type FindInvoker(const Map& map, const String& name) {
    typename Map::const_iterator found = map.find(Lowered(name));
    return found == map.end() ? nullptr : found->second;
}

template <class Map>
void DeleteInvokers(Map& map) {
    for (typename Map::iterator it = map.begin(); it != map.end(); ++it) delete it->second;
    map.clear();
}

}  // namespace

// ---- XmlObjectStructure ----

XmlObject::XmlObjectStructure XmlObject::m_gXmlStructure;

XmlObject::XmlObjectStructure::XmlObjectStructure() {
    XmlObjBuilder* builder = Singleton<XmlObjBuilder>::GetInstance();
    if (builder != nullptr) builder->RegisterCreator("XmlObject", &XmlObject::Create);
    AddChild(kNameAttr,
             new XmlAttrInvoker<XmlObject>(&XmlObject::GetNameStr, &XmlObject::SetNameStr));
}

XmlObject::XmlObjectStructure::~XmlObjectStructure() {
    DeleteInvokers(m_attributes);
    DeleteInvokers(m_children);
}

void XmlObject::XmlObjectStructure::AddChild(const String& name, XmlAttrInvokerBase* invoker) {
    StoreInvoker(m_attributes, name, invoker);
}

void XmlObject::XmlObjectStructure::AddChild(const String& name, XmlChildInvokerBase* invoker) {
    StoreInvoker(m_children, name, invoker);
}

XmlAttrInvokerBase* XmlObject::XmlObjectStructure::AttributeByName(const String& name) const {
    return FindInvoker(m_attributes, name);
}

XmlChildInvokerBase* XmlObject::XmlObjectStructure::ChildByName(const String& name) const {
    return FindInvoker(m_children, name);
}

// ---- XmlObject ----

const XmlObject::XmlObjectStructure& XmlObject::GetXmlStructure() const {
    return m_gXmlStructure;
}

const char* XmlObject::ClassName() const { return "XmlObject"; }

XmlObject::~XmlObject() {}

String XmlObject::XmlTag() const { return Lowered(ClassName()); }

XmlObject* XmlObject::Create() { return new XmlObject(); }

bool XmlObject::ToXml(XmlNode* node) const {
    try {
        WriteAttributes(node);
        return WriteChildren(node);
    } catch (...) {
        TraceError("ToXml", kToXmlCatched);
    }
    return false;
}

bool XmlObject::WriteAttributes(XmlNode* node) const {
    const XmlObjectStructure::AttrInvokers& attrs = GetXmlStructure().GetAttributes();
    for (auto it = attrs.begin(); it != attrs.end(); ++it) {
        if (it->second == nullptr) continue;
        String text = it->second->InvokeGetter(this);
        if (!text.empty()) node->AddAttr(it->first, text);
    }
    return true;
}

bool XmlObject::WriteChildren(XmlNode* node) const {
    const XmlObjectStructure::ChildInvokers& children = GetXmlStructure().getChildren();
    for (auto it = children.begin(); it != children.end(); ++it) {
        if (it->second == nullptr) continue;
        const XmlObject* child = it->second->InvokeGetter(this);
        if (child == nullptr) continue;
        XmlNode* element = node->AddNode(child->XmlTag(), child->GetValue());
        if (element == nullptr || !child->ToXml(element)) return false;
    }
    return true;
}

bool XmlObject::FromXml(const XmlNode* node) {
    try {
        ReadAttributes(node);
        for (ConstNodeIterator it = node->BeginChild(); it != node->EndChild(); ++it)
            if (!ReadChild(it.ptr())) return false;
        SetValue(node->Value());
        return true;
    } catch (...) {
        TraceError("FromXml", kFromXmlCatched);
    }
    return false;
}

void XmlObject::ReadAttributes(const XmlNode* node) {
    const XmlObjectStructure& structure = GetXmlStructure();
    for (ConstAttrIterator it = node->BeginAttr(); it != node->EndAttr(); ++it) {
        XmlAttrInvokerBase* invoker = structure.AttributeByName(it->Name());
        if (invoker != nullptr) invoker->InvokeSetter(this, it->Value());
    }
}

// The element's tag names the child; failing that, its "Name" attribute does.
XmlChildInvokerBase* XmlObject::FindChildInvoker(const XmlNode* element) const {
    const XmlObjectStructure& structure = GetXmlStructure();
    XmlChildInvokerBase* invoker = structure.ChildByName(element->Name());
    if (invoker != nullptr) return invoker;
    const XmlAttr* name = element->GetAttr(kNameAttr);
    return name == nullptr ? nullptr : structure.ChildByName(name->Value());
}

// False only when the child's own FromXml fails; unknown elements are skipped.
bool XmlObject::ReadChild(const XmlNode* element) {
    XmlChildInvokerBase* invoker = FindChildInvoker(element);
    if (invoker == nullptr) return true;
    XmlObject* child = nullptr;
    if (invoker->Type() == XmlChildInvokerBase::CHILD_DYNAMIC) {
        XmlObjBuilder* builder = Singleton<XmlObjBuilder>::GetInstance();
        if (builder != nullptr) child = builder->Create(element->Name());
        if (child != nullptr) invoker->InvokeSetter(this, child);
    } else if (invoker->Type() == XmlChildInvokerBase::CHILD_STATIC) {
        child = invoker->InvokeGetter(this);
    }
    return child == nullptr || child->FromXml(element);
}

bool XmlObject::Save(const String& file) const {
    try {
        if (file.empty()) {
            TraceError("Save", kNoFileName);
            return false;
        }
        XmlDocPtr doc(XmlDoc::Create());
        if (doc == nullptr) {
            TraceError("Save", kCantCreateDoc);
            return false;
        }
        XmlNode* root = XmlNode::Create(XmlTag());
        if (root == nullptr) {
            TraceError("Save", kCantCreateNode);
            return false;
        }
        root->SetValue(GetValue());
        doc->SetRootNode(root);
        if (!ToXml(root)) {
            TraceError("Save", kToXmlFailed);
            return false;
        }
        return doc->Save(file);
    } catch (...) {
        TraceError("Save", kSaveCatched);
    }
    return false;
}

bool XmlObject::Load(const String& file) {
    try {
        if (file.empty()) {
            TraceError("Load", kNoFileName);
            return false;
        }
        XmlDocPtr doc(XmlDoc::Open(file));
        if (doc == nullptr) {
            TraceError("Load", kCantOpenDoc);
            return false;
        }
        XmlNode* root = doc->GetRootNode();
        if (root == nullptr) {
            TraceError("Load", kCantGetNode);
            return false;
        }
        bool ok = FromXml(root);
        if (!ok) TraceError("Load", kFromXmlFailed);
        return ok;
    } catch (...) {
        TraceError("Load", kLoadCatched);
    }
    return false;
}

}  // namespace Env
