#include "panel/layout.h"

#include <algorithm>

namespace bench {
namespace {

constexpr int NARROWEST_CELL = 11;

int rows_for(int cells, int columns) {
    return (cells + columns - 1) / columns;
}

// The fewest rows that cells of this width need, in the fewest columns.
Layout shortest(const std::array<int, SECTION_COUNT>& cells, int width, int cell) {
    const auto [left, centre, right] = cells;
    Layout best;
    for (int deck = 1; deck == 1 || (2 * deck + 1) * cell <= width; ++deck) {
        for (int mixer = 1; mixer == 1 || (2 * deck + mixer) * cell <= width; ++mixer) {
            const int rows =
                std::max(rows_for(std::max(left, right), deck), rows_for(centre, mixer));
            if (best.rows == 0 || rows < best.rows) {
                best = {{deck, mixer, deck}, {}, rows};
            }
        }
    }
    return best;
}

}  // namespace

Layout fit_layout(const std::array<int, SECTION_COUNT>& cells, int width, int rows, int wanted) {
    int cell = std::max(wanted, NARROWEST_CELL);
    Layout layout = shortest(cells, width, cell);
    while (layout.rows > rows && cell > NARROWEST_CELL) {
        layout = shortest(cells, width, --cell);
    }
    const auto [deck, mixer, other_deck] = layout.columns;
    const int side = deck * (width / (deck + mixer + other_deck));
    layout.borders = {0, side, width - side, width};
    return layout;
}

}  // namespace bench
