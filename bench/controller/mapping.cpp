#include "controller/mapping.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace bench {
namespace {

constexpr int UNITS_PER_STEP[] = {1, 2, 4, 8, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80};
constexpr int BASE_FIELDS = 8;
constexpr int APP_NUMBER_ONLY = -1;  // board number of a line that sets the host's number only
constexpr std::size_t MAX_NAME = 63;
constexpr char END_OF_FILE_MARK = '\xff';

// Runs of configuration indices and what the control board calls their first one.
struct Block {
    int first, last;
    Kind kind;
    int board_sends;  // -1: nothing
    int host_sees;    // default; -1: nothing
    int host_sends;   // default of the commands' numbers, both ways; -1: no light, no meter
    bool commands_count_up;
};
constexpr Block BLOCKS[] = {
    {0, 11, Kind::Pot, 0x00, 0, -1, false},       {12, 13, Kind::Platter, 0x0C, 12, -1, false},
    {14, 15, Kind::Partner, 0x0E, 14, -1, false}, {16, 17, Kind::Pot, 0x10, 16, -1, false},
    {18, 18, Kind::Encoder, 0x40, 18, -1, false}, {19, 20, Kind::Pot, 0x41, 19, -1, false},
    {21, 64, Kind::Button, 0x01, 1, 1, true},     {65, 70, Kind::Button, 0x40, 64, 64, true},
    {71, 71, Kind::Button, 0x46, 70, 0, false},   {72, 81, Kind::Light, -1, -1, 0, false},
    {82, 83, Kind::Meter, -1, -1, 0, false},      {84, 84, Kind::Spare, -1, -1, 0, false},
};

int number_in(int first_number, int offset) {
    return first_number < 0 ? -1 : first_number + offset;
}

bool is_note(std::uint8_t status) {
    return (status & 0xE0) == 0x80;
}

bool is_controller(std::uint8_t status) {
    return (status & 0xF0) == 0xB0;
}

std::vector<std::string> split(std::string_view line, std::string_view separators) {
    std::vector<std::string> fields;
    for (std::size_t from = line.find_first_not_of(separators); from != std::string_view::npos;) {
        const std::size_t to = std::min(line.find_first_of(separators, from), line.size());
        fields.emplace_back(line.substr(from, to - from));
        from = line.find_first_not_of(separators, to);
    }
    return fields;
}

std::optional<int> to_number(const std::string& text) {
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || value < INT_MIN || value > INT_MAX) {
        return std::nullopt;
    }
    return static_cast<int>(value);
}

struct Line {
    int number;
    std::vector<std::string> fields;
};

// The data lines of a hand-edited file, split into fields.
std::vector<Line> data_lines(std::string_view text) {
    std::vector<Line> lines;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        line.remove_prefix(std::min(line.find_first_not_of('\r'), line.size()));
        if (line.empty()) {
            continue;
        }
        const bool comment = line[0] == '#' || line[0] == ' ';
        if (line[0] == END_OF_FILE_MARK ||
            (comment && line.find(END_OF_FILE_MARK) != std::string_view::npos)) {
            break;
        }
        if (!comment) {
            lines.push_back({number, split(line, " \t\r\v\f")});
        }
    }
    return lines;
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The first line that holds the text anywhere, in capitals or not; nothing if none does.
std::optional<std::string_view> grep(std::string_view text, std::string_view pattern) {
    const auto same = [](char a, char b) { return lower(a) == lower(b); };
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (std::search(line.begin(), line.end(), pattern.begin(), pattern.end(), same) !=
            line.end()) {
            return line;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return std::nullopt;
}

// Reads the value of a command-line option as getopt would; a later one that counts wins.
int channel_option(const std::vector<std::string>& options) {
    int channel = -1;
    for (std::size_t i = 0; i < options.size(); ++i) {
        std::string value;
        if (options[i] == "-m" && i + 1 < options.size()) {
            value = options[i + 1];
        } else if (options[i].starts_with("-m") && options[i].size() > 2) {
            value = options[i].substr(2);
        } else {
            continue;
        }
        const int number = std::atoi(value.c_str()) & 0xFF;
        channel = number < 16 ? number : channel;
    }
    return channel;
}

// The preset's text, empty where the daemon finds none or the check script refuses it.
std::string preset_text(const ReadFile& read, int preset) {
    const std::string name = "orvik.midictl.cfg" + std::to_string(preset) + ".txt";
    if (preset != 0) {
        return read(name + ".ok").value_or("");
    }
    const std::string text = read(name).value_or("");
    const std::vector<Line> lines = data_lines(text);
    const bool good = std::all_of(lines.begin(), lines.end(),
                                  [](const Line& line) { return line.fields.size() == 2; });
    return good ? text : "";
}

}  // namespace

bool Control::sends_steps() const {
    return kind == Kind::Platter || kind == Kind::Partner || kind == Kind::Encoder;
}

int Control::units_per_step() const {
    return UNITS_PER_STEP[(extra >> 4) & 0x0F];
}

Mapping::Mapping() {
    for (const Block& block : BLOCKS) {
        for (int index = block.first; index <= block.last; ++index) {
            const int offset = index - block.first;
            Control& control = controls_[static_cast<std::size_t>(index)];
            control.index = index;
            control.kind = block.kind;
            control.name = "unmapped_" + std::to_string(index);
            control.board_sends = number_in(block.board_sends, offset);
            control.host_sees = number_in(block.host_sees, offset);
            control.host_sends = number_in(block.host_sends, block.commands_count_up ? offset : 0);
            control.board_sees = control.host_sends;
        }
    }
}

