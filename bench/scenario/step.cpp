#include "scenario/step.h"

#include <algorithm>
#include <utility>

namespace bench {
namespace {

constexpr int LONGEST_SYSEX = 100000;
constexpr std::string_view WHAT = "WHAT";
constexpr const char* WHAT_IS =
    "; WHAT: BYTES | CONTROL [off] VALUE | sysex SIZE | identity request | identity reply";

bool has_subject(const Verb& verb, const std::string& subject) {
    const std::string subjects = verb.subjects;
    return (", " + subjects + ", ").find(", " + subject + ", ") != std::string::npos;
}

std::string form_of(const Verb& verb) {
    return trimmed(std::string(verb.words) + " " + verb.rest);
}

// For the message about a line that none fits.
std::string verbs_of(const std::string& subject) {
    std::string known;
    for (const Verb& verb : verbs()) {
        if (has_subject(verb, subject)) {
            known += (known.empty() ? subject + " " : " | ") + verb.words;
        }
    }
    return known.empty() ? "a step; ctlbench steps lists them" : known;
}

}  // namespace

bool matches(const Pattern& pattern, const Bytes& message) {
    return std::equal(pattern.begin(), pattern.end(), message.begin(), message.end(),
                      [](const std::optional<std::uint8_t>& wanted, std::uint8_t byte) {
                          return !wanted || *wanted == byte;
                      });
}

Step StepReader::read(const std::string& text) {
    const std::string first = trimmed(text).empty() ? "" : Words(text).word();
    for (const Verb& verb : verbs()) {
        words = Words(text);
        if (!take_subject(first, verb) || !words.take(verb.words)) {
            continue;
        }
        sending.reset();
        try {
            Action act = verb.read(*this);
            if (words.more()) {
                throw NotAsExpected();
            }
            return {.text = text,
                    .when = verb.when,
                    .needs = verb.needs,
                    .act = std::move(act),
                    .sending = sending};
        } catch (const NotAsExpected& error) {
            const bool what = std::string_view(verb.rest).starts_with(WHAT);
            const std::string subject = *verb.subjects == '\0' ? "" : first + " ";
            throw NotAsExpected{"expected " + subject + form_of(verb) + (what ? WHAT_IS : "") +
                                error.why};
        }
    }
    throw NotAsExpected{"expected " + verbs_of(first)};
}

bool StepReader::take_subject(const std::string& subject, const Verb& verb) {
    if (*verb.subjects == '\0' || !has_subject(verb, subject)) {
        return *verb.subjects == '\0';
    }
    words.word();
    ends = subject == "both" ? std::vector<End>{End::Board, End::Host}
                             : std::vector<End>{subject == "host" ? End::Host : End::Board};
    return true;
}

const Control& StepReader::control() {
    const std::string name = words.word();
    const Control* const found = mapping_.find(name);
    if (found == nullptr) {
        throw NotAsExpected{"; no control is called " + name};
    }
    return *found;
}

std::optional<Bytes> StepReader::named_message() {
    if (words.take("sysex")) {
        const int size = words.number(2, LONGEST_SYSEX);
        const bool open = words.take("open");
        return make_sysex(static_cast<std::size_t>(size), open);
    }
    if (words.take("identity request")) {
        return Host::identity_request();
    }
    if (words.take("identity reply")) {
        return board_.receive(Host::identity_request()).front();
    }
    return std::nullopt;
}

milliseconds StepReader::patience(milliseconds otherwise) {
    const std::optional<int> given = words.take_last("within", 1, MAX_TIME);
    return given ? milliseconds(*given) : otherwise;
}

Pattern StepReader::pattern() {
    if (const std::optional<Bytes> message = named_message()) {
        return {message->begin(), message->end()};
    }
    Words ahead = words;
    if (const Control* control = words.more() ? mapping_.find(ahead.word()) : nullptr) {
        words = ahead;
        return control_pattern(*control);
    }
    return hex_pattern();
}

Pattern StepReader::hex_pattern() {
    Pattern pattern;
    do {
        const std::string word = words.word();
        const std::optional<Bytes> byte = parse_hex(word);
        if (word != ".." && !byte) {
            throw NotAsExpected();
        }
        pattern.push_back(byte ? std::optional(byte->front()) : std::nullopt);
    } while (words.more());
    return pattern;
}

Pattern StepReader::control_pattern(const Control& control) {
    const bool at_host = end() == End::Host;
    const bool off = words.take("off");
    const bool note = at_host ? control.sends_notes() : control.is_note_light();
    const int number = at_host ? control.host_sees : control.board_sees;
    if (number < 0 || (off && !(note && at_host))) {
        throw NotAsExpected();
    }
    const int kind = note ? NOTE_ON : CONTROL_CHANGE;
    const int channel = at_host ? host_.channel() : 0;
    std::optional<std::uint8_t> value;
    if (!off || words.more()) {
        value = byte(words.number(0, 127));
    }
    return {byte((off ? NOTE_OFF : kind) | channel), byte(number), value};
}

std::string steps_table() {
    std::string table = table_row({"Of", "Step", "Meaning"}) + table_row({"---", "---", "---"});
    for (const Verb& verb : verbs()) {
        table += table_row({verb.subjects, "`" + form_of(verb) + "`", verb.meaning});
    }
    return table;
}

}  // namespace bench
