#include "controller/midi_text.h"

#include <cstdio>
#include <sstream>

namespace bench {
namespace {

constexpr std::uint8_t FIRST_REAL_TIME = 0xF8;
constexpr std::uint8_t NON_COMMERCIAL = 0x7D;  // the manufacturer number of trial units

struct Name {
    std::uint8_t status;
    const char* format;  // of channel and up to two data bytes
};
constexpr Name CHANNEL_NAMES[] = {
    {NOTE_OFF, "note-off  ch %d  note %d  velocity %d"},
    {NOTE_ON, "note-on   ch %d  note %d  velocity %d"},
    {0xA0, "key pressure  ch %d  note %d  pressure %d"},
    {CONTROL_CHANGE, "control change  ch %d  controller %d  value %d"},
    {0xC0, "program change  ch %d  program %d"},
    {0xD0, "channel pressure  ch %d  pressure %d"},
    {0xE0, "pitch bend  ch %d  low %d  high %d"},
};
constexpr Name SYSTEM_NAMES[] = {
    {0xF1, "time code quarter frame"},
    {0xF2, "song position"},
    {0xF3, "song select"},
    {0xF6, "tune request"},
    {SYSEX_END, "stray end of system exclusive"},
    {0xF8, "timing clock"},
    {0xFA, "start"},
    {0xFB, "continue"},
    {0xFC, "stop"},
    {0xFE, "active sensing"},
    {0xFF, "system reset"},
};

const char* find_format(std::uint8_t status) {
    for (const Name& name : SYSTEM_NAMES) {
        if (name.status == status) {
            return name.format;
        }
    }
    for (const Name& name : CHANNEL_NAMES) {
        if (status < SYSEX_START && name.status == (status & 0xF0)) {
            return name.format;
        }
    }
    return nullptr;
}

bool is_identity(const Bytes& message, std::uint8_t kind) {
    return message.size() >= 6 && message[0] == SYSEX_START && message[1] == 0x7E &&
           message[3] == 0x06 && message[4] == kind && message.back() == SYSEX_END;
}

std::string describe_sysex(const Bytes& message) {
    if (is_identity_request(message)) {
        return "Identity Request";
    }
    if (is_identity_reply(message)) {
        return "Identity Reply";
    }
    const bool whole = message.back() == SYSEX_END;
    return "system exclusive, " + std::to_string(message.size()) + " bytes" +
           (whole ? "" : ", unfinished");
}

}  // namespace

std::vector<Bytes> Splitter::feed(const std::uint8_t* data, std::size_t size) {
    std::vector<Bytes> messages;
    for (std::size_t i = 0; i < size; ++i) {
        take(data[i], messages);
    }
    return messages;
}

void Splitter::take(std::uint8_t byte, std::vector<Bytes>& messages) {
    if (byte >= FIRST_REAL_TIME) {
        messages.push_back({byte});
        return;
    }
    const bool in_sysex = !pending_.empty() && pending_[0] == SYSEX_START;
    const bool ends_sysex = in_sysex && byte == SYSEX_END;
    if (byte >= 0x80 && !pending_.empty() && !ends_sysex) {
        messages.push_back(pending_);
        pending_.clear();
    }
    pending_.push_back(byte);
    const std::size_t length = message_length(pending_[0]);
    if (ends_sysex || (length != 0 && pending_.size() == length)) {
        messages.push_back(pending_);
        pending_.clear();
    }
}

std::size_t message_length(std::uint8_t status) {
    constexpr std::size_t SYSTEM[] = {0, 2, 3, 2};
    if (status >= SYSEX_START) {
        return status < 0xF4 ? SYSTEM[status - SYSEX_START] : 1;
    }
    if (status < 0x80) {
        return 1;
    }
    return (status & 0xE0) == 0xC0 ? 2 : 3;
}

bool has_value(const Bytes& message) {
    return message.size() == 3 && message[0] >= 0x80 && message[0] < SYSEX_START &&
           message_length(message[0]) == 3;
}

bool is_identity_request(const Bytes& message) {
    return message.size() == 6 && is_identity(message, 0x01);
}

bool is_identity_reply(const Bytes& message) {
    return is_identity(message, 0x02);
}

std::string describe(const Bytes& message) {
    if (message.empty()) {
        return "nothing";
    }
    const std::uint8_t status = message[0];
    if (status < 0x80) {
        return "stray byte";
    }
    if (status == SYSEX_START) {
        return describe_sysex(message);
    }
    const char* const format = find_format(status);
    if (format == nullptr) {
        return "undefined system message";
    }
    if (message.size() < message_length(status)) {
        return "unfinished message";
    }
    char text[80];
    std::snprintf(text, sizeof text, format, (status & 0x0F) + 1,
                  message.size() > 1 ? message[1] : 0, message.size() > 2 ? message[2] : 0);
    return text;
}

std::string hex(const Bytes& bytes, std::size_t limit) {
    const bool cut = limit >= 3 && bytes.size() > limit;
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (cut && i == limit - 2) {
            text += " ..";
            i = bytes.size() - 1;
        }
        char byte[4];
        std::snprintf(byte, sizeof byte, text.empty() ? "%02x" : " %02x", bytes[i]);
        text += byte;
    }
    return text;
}

std::optional<Bytes> parse_hex(std::string_view text) {
    Bytes bytes;
    std::istringstream words{std::string(text)};
    for (std::string word; words >> word;) {
        if (word.size() > 2 ||
            word.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            return std::nullopt;
        }
        bytes.push_back(byte(std::stoi(word, nullptr, 16)));
    }
    return bytes;
}

Bytes make_sysex(std::size_t size, bool open) {
    Bytes message = {SYSEX_START, NON_COMMERCIAL};
    while (message.size() + 1 < size) {
        message.push_back(static_cast<std::uint8_t>((message.size() * 7 + size) & 0x7F));
    }
    message.resize(size < 2 ? 1 : size - 1);
    if (!open) {
        message.push_back(SYSEX_END);
    }
    return message;
}

}  // namespace bench
