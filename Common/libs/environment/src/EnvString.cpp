#include "EnvString.h"

#include <ctype.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>

namespace Env {

void String::ToUpper() {
    for (size_type i = 0; i < length(); ++i)
        at(i) = static_cast<char>(toupper(static_cast<int>(at(i))));
}

void String::ToLower() {
    for (size_type i = 0; i < length(); ++i)
        at(i) = static_cast<char>(tolower(static_cast<int>(at(i))));
}

bool String::Contains(const String& str) const {
    return strstr(c_str(), str.c_str()) != NULL;
}

bool String::Equal(const String& str, bool bCaseSensitive) const {
    if (bCaseSensitive) return strcmp(c_str(), str.c_str()) == 0;
    return strcasecmp(c_str(), str.c_str()) == 0;
}

String String::ToString(int i) {
    char buf[128];
    snprintf(buf, sizeof(buf), "%d", i);
    return String(buf);
}

String String::ToString(bool b) {
    return String(b ? "true" : "false");
}

}  // namespace Env
