// Base of every object that saves itself to an XML file and loads itself back.
// Each serialisable class owns one static structure that maps its attribute
// and child names (lower-cased) to invokers; ToXml/FromXml walk that map.
#ifndef ENV_XML_OBJECT_H
#define ENV_XML_OBJECT_H

#include <map>

#include "EnvString.h"
#include "XmlObjAttr.h"
#include "XmlObjectDefs.h"
#include "XmlTree.h"

namespace Env {

// Frees the document it holds when it goes out of scope; may hold null.
class XmlDocPtr {
public:
    explicit XmlDocPtr(XmlDoc* pDoc) : m_pDoc(pDoc) {}
    ~XmlDocPtr() {
        if (m_pDoc != nullptr) m_pDoc->Free();
    }

    XmlDoc* operator->() const { return m_pDoc; }
    bool operator==(const XmlDoc* doc) const { return m_pDoc == doc; }

private:
    XmlDocPtr(const XmlDocPtr&) = delete;
    XmlDocPtr& operator=(const XmlDocPtr&) = delete;

    XmlDoc* m_pDoc;
};

class XmlObject {
public:
    class XmlObjAttrName : public XmlObjStrAttr<String> {
    public:
        XmlObjAttrName() { m_val = ""; }
    };
    class XmlObjAttrValue : public XmlObjStrAttr<String> {
    public:
        XmlObjAttrValue() { m_val = ""; }
    };

    class XmlObjectStructure {
    public:
        typedef std::map<String, XmlAttrInvokerBase*> AttrInvokers;
        typedef std::map<String, XmlChildInvokerBase*> ChildInvokers;

        XmlObjectStructure();
        ~XmlObjectStructure();

        // The structure owns the invokers it is given.
        void AddChild(const String& name, XmlAttrInvokerBase* invoker);
        void AddChild(const String& name, XmlChildInvokerBase* invoker);

        const AttrInvokers& GetAttributes() const { return m_attributes; }
        const ChildInvokers& getChildren() const { return m_children; }
        XmlAttrInvokerBase* AttributeByName(const String& name) const;
        XmlChildInvokerBase* ChildByName(const String& name) const;

    private:
        XmlObjectStructure(const XmlObjectStructure&) = delete;
        XmlObjectStructure& operator=(const XmlObjectStructure&) = delete;

        AttrInvokers m_attributes;
        ChildInvokers m_children;
    };

    XmlObject() {}

    virtual const XmlObjectStructure& GetXmlStructure() const;
    virtual const char* ClassName() const;
    virtual ~XmlObject();
    virtual String XmlTag() const;
    virtual bool ToXml(XmlNode* node) const;
    virtual bool FromXml(const XmlNode* node);

    static XmlObject* Create();

    bool Save(const String& file) const;
    bool Load(const String& file);

    String GetName() const { return m_Name.Get(); }
    void SetName(const String& name) { m_Name.Set(name); }
    String GetNameStr() const { return m_Name.GetStr(); }
    void SetNameStr(const String& name) { m_Name.SetStr(name); }
    String GetValue() const { return m_Value.Get(); }
    void SetValue(const String& value) { m_Value.Set(value); }
    String GetValueStr() const { return m_Value.GetStr(); }
    void SetValueStr(const String& value) { m_Value.SetStr(value); }

    static XmlObjectStructure m_gXmlStructure;

private:
    bool WriteAttributes(XmlNode* node) const;
    bool WriteChildren(XmlNode* node) const;
    void ReadAttributes(const XmlNode* node);
    bool ReadChild(const XmlNode* element);
    XmlChildInvokerBase* FindChildInvoker(const XmlNode* element) const;

    XmlObjAttrName m_Name;
    XmlObjAttrValue m_Value;
};

}  // namespace Env

#endif
