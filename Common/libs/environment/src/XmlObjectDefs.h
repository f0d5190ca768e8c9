// Invokers through which an object's structure reaches the properties and
// child objects of a concrete serialisable class.
#ifndef ENV_XML_OBJECT_DEFS_H
#define ENV_XML_OBJECT_DEFS_H

#include "EnvString.h"

namespace Env {

class XmlObject;

class XmlAttrInvokerBase {
public:
    virtual ~XmlAttrInvokerBase() {}
    virtual void InvokeSetter(XmlObject* obj, const String& value) = 0;
    virtual String InvokeGetter(const XmlObject* obj) const = 0;
};

// Binds an attribute to T's string getter and setter; either may be null.
template <class T>
class XmlAttrInvoker : public XmlAttrInvokerBase {
public:
    typedef String (T::*Getter)() const;
    typedef void (T::*Setter)(const String&);

    XmlAttrInvoker(Getter getter, Setter setter) : m_getter(getter), m_setter(setter) {}

    void InvokeSetter(XmlObject* obj, const String& value) override {
        if (m_setter) (static_cast<T*>(obj)->*m_setter)(value);
    }

    String InvokeGetter(const XmlObject* obj) const override {
        String result;
        if (m_getter) result = (static_cast<const T*>(obj)->*m_getter)();
        return result;
    }

private:
    Getter m_getter;
    Setter m_setter;
};

class XmlChildInvokerBase {
public:
    enum ChildType { CHILD_STATIC = 0, CHILD_DYNAMIC = 1 };

    virtual ~XmlChildInvokerBase() {}
    virtual ChildType Type() const = 0;
    virtual void InvokeSetter(XmlObject* parent, XmlObject* child) = 0;
    virtual XmlObject* InvokeGetter(XmlObject* parent) = 0;
    virtual const XmlObject* InvokeGetter(const XmlObject* parent) const = 0;
};

// A child that is a member object of its parent and always exists.
template <class T>
class XmlChildInvokerStatic : public XmlChildInvokerBase {
public:
    typedef XmlObject* (T::*Getter)();
    typedef const XmlObject* (T::*ConstGetter)() const;

    XmlChildInvokerStatic(ConstGetter constgetter, Getter getter)
        : m_getter(getter), m_constgetter(constgetter) {}

    ChildType Type() const override { return CHILD_STATIC; }

    void InvokeSetter(XmlObject*, XmlObject*) override {}

    XmlObject* InvokeGetter(XmlObject* parent) override {
        if (!m_getter) return nullptr;
        return (static_cast<T*>(parent)->*m_getter)();
    }

    const XmlObject* InvokeGetter(const XmlObject* parent) const override {
        if (!m_constgetter) return nullptr;
        return (static_cast<const T*>(parent)->*m_constgetter)();
    }

private:
    Getter m_getter;
    ConstGetter m_constgetter;
};

}  // namespace Env

#endif
