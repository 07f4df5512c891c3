// Where the panel's cells stand: a deck, the mixer, the other deck.
#pragma once

#include <array>

namespace bench {

constexpr int SECTION_COUNT = 3;

struct Layout {
    std::array<int, SECTION_COUNT> columns{};      // of cells in each section
    std::array<int, SECTION_COUNT + 1> borders{};  // terminal columns between which they stand
    int rows = 0;                                  // of the longest section
};

// Finds room for so many cells in each section, the decks alike, on a width. Cells are as wide as
// wanted, or narrower where they would take more than so many rows.
Layout fit_layout(const std::array<int, SECTION_COUNT>& cells, int width, int rows, int wanted);

}  // namespace bench
