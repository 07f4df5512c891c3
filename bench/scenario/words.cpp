#include "scenario/words.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace bench {
namespace {

constexpr const char* WHITE_SPACE = " \t\r";

int to_number(const std::string& word, int lowest, int highest) {
    char* end = nullptr;
    const long value = std::strtol(word.c_str(), &end, 0);
    if (word.empty() || *end != '\0' || value < lowest || value > highest) {
        throw NotAsExpected();
    }
    return static_cast<int>(value);
}

}  // namespace

std::string trimmed(std::string_view text) {
    const std::size_t from = std::min(text.find_first_not_of(WHITE_SPACE), text.size());
    return std::string(text.substr(from, text.find_last_not_of(WHITE_SPACE) + 1 - from));
}

std::string table_row(const std::vector<std::string>& cells) {
    std::string row = "|";
    for (const std::string& cell : cells) {
        row += " ";
        for (const char c : cell) {
            row += c == '|' ? "\\|" : std::string(1, c);
        }
        row += " |";
    }
    return row + "\n";
}

std::string Words::word() {
    if (rest_.empty()) {
        throw NotAsExpected();
    }
    const std::size_t end = std::min(rest_.find_first_of(WHITE_SPACE), rest_.size());
    const std::string word = rest_.substr(0, end);
    rest_ = trimmed(std::string_view(rest_).substr(end));
    return word;
}

int Words::number(int lowest, int highest) {
    return to_number(word(), lowest, highest);
}

std::string Words::text() {
    if (rest_.empty()) {
        throw NotAsExpected();
    }
    return std::exchange(rest_, "");
}

std::string Words::quoted() {
    const std::size_t end = rest_.rfind('"');
    if (rest_.empty() || rest_[0] != '"' || end == 0) {
        throw NotAsExpected();
    }
    const std::string inside = rest_.substr(1, end - 1);
    rest_ = trimmed(std::string_view(rest_).substr(end + 1));
    return inside;
}

bool Words::take(std::string_view expected) {
    Words ahead = *this;
    for (Words wanted(expected); wanted.more();) {
        if (!ahead.more() || ahead.word() != wanted.word()) {
            return false;
        }
    }
    *this = ahead;
    return true;
}

std::optional<int> Words::take_last(std::string_view expected, int lowest, int highest) {
    const std::size_t at = rest_.rfind(std::string(expected) + " ");
    if (at == std::string::npos || (at > 0 && rest_[at - 1] != ' ')) {
        return std::nullopt;
    }
    const std::string number = trimmed(rest_.substr(at + expected.size()));
    rest_ = trimmed(rest_.substr(0, at));
    return to_number(number, lowest, highest);
}

}  // namespace bench
