// A serialisable object holding other serialisable objects, written as one
// child element each. The list owns its items: its destructor deletes them.
#ifndef ENV_XML_OBJECT_LIST_H
#define ENV_XML_OBJECT_LIST_H

#include <list>

#include "XmlObject.h"

namespace Env {

class XmlObjectList : public XmlObject {
public:
    typedef std::list<XmlObject*> Objects;
    typedef Objects::iterator iterator;
    typedef Objects::const_iterator const_iterator;

    class XmlObjectListStructure : public XmlObjectStructure {
    public:
        XmlObjectListStructure();
    };

    XmlObjectList() {}

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override;
    ~XmlObjectList() override;
    String XmlTag() const override;
    bool ToXml(XmlNode* node) const override;
    bool FromXml(const XmlNode* node) override;

    static XmlObject* Create();

    iterator begin() { return m_objects.begin(); }
    iterator end() { return m_objects.end(); }
    const_iterator begin() const { return m_objects.begin(); }
    const_iterator end() const { return m_objects.end(); }

    void push_back(XmlObject* object) { m_objects.push_back(object); }
    void push_front(XmlObject* object) { m_objects.push_front(object); }
    bool empty() const { return m_objects.empty(); }
    // Forgets the items without deleting them; the caller takes them over.
    void clear() { m_objects.clear(); }
    size_t size() const { return m_objects.size(); }

    static XmlObjectListStructure m_gXmlObjectListStructure;

protected:
    // Whether an item built from a list element may join the list; a refused
    // item makes FromXml fail. Every item is welcome here.
    virtual bool AcceptsItem(const XmlObject& item) const;

private:
    XmlObjectList(const XmlObjectList&) = delete;
    XmlObjectList& operator=(const XmlObjectList&) = delete;

    bool ReadItem(const XmlNode* element);

    Objects m_objects;
};

}  // namespace Env

#endif
