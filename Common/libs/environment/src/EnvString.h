// The string type of the environment library: std::string with a few helpers.
#ifndef ENV_STRING_H
#define ENV_STRING_H

#include <string>

namespace Env {

class String : public std::string {
public:
    String() {}
    String(const String& ref) : std::string(ref) {}
    String(const char* sz) : std::string(sz) {}
    String& operator=(const String& ref) = default;

    void ToUpper();
    void ToLower();
    bool Contains(const String& str) const;
    bool Equal(const String& str, bool bCaseSensitive) const;

    static String ToString(int i);
    static String ToString(bool b);
};

}  // namespace Env

#endif
