// What is fitted into the room there is: text (UTF-8, characters of one column each), and the cells
// of the front.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

bool begins_character(char c);
int text_width(std::string_view text);

// The text in lines of at most so many columns, broken at blanks where it can be; all but the first
// are indented.
std::vector<std::string> wrapped(std::string_view text, int width, int indent);

// The text with gaps of one blank, except among its first `head` bytes.
std::string tightened(std::string_view text, std::size_t head);

// A name in at most so many columns: vowels within its words go, from the end. Nothing if that is
// not enough.
std::optional<std::string> abbreviated(std::string name, int width);

// The parts with a gap between them, without those at the end that have no room.
std::string joined(const std::vector<std::string>& parts, int width);

constexpr int SECTION_COUNT = 3;  // a deck, the mixer, the other deck

struct Layout {
    std::array<int, SECTION_COUNT> columns{};      // of cells in each section
    std::array<int, SECTION_COUNT + 1> borders{};  // terminal columns between which they stand
    int rows = 0;                                  // of the longest section
};

// Finds room for so many cells in each section, the decks alike, on a width. Cells are as wide as
// wanted, or narrower where they would take more than so many rows.
Layout fit_layout(const std::array<int, SECTION_COUNT>& cells, int width, int rows, int wanted);

}  // namespace bench
