#include "shell_prompt.h"

#include <string.h>

namespace {

const char* const kBusyboxPrompt = "~ #";

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

bool is_word_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           c == '-' || c == '_' || c == '.';
}

// Moves `p` past a non-empty run of word characters; false when there is none.
bool skip_word(const char*& p, const char* end) {
    const char* start = p;
    while (p < end && is_word_char(*p)) ++p;
    return p > start;
}

// A path as the shell shows it: "~" or "/" first, then anything but brackets and
// control characters, up to the closing ']'.
bool skip_path(const char*& p, const char* end) {
    if (p >= end || (*p != '~' && *p != '/')) return false;
    while (p < end && *p != ']' && *p != '[' && static_cast<unsigned char>(*p) >= ' ') ++p;
    return true;
}

bool only_blanks(const char* p, const char* end) {
    while (p < end && is_blank(*p)) ++p;
    return p == end;
}

size_t line_length(const char* line) {
    const char* lf = strchr(line, '\n');
    return lf != NULL ? static_cast<size_t>(lf - line) : strlen(line);
}

// The whole line is the prompt, with nothing after it but blanks: a "~ # "
// inside a VM name or note is not the shell waiting.
bool is_busybox_prompt_line(const char* line, size_t len) {
    size_t prompt = strlen(kBusyboxPrompt);
    return len >= prompt && strncmp(line, kBusyboxPrompt, prompt) == 0 &&
           only_blanks(line + prompt, line + len);
}

}  // namespace

bool is_bracket_prompt_line(const char* line, size_t len) {
    const char* p = line;
    const char* end = line + len;
    if (p >= end || *p++ != '[') return false;
    if (!skip_word(p, end) || p >= end || *p++ != '@') return false;
    if (!skip_word(p, end) || p >= end || *p++ != ':') return false;
    if (!skip_path(p, end) || p >= end || *p++ != ']') return false;
    return only_blanks(p, end);
}

bool is_bracket_prompt_line(const char* line) {
    return line != NULL && is_bracket_prompt_line(line, line_length(line));
}

bool is_prompt_line(const char* line) {
    if (line == NULL) return false;
    size_t len = line_length(line);
    return is_busybox_prompt_line(line, len) || is_bracket_prompt_line(line, len);
}

bool has_shell_prompt(const char* text) {
    if (text == NULL) return false;
    for (const char* line = text;; ++line) {
        if (is_prompt_line(line)) return true;
        line = strchr(line, '\n');
        if (line == NULL) return false;
    }
}

bool ends_with_shell_prompt(const char* text) {
    if (text == NULL) return false;
    const char* lf = strrchr(text, '\n');
    return is_prompt_line(lf != NULL ? lf + 1 : text);
}

std::string without_bracket_prompts(const char* text) {
    std::string kept;
    if (text == NULL) return kept;
    for (const char* line = text; *line != '\0';) {
        size_t len = line_length(line);
        bool has_end = line[len] == '\n';
        if (!is_bracket_prompt_line(line, len)) kept.append(line, len + (has_end ? 1 : 0));
        line += len + (has_end ? 1 : 0);
    }
    return kept;
}
