// When a reply of the client is complete, and the bookkeeping of one reply
// being gathered from the client's output.
//
// A reply is complete as soon as its raw text ends with something that waits
// for an answer or a decision (the shell prompt, a question of the client);
// other text is complete after a second without new output. A reply never
// grows past the caller's buffer: a full buffer is complete at once.
#ifndef KEL_SSHMGR_REPLY_GATHERING_H
#define KEL_SSHMGR_REPLY_GATHERING_H

// The raw client output `text` ends with an open line that makes it a text
// someone waits on: the shell prompt, the host-key question, a password
// prompt. Text ending in CR or LF never does; nor does a question that was
// complete before its last line (a VM note holding "password:").
// `text` is changed while it is looked at and restored before returning.
bool awaits_answer(char* text);

// One reply being read into a caller's buffer of `size` bytes (at most
// size - 1 of them text, always terminated).
class ReplyGathering {
public:
    static constexpr int kQuietMs = 1000;  // silence that ends a reply without a question

    ReplyGathering(char* buffer, int size);

    void Reset();                        // nothing held; the buffer is empty
    int Held() const { return m_held; }  // bytes of the reply read so far
    int Room() const { return m_size - 1 - m_held; }
    char* Tail() { return m_buffer + m_held; }  // where the next read goes
    void Took(int bytes);                // `bytes` were read into Tail()

    // How long to wait for more output: the rest of the quiet second while
    // something is held, a whole second otherwise.
    int WaitMs() const;
    bool QuietOver() const;  // something is held and a second passed without output
    bool Complete();         // full, or ends with a text that waits for an answer

private:
    char* m_buffer;
    int m_size;
    int m_held;
    long long m_lastOutputMs;
};

#endif
