// Forward iterator over libxml2 sibling chains seen through the Env wrappers.
#ifndef ENV_ITERATOR_H
#define ENV_ITERATOR_H

namespace Env {

// Walks T objects through T::Next()/T::Prev(); a null position is the end.
// The iterator derives from the class it walks only to share its interface
// family; that base part is zero-filled and never used (the inheritance is
// protected so that no member of T can be called on the iterator itself).
template <class T>
class Iterator : protected T {
public:
    Iterator(T* pNode) : T(), m_pNode(pNode) {}
    Iterator(const Iterator& other) : T(), m_pNode(other.m_pNode) {}
    Iterator& operator=(const Iterator& other) {
        m_pNode = other.m_pNode;
        return *this;
    }
    ~Iterator() {}

    T* operator*() const { return m_pNode; }
    T* operator->() const { return m_pNode; }
    T* ptr() const { return m_pNode; }

    Iterator& operator++() {
        m_pNode = m_pNode->Next();
        return *this;
    }
    Iterator operator++(int) {
        Iterator old(*this);
        m_pNode = m_pNode->Next();
        return old;
    }
    Iterator& operator--() {
        m_pNode = m_pNode->Prev();
        return *this;
    }
    Iterator operator--(int) {
        Iterator old(*this);
        m_pNode = m_pNode->Prev();
        return old;
    }

    bool operator==(const Iterator& other) const { return m_pNode == other.m_pNode; }
    bool operator!=(const Iterator& other) const { return m_pNode != other.m_pNode; }

private:
    T* m_pNode;
};

}  // namespace Env

#endif