void Mapping::apply_numbers(Control& control, int board_number, int host_number) {
    if (control.host_sees >= 0) {
        control.host_sees = host_number & 0xFF;
    }
    if (control.host_sends >= 0) {
        control.host_sends = host_number & 0xFF;
        if (board_number != APP_NUMBER_ONLY) {
            control.board_sees = board_number & 0xFF;
        }
    }
}

void Mapping::refuse(int line, const std::vector<std::string>& fields) {
    bad_lines_.push_back(line);
    const int index = fields.empty() ? -1 : to_number(fields.front()).value_or(-1);
    if (index >= 0 && index < CONTROL_COUNT) {
        Control& control = controls_[static_cast<std::size_t>(index)];
        control.lost = true;
        control.lost_name = fields.size() > 1 && !to_number(fields.back()) ? fields.back() : "";
    }
}

void Mapping::apply_base(std::string_view text) {
    for (const Line& line : data_lines(text)) {
        int number[BASE_FIELDS - 1] = {};
        bool good = line.fields.size() >= BASE_FIELDS && line.fields[7].size() <= MAX_NAME;
        for (std::size_t i = 0; good && i + 1 < BASE_FIELDS; ++i) {
            const std::optional<int> value = to_number(line.fields[i]);
            good = value.has_value();
            number[i] = value.value_or(0);
        }
        if (!good) {
            refuse(line.number, line.fields);
            continue;
        }
        const auto [index, board_number, host_number, control_type, data_type, extra, rate] =
            number;
        if (index < 0 || index >= CONTROL_COUNT) {
            refuse(line.number, line.fields);
            continue;
        }
        Control& control = controls_[static_cast<std::size_t>(index)];
        control.mapped = true;
        control.name = line.fields[7];
        apply_numbers(control, board_number, host_number);
        if (board_number != APP_NUMBER_ONLY) {
            control.control_type = control_type & 0xFF;
            control.data_type = data_type & 0xFF;
            control.extra = extra & 0xFF;
            control.rate = rate & 0xFF;
        }
    }
}

void Mapping::apply_preset(std::string_view preset, std::string_view base) {
    for (const Line& line : data_lines(preset)) {
        const std::optional<int> host_number =
            line.fields.size() >= 2 ? to_number(line.fields[1]) : std::nullopt;
        const auto base_line =
            host_number ? grep(base, line.fields[0]) : std::optional<std::string_view>();
        if (!base_line) {
            continue;
        }
        const int index =
            std::atoi(std::string(base_line->substr(0, base_line->find(' '))).c_str());
        if (index >= 0 && index < CONTROL_COUNT) {
            apply_numbers(controls_[static_cast<std::size_t>(index)], APP_NUMBER_ONLY,
                          *host_number);
        }
    }
}

const Control* Mapping::find(std::string_view name) const {
    const auto found = std::find_if(controls_.begin(), controls_.end(),
                                    [&](const Control& control) { return control.name == name; });
    return found != controls_.end() ? &*found : nullptr;
}

const Control* Mapping::sent_by_board(std::uint8_t status, int number) const {
    for (const Control& control : controls_) {
        const bool fits = control.sends_notes() ? is_note(status) : is_controller(status);
        if (fits && control.board_sends == number) {
            return &control;
        }
    }
    return nullptr;
}

const Control* Mapping::seen_by_host(std::uint8_t status, int number) const {
    for (const Control& control : controls_) {
        const bool fits = control.sends_notes() ? is_note(status) : is_controller(status);
        if (fits && control.host_sees == number) {
            return &control;
        }
    }
    return nullptr;
}

const Control* Mapping::sent_by_host(std::uint8_t status, int number) const {
    for (const Control& control : controls_) {
        const bool fits = control.kind == Kind::Meter
                              ? is_controller(status)
                              : is_note(status) && control.kind != Kind::Spare;
        if (fits && control.host_sends == number) {
            return &control;
        }
    }
    return nullptr;
}

const Control* Mapping::seen_by_board(std::uint8_t status, int number) const {
    for (const Control& control : controls_) {
        const bool fits = control.is_note_light() ? is_note(status) : is_controller(status);
        if (fits && control.kind != Kind::Spare && control.board_sees == number) {
            return &control;
        }
    }
    return nullptr;
}

std::string setting(std::string_view settings, std::string_view key) {
    const std::string_view line = grep(settings, key).value_or("");
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        return std::string(line);
    }
    const std::string_view value = line.substr(equals + 1);
    return std::string(value.substr(0, value.find('=')));
}

Setup read_setup(const ReadFile& read, const std::vector<std::string>& options) {
    Setup setup;
    const std::string base = read("orvik.midictl.cfg").value_or("");
    const std::string settings = read("orvik.sys.cfg").value_or("");
    setup.mapping.apply_base(base);
    setup.channel = channel_option(options);
    if (setup.channel < 0) {
        const int number = std::atoi(setting(settings, "midi_channel").c_str()) & 0xFF;
        setup.channel = number < 16 ? number : -1;
    }
    const std::string preset = setting(settings, "midi_preset").substr(0, 15);
    if (!preset.empty()) {
        setup.mapping.apply_preset(preset_text(read, std::atoi(preset.c_str())), base);
    }
    return setup;
}

}  // namespace bench
