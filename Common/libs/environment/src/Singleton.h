// One lazily built instance per class, usable during static initialisation
// and answering null once it has been destroyed at exit.
#ifndef ENV_SINGLETON_H
#define ENV_SINGLETON_H

namespace Env {

template <class T>
class Singleton {
public:
    static T* GetInstance() {
        if (s_pInstance == nullptr && !s_bDestroyed) {
            static T instance;
            s_pInstance = &instance;
        }
        return s_pInstance;
    }

    virtual ~Singleton() {
        s_pInstance = nullptr;
        s_bDestroyed = true;
    }

protected:
    Singleton() {}

private:
    Singleton(const Singleton&) = delete;
    Singleton& operator=(const Singleton&) = delete;

    // Both are constant-initialised, so they are valid before any dynamic
    // initialiser of any translation unit runs.
    static T* s_pInstance;
    static bool s_bDestroyed;
};

template <class T>
T* Singleton<T>::s_pInstance = nullptr;

template <class T>
bool Singleton<T>::s_bDestroyed = false;

}  // namespace Env

#endif
