#include "controller/mapping.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <sstream>

#include "world/places.h"

namespace bench {
namespace {

constexpr int UNITS_PER_STEP[] = {1, 2, 4, 8, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80};
constexpr int APP_NUMBER_ONLY = -1;   // board number of a record that sets the host's number only
constexpr int BASE_FORM_PRESET = -1;  // the preset that is written as the base mapping is
constexpr std::size_t MAX_NAME = 63;
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

bool is_note(std::uint8_t status) {
    return (status & 0xE0) == 0x80;
}

bool is_controller(std::uint8_t status) {
    return (status & 0xF0) == 0xB0;
}

using Fields = std::vector<std::string>;

// The fields of each line that is neither empty nor a comment.
std::vector<Fields> records_of(std::string_view text) {
    std::vector<Fields> records;
    std::istringstream in{std::string(text)};
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line.starts_with('#') || line.starts_with(' ') ? "" : line);
        records.emplace_back(std::istream_iterator<std::string>(fields),
                             std::istream_iterator<std::string>());
        if (records.back().empty()) {
            records.pop_back();
        }
    }
    return records;
}

std::optional<int> to_number(const std::string& field) {
    int number = 0;
    const char* const end = field.data() + field.size();
    const auto [rest, error] = std::from_chars(field.data(), end, number);
    return rest == end && error == std::errc() ? std::optional(number) : std::nullopt;
}

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
    const std::vector<Fields> records = records_of(text);
    const bool good = std::all_of(records.begin(), records.end(),
                                  [](const Fields& fields) { return fields.size() == 2; });
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
            Control& control = controls_.at(static_cast<std::size_t>(index));
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

void Mapping::apply_base(std::string_view text) {
    enum { INDEX, BOARD, HOST, CONTROL_TYPE, DATA_TYPE, EXTRA, RATE, NAME };
    for (const Fields& fields : records_of(text)) {
        std::array<int, NAME> numbers{};
        std::size_t read = 0;
        for (; read < std::min<std::size_t>(NAME, fields.size()) && to_number(fields[read]);
             ++read) {
            numbers.at(read) = *to_number(fields[read]);
        }
        if (read == 0 || numbers[INDEX] < 0 || numbers[INDEX] >= CONTROL_COUNT) {
            continue;
        }
        Control& control = controls_.at(static_cast<std::size_t>(numbers[INDEX]));
        if (read < NAME || fields.size() <= NAME || fields[NAME].size() > MAX_NAME) {
            const std::string& last = fields.back();
            control.lost = true;
            control.lost_name = is_name(last) && !to_number(last) ? last : "";
            continue;
        }
        control.mapped = true;
        control.name = fields[NAME];
        apply_numbers(control, numbers[BOARD], numbers[HOST]);
        if (numbers[BOARD] != APP_NUMBER_ONLY) {
            control.control_type = numbers[CONTROL_TYPE] & 0xFF;
            control.data_type = numbers[DATA_TYPE] & 0xFF;
            control.extra = numbers[EXTRA] & 0xFF;
            control.rate = numbers[RATE] & 0xFF;
        }
    }
}

void Mapping::apply_preset(std::string_view preset, std::string_view base) {
    for (const Fields& fields : records_of(preset)) {
        const std::optional<int> number = fields.size() < 2 ? std::nullopt : to_number(fields[1]);
        const auto base_line = number && is_name(fields[0]) ? grep(base, fields[0]) : std::nullopt;
        if (!base_line) {
            continue;
        }
        const int index =
            std::atoi(std::string(base_line->substr(0, base_line->find(' '))).c_str());
        if (index >= 0 && index < CONTROL_COUNT) {
            apply_numbers(controls_.at(static_cast<std::size_t>(index)), APP_NUMBER_ONLY, *number);
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
