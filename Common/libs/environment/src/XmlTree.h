// An object-style view of libxml2 documents. The classes below add no data to
// the libxml2 structures they derive from: every XmlDoc*, XmlNode* and
// XmlAttr* is a pointer handed out by libxml2, reinterpreted. libxml2 owns all
// memory; nodes and attributes live as long as their document.
#ifndef ENV_XML_TREE_H
#define ENV_XML_TREE_H

#include <libxml/tree.h>

#include "EnvString.h"
#include "Iterator.h"

namespace Env {

// Version text of every document this layer creates.
extern const char XML_VER[];

class XmlNode;
class XmlAttr;

typedef Iterator<XmlNode> NodeIterator;
typedef Iterator<const XmlNode> ConstNodeIterator;
typedef Iterator<XmlAttr> AttrIterator;
typedef Iterator<const XmlAttr> ConstAttrIterator;

// The wrappers have no virtual functions: a vtable pointer would move the
// libxml2 part away from offset 0 and break the pointer reinterpretation.
class XmlDoc : public _xmlDoc {
public:
    static XmlDoc* Create();
    static XmlDoc* Open(const String& sFileName);

    bool Save(const String& sFileName);
    void Free();
    XmlNode* SetRootNode(XmlNode* pNode);
    XmlNode* GetRootNode();

private:
    XmlDoc() = delete;
    ~XmlDoc() = delete;
};

class XmlNode : public _xmlNode {
public:
    static XmlNode* Create(const String& sName);

    String Name() const;
    String Value() const;
    void SetValue(const String& val);

    XmlAttr* AddAttr(const String& sName, const String& sValue);
    XmlNode* AddNode(const String& sName, const String& sValue);
    XmlAttr* GetAttr(const String& sName);
    const XmlAttr* GetAttr(const String& sName) const;

    XmlNode* Next();
    const XmlNode* Next() const;
    XmlNode* Prev();
    const XmlNode* Prev() const;

    NodeIterator BeginChild();
    ConstNodeIterator BeginChild() const;
    NodeIterator EndChild();
    ConstNodeIterator EndChild() const;
    AttrIterator BeginAttr();
    ConstAttrIterator BeginAttr() const;
    AttrIterator EndAttr();
    ConstAttrIterator EndAttr() const;

protected:
    // Only the iterators build one, as their never-used base part.
    XmlNode() = default;
    ~XmlNode() = default;
    friend class Iterator<XmlNode>;
    friend class Iterator<const XmlNode>;
};

class XmlAttr : public _xmlAttr {
public:
    String Name() const;
    String Value() const;

    XmlAttr* Next();
    const XmlAttr* Next() const;
    XmlAttr* Prev();
    const XmlAttr* Prev() const;

protected:
    XmlAttr() = default;
    ~XmlAttr() = default;
    friend class Iterator<XmlAttr>;
    friend class Iterator<const XmlAttr>;
};

}  // namespace Env

#endif
