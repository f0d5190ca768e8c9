// Waiting for a file (a log another process appends to) to show a text.
#ifndef VMNAP_TEST_SUPPORT_TEXT_WAIT_H
#define VMNAP_TEST_SUPPORT_TEXT_WAIT_H

#include <stddef.h>

#include <string>

// How often `text` occurs in `haystack` (occurrences do not overlap).
size_t CountOf(const std::string& haystack, const std::string& text);

// Polls the file every 100 ms until it holds `text` at least `count` times; false after `seconds`.
bool WaitForText(const std::string& path, const std::string& text, int seconds, size_t count = 1);

#endif
