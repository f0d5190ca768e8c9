#include "state_values.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace esxisim {

const char kYes[] = "yes";
const char kNo[] = "no";

const char* YesNo(bool value) { return value ? kYes : kNo; }

bool ParseBool(const std::string& value, bool* out) {
    if (value != kYes && value != kNo) return false;
    *out = value == kYes;
    return true;
}

bool ParseNumber(const std::string& value, long* out) {
    if (value.empty()) return false;
    char* end = nullptr;
    *out = std::strtol(value.c_str(), &end, 10);
    return *end == '\0' && *out >= 0;
}

bool ParseBounded(const std::string& value, long max, int* out) {
    long number = 0;
    if (!ParseNumber(value, &number) || number > max) return false;
    *out = static_cast<int>(number);
    return true;
}

bool ParseEpoch(const std::string& value, double* out) {
    size_t digits = 0;
    while (digits < value.size() && std::isdigit(static_cast<unsigned char>(value[digits]))) ++digits;
    size_t end = digits;
    if (end < value.size() && value[end] == '.') {
        ++end;
        while (end < value.size() && std::isdigit(static_cast<unsigned char>(value[end]))) ++end;
    }
    if (digits == 0 || digits > 12 || end != value.size()) return false;
    *out = std::strtod(value.c_str(), nullptr);
    return *out > 0;
}

std::string FormatEpoch(double epoch) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.3f", epoch);
    return text;
}

std::vector<std::string> Words(const std::string& value) {
    std::vector<std::string> words;
    std::istringstream in(value);
    for (std::string word; std::getline(in, word, ' ');) words.push_back(word);
    return words;
}

}  // namespace esxisim
