// Levelled, time-stamped diagnostic output shared by every part of the tool.
#ifndef KEL_TOOLS_TRACE_H
#define KEL_TOOLS_TRACE_H

enum {
    TRACE_START = 99,  // lower bound, exclusive
    TRACE_ERROR = 100,
    TRACE_WARNING = 101,
    TRACE_INFO = 102,
    TRACE_NOTICE = 103,
    TRACE_DEBUG = 104,
    TRACE_ALWAYS = 105,  // bypasses the mask
    TRACE_END = 106      // upper bound, exclusive
};

enum {
    TRACE_MODE_QUIET = 0,
    TRACE_MODE_INFO = 1,
    TRACE_MODE_VERBOSE = 2,
    TRACE_MODE_DEBUG = 3,
    TRACE_MODE_END = 4
};

// Replaces the level mask with the one of `mode`; returns the previous mask word.
unsigned int kel_set_trace(unsigned int mode);

// Non-zero when a line of `level` may be printed.
int trace_get_bit(int level);

// Both return 0 when a line was written, 1 when nothing was written.
int kel_trace(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
int KelTrace(int level, const char* name, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Lines are written whole: threads that trace at once never mix within a
// line. kel_trace_hold() keeps every other thread's lines back until the
// matching kel_trace_release() (while a client is started, the standard
// descriptors briefly point at its pipes); the holding thread itself must
// not trace in between. Holds nest.
void kel_trace_hold();
void kel_trace_release();

// A text written before the message of every line the calling thread writes
// from now on (a worker names the VM it handles); NULL or "" for none.
void kel_trace_set_tag(const char* tag);

#endif
