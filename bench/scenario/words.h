// The words of one line of a scenario, taken from the front.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// What stands in a line is not what may stand there. Thrown by whoever reads it; `why` is for the
// message: "expected ...", or what is added to that.
struct NotAsExpected {
    std::string why;
};

// Without the white space around it.
std::string trimmed(std::string_view text);

// A row of a table in Markdown.
std::string table_row(const std::vector<std::string>& cells);

class Words {
  public:
    explicit Words(std::string_view line) : rest_(trimmed(line)) {}

    bool more() const { return !rest_.empty(); }
    // Each of these throws NotAsExpected if it does not stand there.
    std::string word();
    int number(int lowest, int highest);
    std::string text();    // all that is left
    std::string quoted();  // between the double quote that comes next and the last one

    int number_or(int otherwise, int lowest, int highest) {
        return more() ? number(lowest, highest) : otherwise;
    }
    // Takes these words if they stand there.
    bool take(std::string_view expected);
    // Takes a word from the end of the line, where a number follows it.
    std::optional<int> take_last(std::string_view expected, int lowest, int highest);

  private:
    std::string rest_;
};

}  // namespace bench
