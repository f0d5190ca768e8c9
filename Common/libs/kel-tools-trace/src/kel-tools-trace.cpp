#include "kel-tools-trace.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <mutex>
#include <string>

namespace {

unsigned int trace_flags = 1;

// Taken around each whole line, and by kel_trace_hold().
std::recursive_mutex& write_lock() {
    static std::recursive_mutex lock;
    return lock;
}

thread_local std::string thread_tag;

const int kFirstSize = 1024;
const int kRetrySize = kFirstSize * 4;

const char* const kLineFmt = "%s: %s";
const char* const kDebugFmt = "%s: trace> %s";
const char* const kWarningFmt = "%s: Warning> %s";
const char* const kNamedLineFmt = "%s: %s: %s";
const char* const kNamedDebugFmt = "%s: trace> %s: %s";
const char* const kNamedWarningFmt = "%s: Warning> %s: %s";

bool printable(int level, const char* format) {
    if (format == NULL) return false;
    if (level <= TRACE_START || level >= TRACE_END) return false;
    return trace_get_bit(level) != 0;
}

// Formats into a heap buffer: 1024 bytes first, one retry with 4096 when the
// formatter fails. The caller frees the result; NULL when out of memory.
char* format_message(const char* format, va_list args) {
    char* buf = static_cast<char*>(calloc(kFirstSize + 1, 1));
    if (buf == NULL) return NULL;
    va_list first;
    va_copy(first, args);
    int n = vsnprintf(buf, kFirstSize, format, first);
    va_end(first);
    if (n != -1) return buf;
    free(buf);
    buf = static_cast<char*>(calloc(kRetrySize + 1, 1));
    if (buf == NULL) return NULL;
    va_list retry;
    va_copy(retry, args);
    vsnprintf(buf, kRetrySize + 1, format, retry);
    va_end(retry);
    return buf;
}

// hh:mm:ss of the local time (the reentrant conversion: threads trace at once).
void time_stamp(char* stamp, size_t size) {
    time_t now = time(NULL);
    struct tm local;
    if (localtime_r(&now, &local) == NULL || strftime(stamp, size, "%H:%M:%S", &local) == 0)
        stamp[0] = '\0';
}

bool error_to_terminal(int level) {
    return level == TRACE_ERROR && (trace_flags & 1) != 0 && isatty(2);
}

void write_line(int level, const char* name, const char* untagged) {
    std::string tagged = thread_tag + untagged;
    const char* message = tagged.c_str();
    std::lock_guard<std::recursive_mutex> whole_line(write_lock());
    char stamp[20 + 1] = {0};
    time_stamp(stamp, 20);
    FILE* stream = error_to_terminal(level) ? stderr : stdout;
    const char* fmt;
    if (stream == stderr)
        fmt = name ? kNamedLineFmt : kLineFmt;
    else if (level == TRACE_DEBUG)
        fmt = name ? kNamedDebugFmt : kDebugFmt;
    else if (level == TRACE_WARNING)
        fmt = name ? kNamedWarningFmt : kWarningFmt;
    else
        fmt = name ? kNamedLineFmt : kLineFmt;
    if (name)
        fprintf(stream, fmt, stamp, name, message);
    else
        fprintf(stream, fmt, stamp, message);
}

int vtrace(int level, const char* name, const char* format, va_list args) {
    if (!printable(level, format)) return 1;
    char* message = format_message(format, args);
    if (message == NULL) return 1;
    write_line(level, name, message);
    free(message);
    return 0;
}

}  // namespace

unsigned int kel_set_trace(unsigned int mode) {
    unsigned int previous = trace_flags;
    trace_flags = 1;
    if (mode == TRACE_MODE_INFO || mode == TRACE_MODE_VERBOSE || mode == TRACE_MODE_DEBUG)
        trace_flags |= 4;
    if (mode == TRACE_MODE_VERBOSE || mode == TRACE_MODE_DEBUG) trace_flags |= 2 | 8;
    if (mode == TRACE_MODE_DEBUG) trace_flags |= 16;
    return previous;
}

int trace_get_bit(int level) {
    if (level == TRACE_ALWAYS) return 1;
    int bit = level - TRACE_ERROR;
    if (bit < 0 || bit > 31) return 0;
    return static_cast<int>(trace_flags & (1u << bit));
}

int kel_trace(int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int rc = vtrace(level, NULL, format, args);
    va_end(args);
    return rc;
}

int KelTrace(int level, const char* name, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int rc = vtrace(level, name, format, args);
    va_end(args);
    return rc;
}

void kel_trace_hold() { write_lock().lock(); }

void kel_trace_release() { write_lock().unlock(); }

void kel_trace_set_tag(const char* tag) { thread_tag = tag != NULL ? tag : ""; }
