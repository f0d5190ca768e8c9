// Typed property holders of serialisable objects, with the text form used in
// XML attributes.
#ifndef ENV_XML_OBJ_ATTR_H
#define ENV_XML_OBJ_ATTR_H

#include <stdlib.h>

#include "EnvString.h"

namespace Env {

template <class T>
class XmlObjAttr {
public:
    XmlObjAttr() : m_val() {}
    T Get() const { return m_val; }
    void Set(const T& val) { m_val = val; }

protected:
    T m_val;
};

// Instantiated for Env::String, int and bool only.
template <class T>
class XmlObjStrAttr : public XmlObjAttr<T> {
public:
    String GetStr() const;
    void SetStr(const String& str);
};

template <>
inline String XmlObjStrAttr<String>::GetStr() const {
    return m_val;
}

template <>
inline void XmlObjStrAttr<String>::SetStr(const String& str) {
    m_val = str;
}

template <>
inline String XmlObjStrAttr<int>::GetStr() const {
    return String::ToString(m_val);
}

// atoi: leading blanks, optional sign, digits up to the first non-digit.
template <>
inline void XmlObjStrAttr<int>::SetStr(const String& str) {
    m_val = atoi(str.c_str());
}

template <>
inline String XmlObjStrAttr<bool>::GetStr() const {
    return String::ToString(m_val);
}

// Only the word "true", in any case, is true.
template <>
inline void XmlObjStrAttr<bool>::SetStr(const String& str) {
    m_val = str.Equal(String("true"), false);
}

}  // namespace Env

#endif
