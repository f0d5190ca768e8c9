#include "reply_gathering.h"

#include <string.h>
#include <time.h>

#include "client_conversation.h"
#include "shell_prompt.h"

namespace {

typedef bool (*AwaitedText)(const char* text);

// Everything a reply can end with while the shell or the client waits for
// input. A new question of the client is one more line here.
const AwaitedText kAwaitedTexts[] = {
    ends_with_shell_prompt,
    is_host_key_question,
    is_password_prompt,
};

long long now_ms() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// `rule` holds for `text` but not for the text before its last line.
bool completed_by_last_line(AwaitedText rule, char* text, char* last_line) {
    if (!rule(text)) return false;
    char first = *last_line;
    *last_line = '\0';
    bool before = rule(text);
    *last_line = first;
    return !before;
}

}  // namespace

bool awaits_answer(char* text) {
    size_t len = strlen(text);
    if (len == 0 || text[len - 1] == '\n' || text[len - 1] == '\r') return false;
    char* lf = strrchr(text, '\n');
    char* last_line = lf != NULL ? lf + 1 : text;
    for (AwaitedText rule : kAwaitedTexts)
        if (completed_by_last_line(rule, text, last_line)) return true;
    return false;
}

ReplyGathering::ReplyGathering(char* buffer, int size)
    : m_buffer(buffer), m_size(size), m_held(0), m_lastOutputMs(0) {
    Reset();
}

void ReplyGathering::Reset() {
    m_held = 0;
    m_buffer[0] = '\0';
}

void ReplyGathering::Took(int bytes) {
    m_held += bytes;
    m_buffer[m_held] = '\0';
    m_lastOutputMs = now_ms();
}

int ReplyGathering::WaitMs() const {
    if (m_held == 0) return kQuietMs;
    long long left = m_lastOutputMs + kQuietMs - now_ms();
    return left > 0 ? static_cast<int>(left) : 0;
}

bool ReplyGathering::QuietOver() const { return m_held > 0 && WaitMs() == 0; }

bool ReplyGathering::Complete() { return Room() <= 0 || awaits_answer(m_buffer); }
