#include "controller/mapping.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "world/places.h"

namespace bench {
namespace {

constexpr int UNITS_PER_STEP[] = {1, 2, 4, 8, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80};
constexpr int APP_NUMBER_ONLY = -1;   // board number of a record that sets the host's number only
constexpr int BASE_FORM_PRESET = -1;  // the preset that is written as the base mapping is
constexpr std::size_t MAX_NAME = 63;
constexpr char END_OF_FILE_MARK = '\xff';
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";
constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";

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
    {82, 83, Kind::Meter, -1, -1, 0, false},      {84, 84, Kind::Spare, -1, -1, -1, false},
};

bool is_note(std::uint8_t status) {
    return (status & 0xE0) == 0x80;
}

bool is_controller(std::uint8_t status) {
    return (status & 0xF0) == 0xB0;
}

// Reads a hand-edited file record by record. Each field is taken as scanf takes it, after any white
// space, so that a record may span lines; what is left of its last line is then a line of its own.
class Records {
  public:
    explicit Records(std::string_view text) : text_(text) {}

    // Goes on to where a record begins; false at the end of the file.
    bool next() {
        while (!text_.empty() && text_[0] != END_OF_FILE_MARK) {
            if (text_[0] == '#' || text_[0] == ' ') {
                if (take_line("\n").find(END_OF_FILE_MARK) != std::string_view::npos) {
                    return false;
                }
            } else if (text_[0] == '\n' || text_[0] == '\r') {
                text_.remove_prefix(1);
            } else {
                record_ = text_;
                return true;
            }
        }
        return false;
    }
    bool take_number(int& number) {
        skip(text_.find_first_not_of(WHITE_SPACE));
        const bool plus = text_.starts_with("+") && !text_.starts_with("+-");
        const char* const first = text_.data() + (plus ? 1 : 0);
        const auto [end, error] = std::from_chars(first, text_.data() + text_.size(), number);
        if (error != std::errc()) {
            return false;
        }
        skip(static_cast<std::size_t>(end - text_.data()));
        return true;
    }
    bool take_word(std::string& word) {
        skip(text_.find_first_not_of(WHITE_SPACE));
        word = text_.substr(0, text_.find_first_of(WHITE_SPACE));
        skip(word.size());
        return !word.empty();
    }
    // What is left of the line, without its end, which is any of these bytes.
    std::string_view take_line(std::string_view ends = "\n\r") {
        const std::string_view line = text_.substr(0, text_.find_first_of(ends));
        skip(line.size() + 1);
        return line;
    }
    // What is left of the line that the record began in; nothing in a later one.
    std::string_view take_rest() {
        const std::string_view taken = record_.substr(0, record_.size() - text_.size());
        const std::size_t begin = taken.find_first_not_of(WHITE_SPACE);
        return taken.find('\n', begin == taken.npos ? 0 : begin) == taken.npos ? take_line() : "";
    }

  private:
    void skip(std::size_t size) { text_.remove_prefix(std::min(size, text_.size())); }

