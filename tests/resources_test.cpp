// The shipped resource files, for the slips that editing by hand makes.
#include <gtest/gtest.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "controller/mapping.h"

namespace {

using bench::Block;
using bench::BLOCKS;
using bench::Kind;
using Row = std::vector<std::string>;
using Numbers = std::set<std::pair<bool, int>>;  // controller or note, and its number
enum MappingField { IDX, CF_CC, APP_CC, CTL_TYPE, DATA_TYPE, ADD_DATA, ADD_DATA2, NAME };
const char* const MAPPING = "orvik.midictl.cfg";

std::vector<Row> rows_of(const std::string& file, size_t fields) {
    std::vector<Row> rows;
    std::ifstream in(RESOURCES_DIR "/" + file);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#' && line[0] != ' ') {
            std::istringstream words(line);
            rows.push_back({std::istream_iterator<std::string>(words), {}});
            EXPECT_EQ(rows.back().size(), fields) << file << ": " << line;
            rows.back().resize(fields);
        }
    }
    return rows;
}

int number(const std::string& text, int lowest, int highest) {
    const int value = std::stoi(text);
    EXPECT_TRUE(lowest <= value && value <= highest && text == std::to_string(value)) << text;
    return value;
}

// The one line that holds the text, in capitals or not: a lookup takes the first, comments
// included.
std::string only_line_with(const std::string& text, const std::string& file) {
    std::string found;
    std::ifstream in(RESOURCES_DIR "/" + file);
    for (std::string line; std::getline(in, line);) {
        if (strcasestr(line.c_str(), text.c_str()) != nullptr) {
            EXPECT_EQ(found, "") << line;
            found = line;
        }
    }
    return found;
}

// What the virtual controller has at an index.
const Block& block_at(int idx) {
    const Block* block = BLOCKS;
    while (block->last < idx && block + 1 != std::end(BLOCKS)) {
        ++block;
    }
    return *block;
}

bool is_one_of(Kind kind, const std::set<Kind>& kinds) {
    return kinds.count(kind) == 1;
}

bool is_controller(int idx) {
    return !is_one_of(block_at(idx).kind, {Kind::Button, Kind::Light, Kind::Spare});
}

TEST(Resources, MappingHasEveryControlOnce) {
    std::set<int> indices;
    Numbers board = {{false, 0x00}, {false, 0x38}, {false, 0x60}};  // commands, traffic, power
    for (const Row& row : rows_of(MAPPING, 8)) {
        SCOPED_TRACE(row[NAME]);
        const int idx = number(row[IDX], 0, bench::CONTROL_COUNT - 1);
        const int cf_cc = number(row[CF_CC], 0, 127);
        const Block& block = block_at(idx);
        EXPECT_TRUE(indices.insert(idx).second);
        EXPECT_TRUE(board.emplace(is_controller(idx), cf_cc).second);
        EXPECT_TRUE(block.board_sends < 0 || cf_cc == block.board_sends + idx - block.first);
        const std::string types = block.kind == Kind::Button  ? "13"
                                  : block.kind == Kind::Meter ? "4"
                                  : is_controller(idx)        ? "0"
                                                              : "2";
        EXPECT_NE(types.find(row[CTL_TYPE]), types.npos);
        const bool steps = is_one_of(block.kind, {Kind::Platter, Kind::Partner, Kind::Encoder});
        EXPECT_EQ(row[DATA_TYPE], steps ? "1" : "0");
        number(row[ADD_DATA], 0, 255);
        number(row[ADD_DATA2], 0, 255);
        EXPECT_EQ(only_line_with(row[NAME], MAPPING).find(row[IDX] + ' '), 0U);
    }
    EXPECT_EQ(indices.size(), std::size_t{bench::CONTROL_COUNT});
}

TEST(Resources, HostNumbersDoNotClash) {
    std::map<std::string, std::pair<bool, int>> base;
    for (const Row& row : rows_of(MAPPING, 8)) {
        base[row[NAME]] = {is_controller(number(row[IDX], 0, bench::CONTROL_COUNT - 1)),
                           number(row[APP_CC], 0, 127)};
    }
    auto preset = base;
    for (const Row& row : rows_of("orvik.midictl.cfg0.txt", 2)) {
        preset[row[0]].second = number(row[1], 0, 127);
    }
    EXPECT_EQ(preset.size(), base.size()) << "the preset names an unknown control";
    for (const auto& controls : {base, preset}) {
        Numbers taken;
        for (const auto& [name, host] : controls) {
            EXPECT_TRUE(taken.insert(host).second) << name;
        }
    }
}

TEST(Resources, LabelsStandApartAndFollowButtonLights) {
    std::set<int> cells;
    std::set<std::string> places, colours, lights, notes;
    for (const Row& row : rows_of("orvik.softlabelpos.cfg", 3)) {
        const int cell = number(row[0], 1, 17) * 60 + number(row[1], 1, 52);
        for (int i = 0; i < 9; i++) {
            EXPECT_TRUE(cells.insert(cell + i).second) << row[2];
        }
        places.insert(row[2]);
    }
    EXPECT_EQ(places.size(), 24U);
    for (const Row& row : rows_of("orvik.color.cfg", 3)) {
        EXPECT_EQ(row[0], std::to_string(colours.size())) << row[2];
        EXPECT_EQ(row[1].find_first_of("\"$`"), row[1].npos) << row[2];
        colours.insert(row[2]);
    }
    for (const Row& row : rows_of(MAPPING, 8)) {
        lights.insert(row[CTL_TYPE] == "3" ? row[APP_CC] : "none");
    }
    for (const Row& row : rows_of("orvik.miditxt.cfg0.txt", 5)) {
        EXPECT_EQ(places.erase(row[0]), 1U) << row[0];  // known, and not named before
        EXPECT_LE(row[1].size(), 9U) << row[1];
        EXPECT_TRUE(lights.count(row[2]) == 1 && notes.insert(row[2]).second) << row[2];
        EXPECT_TRUE(colours.count(row[3]) == 1 && colours.count(row[4]) == 1) << row[0];
        EXPECT_NE(row[3], rows_of("orvik.color.cfg", 3)[0][2]) << row[0];
    }
}

TEST(Resources, SettingsAreFoundUnderTheirKeys) {
    for (const std::string key : {"midi_channel", "midi_preset", "vendor_id", "product_id",
                                  "manufacturer", "product_name"}) {
        const std::string line = only_line_with(key, "orvik.sys.cfg");
        EXPECT_EQ(line.find(key + '='), 0U) << key;
        EXPECT_LE(line.size(), key.size() + 1 + 15) << key;
    }
}

}  // namespace
