// The prompt of the ESXi shell, in one place for everything that waits for it
// or passes over it: the session, the one-shot engine and the reply parsers.
//
// Two prompts are known:
//   "~ # "                 ESXi 4.x and 5.x: the whole line is "~ #" and nothing after it
//                          but blanks.
//   "[root@esx01:~] "      ESXi 6.0 and later (busybox PS1='[\u@\h:\w] '): the whole line is
//                          '[', USER '@' HOST ':' PATH, ']' and nothing after it but blanks.
// Both are whole-line rules, so that no row of a VM table, annotation or error text that
// merely holds a prompt's characters matches: in the bracket form USER and HOST are single
// words and PATH starts with '~' or '/'.
#ifndef KEL_SSHMGR_SHELL_PROMPT_H
#define KEL_SSHMGR_SHELL_PROMPT_H

#include <stddef.h>

#include <string>

// `line` (up to its end, or up to `len` characters) is a bracket prompt.
bool is_bracket_prompt_line(const char* line, size_t len);
bool is_bracket_prompt_line(const char* line);

// `line` is a prompt of either kind.
bool is_prompt_line(const char* line);

// Some line of `text` is a prompt of either kind.
bool has_shell_prompt(const char* text);

// The last line of `text` (after its last line feed) is a prompt: the shell waits
// for the next command.
bool ends_with_shell_prompt(const char* text);

// `text` without its bracket-prompt lines, so that a host name in a prompt is never
// read as part of a reply. Other lines are kept byte for byte.
std::string without_bracket_prompts(const char* text);

#endif