    std::string_view text_;
    std::string_view record_;  // from where it begins
};

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The first line that holds the pattern anywhere, in capitals or not; nothing if none does. A dot
// is any character, as to grep.
std::optional<std::string_view> grep(std::string_view text, std::string_view pattern) {
    const auto same = [](char c, char p) { return p == '.' || lower(c) == lower(p); };
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

bool is_name(std::string_view name) {
    const std::string_view letters =
        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
    return name.size() <= MAX_NAME && letters.find(name[0]) != std::string_view::npos &&
           std::all_of(name.begin(), name.end(), [&](char c) {
               return letters.find(c) != std::string_view::npos || c == '-' || c == '.' || c == '+';
           });
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

// What the check script copies: nothing, unless each line that counts has two fields.
std::string checked(std::string text) {
    if (text.starts_with(BYTE_ORDER_MARK)) {
        text.erase(0, BYTE_ORDER_MARK.size());
    }
    for (Records lines(text); lines.next();) {
        Records fields(lines.take_line("\n"));
        int count = 0;
        for (std::string field; fields.take_word(field);) {
            ++count;
        }
        if (count != 2) {
            return "";
        }
    }
    return text;
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
            control.board_sends = block.board_sends < 0 ? -1 : block.board_sends + offset;
            control.host_sees = block.host_sees < 0 ? -1 : block.host_sees + offset;
            control.host_sends = block.host_sends + (block.commands_count_up ? offset : 0);
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

// A control whose record is refused keeps its place, under the name at the end of the line.
void Mapping::lose(int index, std::string_view rest_of_line) {
    if (index < 0 || index >= CONTROL_COUNT) {
        return;
    }
    Control& control = controls_[static_cast<std::size_t>(index)];
    control.lost = true;
    Records rest(rest_of_line);
    for (std::string word; rest.take_word(word);) {
        control.lost_name =
            is_name(word) && word.find_first_not_of("0123456789") != word.npos ? word : "";
    }
}

void Mapping::apply_base(std::string_view text) {
    for (Records records(text); records.next();) {
        int index = -1, board_number, host_number, control_type, data_type, extra, rate;
        bool good = true;
        for (int* const number :
             {&index, &board_number, &host_number, &control_type, &data_type, &extra, &rate}) {
            good = good && records.take_number(*number);
        }
        std::string name;
        if (!good || !records.take_word(name) || name.size() > MAX_NAME) {
            lose(index, records.take_rest());
            continue;
        }
        if (index < 0 || index >= CONTROL_COUNT) {
            continue;
        }
        Control& control = controls_[static_cast<std::size_t>(index)];
        control.mapped = true;
        control.name = name;
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
    for (Records records(preset); records.next();) {
        std::string name;
        int host_number;
        if (!records.take_word(name) || name.size() > MAX_NAME ||
            !records.take_number(host_number)) {
            records.take_rest();
            continue;
        }
        const std::optional<std::string_view> base_line =
            is_name(name) ? grep(base, name) : std::nullopt;
        if (!base_line) {
            continue;
        }
        const int index =
            std::atoi(std::string(base_line->substr(0, base_line->find(' '))).c_str());
        if (index >= 0 && index < CONTROL_COUNT) {
            apply_numbers(controls_[static_cast<std::size_t>(index)], APP_NUMBER_ONLY, host_number);
        }
    }
}

const Control* Mapping::find(std::string_view name) const {
    const auto found = std::find_if(controls_.begin(), controls_.end(),
                                    [&](const Control& control) { return control.name == name; });
    return found != controls_.end() ? &*found : nullptr;
}

const Control* Mapping::find(std::uint8_t status, int number, int Control::*known,
                             bool (Control::*as_note)() const) const {
    const auto found =
        std::find_if(controls_.begin(), controls_.end(), [&](const Control& control) {
            return control.*known == number &&
                   ((control.*as_note)() ? is_note(status) : is_controller(status));
        });
    return found != controls_.end() ? &*found : nullptr;
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
    const std::string base = read(BASE_MAPPING).value_or("");
    const std::string settings = read(SETTINGS).value_or("");
    setup.mapping.apply_base(base);
    setup.channel = channel_option(options);
    if (setup.channel < 0) {
        const int number = std::atoi(setting(settings, "midi_channel").c_str()) & 0xFF;
        setup.channel = number < 16 ? number : -1;
    }
    const std::string selected = setting(settings, "midi_preset").substr(0, 15);
    const int preset = std::atoi(selected.c_str());
    const std::string name = BASE_MAPPING + std::to_string(preset) + ".txt";
    const std::string text =
        preset == 0 ? checked(read(name).value_or("")) : read(name + ".ok").value_or("");
    if (preset == BASE_FORM_PRESET) {
        setup.mapping.apply_base(text);
    } else if (!selected.empty()) {
        setup.mapping.apply_preset(text, base);
    }
    return setup;
}

}  // namespace bench
