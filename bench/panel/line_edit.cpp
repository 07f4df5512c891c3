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
    int codes[3];
    void (*act)(LineEdit& line);
};
constexpr LineEdit::Key LineEdit::KEYS[] = {
    {{KEY_LEFT}, [](LineEdit& line) { line.cursor_ -= line.cursor_ > 0 ? 1 : 0; }},
    {{KEY_RIGHT}, [](LineEdit& line) { line.cursor_ += line.cursor_ < line.text_.size() ? 1 : 0; }},
    {{KEY_HOME, control_key('A')}, [](LineEdit& line) { line.cursor_ = 0; }},
    {{KEY_END, control_key('E')}, [](LineEdit& line) { line.cursor_ = line.text_.size(); }},
    {{KEY_BACKSPACE, DELETE, control_key('H')},
     [](LineEdit& line) {
         if (line.cursor_ > 0) {
             line.text_.erase(--line.cursor_, 1);
         }
     }},
    {{KEY_DC}, [](LineEdit& line) { line.text_.erase(line.cursor_, 1); }},
    {{control_key('W')}, [](LineEdit& line) { line.erase_word(); }},
    {{control_key('U')}, [](LineEdit& line) { line.set(""); }},
    {{KEY_UP}, [](LineEdit& line) { line.recall(line.at_ - 1); }},
    {{KEY_DOWN}, [](LineEdit& line) { line.recall(line.at_ + 1); }},
};

void LineEdit::open() {
    set("");
    begun_.clear();
    at_ = history_.size();
}

void LineEdit::key(int code) {
    const Key* const known = std::find_if(std::begin(KEYS), std::end(KEYS), [&](const Key& key) {
        return std::find(std::begin(key.codes), std::end(key.codes), code) != std::end(key.codes);
    });
    if (known != std::end(KEYS) && code != 0) {
        known->act(*this);
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

void LineEdit::erase_word() {
    const std::size_t last = text_.substr(0, cursor_).find_last_not_of(' ');
    const std::size_t blank = last == std::string::npos ? last : text_.rfind(' ', last);
    const std::size_t from = blank == std::string::npos ? 0 : blank + 1;
    text_.erase(from, cursor_ - from);
    cursor_ = from;
}

void LineEdit::recall(std::size_t at) {
    if (at <= history_.size()) {  // before the first it is beyond them all
        begun_ = at_ == history_.size() ? text_ : begun_;
        at_ = at;
        set(at_ < history_.size() ? history_[at_] : begun_);
    }
}

void LineEdit::set(const std::string& text) {
    text_ = text;
    cursor_ = text_.size();
}

}  // namespace bench
