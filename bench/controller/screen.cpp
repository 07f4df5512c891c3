#include "controller/screen.h"

#include <vterm.h>

#include <algorithm>

namespace bench {

namespace {

struct ConsoleColor {
    const char* name;
    const char* rgb;
};
constexpr ConsoleColor COLORS[] = {
    {"black", "#000000"},        {"red", "#aa0000"},
    {"green", "#00aa00"},        {"yellow", "#aa5500"},
    {"blue", "#0000aa"},         {"magenta", "#aa00aa"},
    {"cyan", "#00aaaa"},         {"white", "#aaaaaa"},
    {"bright black", "#555555"}, {"bright red", "#ff5555"},
    {"bright green", "#55ff55"}, {"bright yellow", "#ffff55"},
    {"bright blue", "#5555ff"},  {"bright magenta", "#ff55ff"},
    {"bright cyan", "#55ffff"},  {"bright white", "#ffffff"},
};

int color_index(const VTermColor& color, bool is_default, int own) {
    const bool known = !is_default && VTERM_COLOR_IS_INDEXED(&color) && color.indexed.idx < 16;
    return known ? color.indexed.idx : own;
}

// The colours as they appear, reversal applied.
std::pair<const ConsoleColor&, const ConsoleColor&> appearing(const Cell& cell) {
    const ConsoleColor& foreground = COLORS[cell.foreground];
    const ConsoleColor& background = COLORS[cell.background];
    return cell.reverse
               ? std::pair<const ConsoleColor&, const ConsoleColor&>(background, foreground)
               : std::pair<const ConsoleColor&, const ConsoleColor&>(foreground, background);
}

}  // namespace

struct Screen::Emulator {
    VTerm* terminal = vterm_new(SCREEN_ROWS, SCREEN_COLUMNS);
    VTermScreen* screen = vterm_obtain_screen(terminal);
    Emulator() {
        vterm_set_utf8(terminal, 1);
        // Bold text is bright on the console.
        vterm_state_set_bold_highbright(vterm_obtain_state(terminal), 1);
        vterm_screen_reset(screen, 1);
    }
    ~Emulator() { vterm_free(terminal); }
    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;
};

Screen::Screen() : emulator_(std::make_unique<Emulator>()) {}
Screen::~Screen() = default;

void Screen::write(const Bytes& bytes) {
    vterm_input_write(emulator_->terminal, reinterpret_cast<const char*>(bytes.data()),
                      bytes.size());
}

Cell Screen::at(int row, int column) const {
    VTermScreenCell cell;
    Cell result;
    if (vterm_screen_get_cell(emulator_->screen, {row - 1, column - 1}, &cell) == 0) {
        return result;
    }
    char text[VTERM_MAX_CHARS_PER_CELL * 4];
    const std::size_t size = vterm_screen_get_text(emulator_->screen, text, sizeof text,
                                                   {row - 1, row, column - 1, column});
    result.text = cell.chars[0] == 0 ? " " : std::string(text, size);
    result.foreground =
        color_index(cell.fg, VTERM_COLOR_IS_DEFAULT_FG(&cell.fg), result.foreground);
    result.background =
        color_index(cell.bg, VTERM_COLOR_IS_DEFAULT_BG(&cell.bg), result.background);
    result.reverse = cell.attrs.reverse != 0;
    return result;
}

std::string Screen::text(int row, int column, int length) const {
    std::string text;
    for (int i = 0; i < length && column + i <= SCREEN_COLUMNS; ++i) {
        text += at(row, column + i).text;
    }
    return text;
}

std::string Screen::text(int row) const {
    std::string whole = text(row, 1, SCREEN_COLUMNS);
    whole.erase(whole.find_last_not_of(' ') + 1);
    return whole;
}

std::string Screen::colors(const Cell& cell) {
    const auto& [foreground, background] = appearing(cell);
    return std::string(foreground.name) + " on " + background.name;
}

bool Screen::are_colors(const std::string& words) {
    const auto is_color = [](const std::string& word) {
        return std::any_of(std::begin(COLORS), std::end(COLORS),
                           [&](const ConsoleColor& color) { return color.name == word; });
    };
    const std::size_t on = words.find(" on ");
    return on != words.npos && is_color(words.substr(0, on)) && is_color(words.substr(on + 4));
}

std::pair<int, int> Screen::pixel_colors(const Cell& cell) {
    const auto pixel = [](const ConsoleColor& color) {
        const int rgb = std::stoi(color.rgb + 1, nullptr, 16);
        return (rgb >> 19 & 0x1F) << 11 | (rgb >> 10 & 0x3F) << 5 | (rgb >> 3 & 0x1F);
    };
    const auto& [text, ground] = appearing(cell);
    return {pixel(text), pixel(ground)};
}

}  // namespace bench
