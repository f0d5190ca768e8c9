#include "greeting_filter.h"

#include <algorithm>

namespace esxisim {

namespace {

// The greeting's form: the head, the version line's end, the help line. The version in between has no
// line feed and is shorter than kLongestVersionLine.
const std::string kHead = "\n\nBusyBox ";
const std::string kVersionLineEnd = " built-in shell (ash)\n";
const std::string kHelpLine = "Enter 'help' for a list of built-in commands.\n\n";
const size_t kLongestVersionLine = 200;

// Whether `text` from `at` on agrees with `expected` as far as it goes; `whole` says whether it holds all of it.
bool StartsWith(const std::string& text, size_t at, const std::string& expected, bool* whole) {
    size_t compared = std::min(text.size() - at, expected.size());
    *whole = compared == expected.size();
    return text.compare(at, compared, expected, 0, compared) == 0;
}

}  // namespace

GreetingFilter::Match GreetingFilter::Check(size_t* length) const {
    bool whole = false;
    if (!StartsWith(held_, 0, kHead, &whole)) return Match::kNone;
    if (!whole) return Match::kPartial;
    size_t line_end = held_.find('\n', kHead.size());
    if (line_end == std::string::npos) return held_.size() > kLongestVersionLine ? Match::kNone : Match::kPartial;
    size_t next_line = line_end + 1;
    if (next_line < kHead.size() + kVersionLineEnd.size() ||
        held_.compare(next_line - kVersionLineEnd.size(), kVersionLineEnd.size(), kVersionLineEnd) != 0) {
        return Match::kNone;
    }
    if (!StartsWith(held_, next_line, kHelpLine, &whole)) return Match::kNone;
    *length = next_line + kHelpLine.size();
    return whole ? Match::kWhole : Match::kPartial;
}

std::string GreetingFilter::Pass(const std::string& text) {
    if (decided_) return text;
    held_ += text;
    size_t length = 0;
    Match match = Check(&length);
    if (match == Match::kPartial) return "";
    decided_ = true;
    std::string shown = match == Match::kWhole ? held_.substr(length) : held_;
    held_.clear();
    return shown;
}

std::string GreetingFilter::Flush() {
    decided_ = true;
    std::string shown;
    shown.swap(held_);
    return shown;
}

}  // namespace esxisim
