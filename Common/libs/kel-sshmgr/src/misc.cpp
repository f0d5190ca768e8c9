#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ssh_io.h"

void str_remove_ending(char* str) {
    if (str == NULL) return;
    size_t len = strlen(str);
    while (len > 0 && (str[len - 1] == '\r' || str[len - 1] == '\n')) str[--len] = '\0';
}

namespace {

// Appends `count` bytes of `text` to the work buffer of `size` bytes, bounded by its size.
void append_bounded(char* work, size_t size, const char* text, size_t count) {
    size_t used = strlen(work);
    if (used + 1 >= size) return;
    size_t room = size - 1 - used;
    memcpy(work + used, text, count < room ? count : room);
}

// Copies `str` into `work` without the CRs that are not followed by LF.
void copy_without_single_cr(const char* str, char* work, size_t size) {
    size_t length = strlen(str);
    size_t pos = 0;
    const char* cr;
    while (pos < length && (cr = strchr(str + pos, '\r')) != NULL) {
        append_bounded(work, size, str + pos, static_cast<size_t>(cr - (str + pos)));
        pos = static_cast<size_t>(cr - str) + 1;
        if (str[pos] == '\n') {
            append_bounded(work, size, "\r\n", 2);
            pos++;
        }
    }
    if (pos < length) append_bounded(work, size, str + pos, length - pos);
}

}  // namespace

void str_remove_single_cr(char* str, int len) {
    if (str == NULL || len <= 0 || str[0] == '\0') return;
    size_t size = static_cast<size_t>(len) + 1;
    char* work = static_cast<char*>(calloc(size, 1));
    if (work == NULL) return;
    copy_without_single_cr(str, work, size);
    snprintf(str, static_cast<size_t>(len), "%s", work);
    free(work);
}

char* get_last_error_str(unsigned long err, char* buf, int len) {
    (void)buf;
    (void)len;
    return strerror(static_cast<int>(err));
}

int _dup2(int oldfd, int newfd) { return dup2(oldfd, newfd) == -1 ? -1 : 0; }

int _pipe(int* pfds, unsigned int psize, int textmode) {
    (void)psize;
    (void)textmode;
    return pipe(pfds);
}
