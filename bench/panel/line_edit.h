// A line that is typed: cursor keys, history, completion.
#pragma once

#include <string>
#include <vector>

namespace bench {

class LineEdit {
  public:
    // Begins an empty line.
    void open();
    // A key other than Enter, Escape and Tab: a character, or one that moves or erases.
    void key(int code);
    // Puts the line into the history.
    void remember();
    // Goes on as far as all candidates that begin so agree, in capitals or not. Returns the words
    // that may follow there, joined, if there are several.
    std::string complete(const std::vector<std::string>& candidates);

    const std::string& text() const { return text_; }
    int cursor() const { return static_cast<int>(cursor_); }

  private:
    struct Key;
    static const Key KEYS[];

    void erase_word();
    void recall(std::size_t at);
    void set(const std::string& text);

    std::string text_, begun_;  // begun: what was typed before going back in the history
    std::size_t cursor_ = 0;
    std::vector<std::string> history_;
    std::size_t at_ = 0;  // in the history; at its end: the line begun
};

}  // namespace bench
