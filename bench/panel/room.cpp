#include "panel/room.h"

#include <algorithm>

namespace bench {
namespace {

constexpr std::string_view VOWELS = "AEIOUaeiou";
constexpr int NARROWEST_CELL = 11;

// Where the character after so many others begins.
std::size_t place_after(std::string_view text, int characters) {
    std::size_t at = 0;
    while (at < text.size() && (!begins_character(text[at]) || characters-- > 0)) {
        ++at;
    }
    return at;
}

// Where a line of so many columns is to end.
std::size_t break_in(std::string_view text, int width) {
    const std::size_t most = place_after(text, width);
    const std::size_t blank = most < text.size() ? text.rfind(' ', most) : std::string::npos;
    const bool far_enough = blank != std::string::npos && blank > most / 2;
    return far_enough ? blank : most;
}

}  // namespace

bool begins_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

int text_width(std::string_view text) {
    return static_cast<int>(std::count_if(text.begin(), text.end(), begins_character));
}

std::vector<std::string> wrapped(std::string_view text, int width, int indent) {
    std::vector<std::string> lines;
    do {
        const int used = lines.empty() ? 0 : std::min(indent, width / 2);
        const std::size_t end = break_in(text, std::max(1, width - used));
        lines.push_back(std::string(static_cast<std::size_t>(used), ' '));
        lines.back() += text.substr(0, end);
        text.remove_prefix(std::min(text.find_first_not_of(' ', end), text.size()));
    } while (!text.empty());
    return lines;
}

std::string tightened(std::string_view text, std::size_t head) {
    std::string tight(text.substr(0, head));
    for (std::size_t i = tight.size(); i < text.size(); ++i) {
        if (text[i] != ' ' || text[i - 1] != ' ') {
            tight += text[i];
        }
    }
    return tight;
}

std::optional<std::string> abbreviated(std::string name, int width) {
    for (std::size_t i = name.size(); text_width(name) > width && i-- > 1;) {
        if (VOWELS.find(name[i]) != std::string_view::npos && name[i - 1] != '_') {
            name.erase(i, 1);
        }
    }
    return text_width(name) <= width ? std::optional(name) : std::nullopt;
}

std::string joined(const std::vector<std::string>& parts, int width) {
    std::string text;
    for (const std::string& part : parts) {
        const std::string more = (text.empty() || part.empty() ? "" : "  ") + part;
        if (text_width(text) + text_width(more) > width) {
            break;
        }
        text += more;
    }
    return text;
}

Layout fit_layout(const std::array<int, SECTION_COUNT>& cells, int width, int rows, int wanted) {
    const auto rows_of = [](int count, int columns) { return (count + columns - 1) / columns; };
    const auto [left, centre, right] = cells;
    Layout best;
    for (int cell = std::max(wanted, NARROWEST_CELL);; --cell) {
        best = {};  // the fewest rows that cells of this width need, in the fewest columns
        for (int deck = 1; deck == 1 || (2 * deck + 1) * cell <= width; ++deck) {
            for (int mixer = 1; mixer == 1 || (2 * deck + mixer) * cell <= width; ++mixer) {
                const int needed =
                    std::max(rows_of(std::max(left, right), deck), rows_of(centre, mixer));
                if (best.rows == 0 || needed < best.rows) {
                    best = {{deck, mixer, deck}, {}, needed};
                }
            }
        }
        if (best.rows <= rows || cell <= NARROWEST_CELL) {
            break;
        }
    }
    const auto [deck, mixer, other_deck] = best.columns;
    const int side = deck * (width / (deck + mixer + other_deck));
    best.borders = {0, side, width - side, width};
    return best;
}

}  // namespace bench
