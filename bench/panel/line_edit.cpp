#include "panel/line_edit.h"

#define NCURSES_NOMACROS
#include <curses.h>
#include <strings.h>

#include <algorithm>
#include <iterator>
#include <set>

namespace bench {
namespace {

constexpr int DELETE = 127;

constexpr int control_key(char letter) {
    return letter & 0x1F;
}

bool begins_with(const std::string& text, const std::string& beginning) {
    return strncasecmp(text.c_str(), beginning.c_str(), beginning.size()) == 0;
}

}  // namespace

struct LineEdit::Key {
    int code;
    void (LineEdit::*act)();
};
constexpr LineEdit::Key LineEdit::KEYS[] = {
    {KEY_LEFT, &LineEdit::left},
    {KEY_RIGHT, &LineEdit::right},
    {KEY_HOME, &LineEdit::home},
    {control_key('A'), &LineEdit::home},
    {KEY_END, &LineEdit::end},
    {control_key('E'), &LineEdit::end},
    {KEY_BACKSPACE, &LineEdit::backspace},
    {DELETE, &LineEdit::backspace},
    {control_key('H'), &LineEdit::backspace},
    {KEY_DC, &LineEdit::erase},
    {control_key('W'), &LineEdit::erase_word},
    {control_key('U'), &LineEdit::erase_all},
    {KEY_UP, &LineEdit::earlier},
    {KEY_DOWN, &LineEdit::later},
};

void LineEdit::open() {
    set("");
    begun_.clear();
    at_ = history_.size();
}

void LineEdit::key(int code) {
    const Key* const known = std::find_if(std::begin(KEYS), std::end(KEYS),
                                          [&](const Key& key) { return key.code == code; });
    if (known != std::end(KEYS)) {
        (this->*known->act)();
    } else if (code >= ' ' && code < DELETE) {
        text_.insert(cursor_++, 1, static_cast<char>(code));
    }
}

void LineEdit::remember() {
    if (!text_.empty() && (history_.empty() || history_.back() != text_)) {
        history_.push_back(text_);
    }
}

std::string LineEdit::complete(const std::vector<std::string>& candidates) {
    std::vector<std::string> fitting;
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(fitting),
                 [&](const std::string& candidate) { return begins_with(candidate, text_); });
    if (fitting.empty()) {
        return "";
    }
    std::string common = fitting.front();
    for (const std::string& other : fitting) {
        const auto differs =
            std::mismatch(common.begin(), common.end(), other.begin(), other.end()).first;
        common.erase(differs, common.end());
    }
    set(common);
    if (fitting.size() == 1) {
        return "";
    }
    const std::size_t word = common.find_last_of(' ') + 1;
    std::string words;
    std::set<std::string> seen;
    for (const std::string& other : fitting) {
        const std::string next = other.substr(word, other.find(' ', word) - word);
        words += seen.insert(next).second ? next + " " : "";
    }
    return words;
}

void LineEdit::left() {
    cursor_ -= cursor_ > 0 ? 1 : 0;
}

void LineEdit::right() {
    cursor_ += cursor_ < text_.size() ? 1 : 0;
}

void LineEdit::backspace() {
    if (cursor_ > 0) {
        text_.erase(--cursor_, 1);
    }
}

void LineEdit::erase_word() {
    const std::size_t last = text_.substr(0, cursor_).find_last_not_of(' ');
    const std::size_t blank = last == std::string::npos ? last : text_.rfind(' ', last);
    const std::size_t from = blank == std::string::npos ? 0 : blank + 1;
    text_.erase(from, cursor_ - from);
    cursor_ = from;
}

void LineEdit::earlier() {
    if (at_ > 0) {
        begun_ = at_ == history_.size() ? text_ : begun_;
        set(history_[--at_]);
    }
}

void LineEdit::later() {
    if (at_ < history_.size()) {
        ++at_;
        set(at_ < history_.size() ? history_[at_] : begun_);
    }
}

void LineEdit::set(const std::string& text) {
    text_ = text;
    cursor_ = text_.size();
}

}  // namespace bench
