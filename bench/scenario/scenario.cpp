#include "scenario/scenario.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <utility>

#include "world/namespaces.h"

namespace bench {
namespace {

constexpr std::string_view INDENT = "    ";

class FileReader {
  public:
    FileReader(const std::string& file, std::string_view text, const WorldConfig& defaults)
        : in_(std::string(text)) {
        scenario_.file = file;
        scenario_.world = defaults;
        scenario_.world.options.clear();
    }

    Scenario read(const std::vector<std::string>& more_options);

    // For the set-up lines. Each of these throws NotAsExpected.
    void require(Needs needs);
    WorldConfig& world() { return scenario_.world; }
    std::string beside(const std::string& path) const {
        return (std::filesystem::path(scenario_.file).parent_path() / path).string();
    }
    // The lines of a file, each with this at its end; or what bytes they name.
    std::string lines(const std::string& end, bool is_hex);

  private:
    void refuse_conflict() const;
    [[noreturn]] void fail(const NotAsExpected& error) const;
    bool next_line() {
        ++number_;
        return static_cast<bool>(std::getline(in_, line_));
    }
    bool read_setup_line(Words& words);

    std::istringstream in_;
    std::string line_;
    int number_ = 0;
    bool conflict_ = false;
    std::vector<int> ends_of_files_;  // numbers of the last lines of "file"
    Scenario scenario_;
};

// --- The set-up lines, a row for each ---

struct SetupLine {
    const char* word;
    const char* rest;
    void (*read)(FileReader& file, Words& words);
    const char* meaning;  // for the table
    Needs needs = Needs::Nothing;
};

void read_without(FileReader& file, Words& words) {
    WorldConfig& world = file.world();
    if (words.take("serial")) {
        file.require(Needs::Namespaces);
        world.serial = false;
    } else if (words.take("midi")) {
        file.require(Needs::Namespaces);
        world.midi = false;
    } else if (words.take("command")) {
        world.missing_commands.push_back(words.word());
        if (!can_be_missing(world.missing_commands.back())) {
            throw NotAsExpected{"; the world has no command " + world.missing_commands.back() +
                                " that can be taken away"};
        }
    } else {
        throw NotAsExpected();
    }
}

void read_file_lines(FileReader& file, Words& words) {
    std::string& content = file.world().files[words.word()];
    const bool crlf = words.take("crlf");
    const bool cut = words.take("cut");
    content = file.lines(crlf ? "\r\n" : "\n", words.take("hex"));
    if (cut && !content.empty()) {
        content.pop_back();
    }
}

// Puts KEY=VALUE in place of the line that has the key, or at the end.
void read_setting(WorldConfig& world, Words& words) {
    const std::string setting = words.text();
    const std::size_t key = setting.find('=') + 1;
    if (key < 2) {
        throw NotAsExpected();
    }
    std::istringstream in(resource_reader(world)(SETTINGS).value_or(""));
    std::string content;
    bool found = false;
    for (std::string line; std::getline(in, line);) {
        const bool is_it = line.starts_with(setting.substr(0, key));
        content += (is_it ? setting : line) + "\n";
        found |= is_it;
    }
    world.files[SETTINGS] = content + (found ? "" : setting + "\n");
}

void read_resources(FileReader& file, Words& words) {
    const std::string directory = file.beside(words.text());
    if (!std::filesystem::is_directory(directory)) {
        throw NotAsExpected{"; there is no directory " + directory};
    }
    file.world().resources = directory;
}

// The copy that an earlier start has made of a file may be removed too.
void read_remove(WorldConfig& world, Words& words) {
    constexpr std::string_view COPY = ".ok";
    const std::string name = words.word();
    const bool copy = name.ends_with(COPY);
    if (!resource_reader(world)(copy ? name.substr(0, name.size() - COPY.size()) : name)) {
        throw NotAsExpected{"; up to this line there is no file " + name};
    }
    world.removed.push_back(name);
}

void read_mode(WorldConfig& world, Words& words) {
    const std::string name = words.word();
    const std::string digits = words.word();
    if (digits.size() != 3 || digits.find_first_not_of("01234567") != std::string::npos) {
        throw NotAsExpected();
    }
    if (name != "." && !resource_reader(world)(name)) {
        throw NotAsExpected{"; up to this line there is no file " + name};
    }
    world.modes[name] = static_cast<unsigned>(std::stoi(digits, nullptr, 8));
}

void read_needs(FileReader& file, Words& words) {
    if (words.take("namespaces")) {
        file.require(Needs::Namespaces);
    } else if (words.take("machine")) {
        file.require(Needs::Machine);
    } else {
        throw NotAsExpected();
    }
}

void read_start(WorldConfig& world, Words& words) {
    if (words.take("old")) {
        world.start = Start::Old;
    } else if (words.take("script")) {
        world.start = Start::Script;
    } else {
        throw NotAsExpected();
    }
}

using File = FileReader;
// clang-format off
constexpr SetupLine SETUP_LINES[] = {
    {"options", "OPTION...", [](File& f, Words& words) { while (words.more()) { f.world().options.push_back(words.word()); } },
     "the daemon's command line"},
    {"without", "serial | midi | command NAME", read_without,
     "that device or command does not exist; what the shell has built in, such as `echo`, cannot be taken away"},
    {"resources", "DIRECTORY", read_resources,
     "where the daemon's resources are copied from, relative to the scenario"},
    {"file", "NAME [crlf | cut | hex]", read_file_lines,
     "adds or replaces a file; its lines follow, indented by four blanks. `crlf`: with CR LF line ends; `cut`: without the "
     "last line end; `hex`: just these bytes, in hexadecimal"},
    {"setting", "KEY=VALUE", [](File& f, Words& words) { read_setting(f.world(), words); },
     "changes one line of `orvik.sys.cfg`"},
    {"remove", "NAME", [](File& f, Words& words) { read_remove(f.world(), words); },
     "removes a file"},
    {"directory", "NAME", [](File& f, Words& words) { f.world().directories.push_back(words.word()); },
     "puts a directory in a file's place"},
    {"mode", "NAME OCTAL", [](File& f, Words& words) { read_mode(f.world(), words); },
     "sets the permission bits of a file that exists at this line, or of `.`, their directory; the daemon runs without the "
     "privilege to ignore them", Needs::Namespaces},
    {"xfbdev lingers", "MS", [](File& f, Words& words) { f.world().xfbdev_lingers = milliseconds(words.number(0, MAX_TIME)); },
     "how long `Xfbdev` lives on after the signal that it obeys"},
    {"xfbdev ignores", "SIGNALS", [](File& f, Words& words) { f.world().xfbdev_ignores = words.number(0, 100); },
     "how many signals it ignores before that"},
    {"start", "old | script", [](File& f, Words& words) { read_start(f.world(), words); },
     "on the machine: the daemon runs as on Linux 2.6.31; the init script starts it at boot", Needs::Machine},
    {"time counts instructions", "", [](File& f, Words&) { f.world().counts_instructions = true; },
     "on the machine: it runs at two nanoseconds an instruction, about the controller's speed, however busy this computer is", Needs::Machine},
    {"needs", "namespaces | machine", read_needs,
     "skips the scenario in the other world, if no other line shows what it needs"},
};
// clang-format on

// Returns false, and leaves the words alone, if they are no set-up line.
bool FileReader::read_setup_line(Words& words) {
    const auto* const line =
        std::find_if(std::begin(SETUP_LINES), std::end(SETUP_LINES),
                     [&](const SetupLine& known) { return words.take(known.word); });
    if (line == std::end(SETUP_LINES)) {
        return false;
    }
    if (!scenario_.steps.empty()) {
        throw NotAsExpected{"expected set-up lines before the first step"};
    }
    try {
        line->read(*this, words);
        if (words.more()) {
            throw NotAsExpected();
        }
    } catch (const NotAsExpected& error) {
        throw NotAsExpected{std::string("expected ") + line->word + " " + line->rest + error.why};
    }
    require(line->needs);
    refuse_conflict();
    return true;
}

void FileReader::require(Needs needs) {
    if (needs != Needs::Nothing) {
        conflict_ = scenario_.needs != Needs::Nothing && scenario_.needs != needs;
        scenario_.needs = needs;
    }
}

void FileReader::refuse_conflict() const {
    if (conflict_) {
        throw NotAsExpected{"no world has both this and what an earlier line needs"};
    }
}

std::string FileReader::lines(const std::string& end, bool is_hex) {
    std::string content, empty_lines;  // those after the last line are no part of the file
    while ((in_.peek() == ' ' || in_.peek() == '\n') && next_line()) {
        const std::optional<Bytes> bytes = is_hex ? parse_hex(line_) : Bytes();
        if (!line_.empty() && !line_.starts_with(INDENT)) {
            fail({"expected lines of a file indented by four blanks"});
        }
        if (!bytes) {
            fail({"expected bytes in hexadecimal"});
        }
        if (is_hex) {
            content.append(bytes->begin(), bytes->end());
        } else if (line_.empty()) {
            empty_lines += end;
        } else {
            content += std::exchange(empty_lines, "") + line_.substr(INDENT.size()) + end;
        }
    }
    ends_of_files_.push_back(number_);
    return content;
}

void FileReader::fail(const NotAsExpected& error) const {
    const auto after_file = std::find(ends_of_files_.begin(), ends_of_files_.end(), number_ - 1);
    std::string why = error.why;
    if (line_.find(" #") != std::string::npos) {
        why += "; a comment needs a line of its own";
    } else if (after_file != ends_of_files_.end() && why.starts_with("expected a step")) {
        why += "; the lines of a file are indented by four blanks";
    }
    throw ScenarioError(scenario_.file + ":" + std::to_string(number_) + ": " + why);
}

Scenario FileReader::read(const std::vector<std::string>& more_options) {
    try {
        while (next_line()) {
            const std::string text = trimmed(line_);
            Words words(text);
            const bool comment = text.starts_with("#") && !text.starts_with("##");
            if (!text.empty() && !comment && !read_setup_line(words)) {
                scenario_.steps.push_back({.line = number_, .text = text, .act = {}});
            }
        }
        std::vector<std::string>& options = scenario_.world.options;
        options.insert(options.end(), more_options.begin(), more_options.end());
        const Setup setup = read_setup(resource_reader(scenario_.world), options);
        StepReader reader(setup);
        for (Step& step : scenario_.steps) {
            number_ = step.line;
            line_ = step.text;
            step = reader.read(step.text);
            step.line = number_;
            require(step.needs);
            refuse_conflict();
        }
    } catch (const NotAsExpected& error) {
        fail(error);
    }
    return scenario_;
}

}  // namespace

Scenario parse_scenario(const std::string& file, std::string_view text,
                        const WorldConfig& defaults) {
    return FileReader(file, text, defaults).read(defaults.options);
}

std::string setup_table() {
    std::string table = table_row({"Line", "Meaning"}) + table_row({"---", "---"});
    for (const SetupLine& line : SETUP_LINES) {
        table += table_row({std::string("`") + line.word + " " + line.rest + "`", line.meaning});
    }
    return table;
}

}  // namespace bench
