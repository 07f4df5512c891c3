#include "panel/findings.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>

namespace bench {
namespace {

constexpr const char* MAPPING = "orvik.midictl.cfg";

// A record of the base mapping begins with the index.
int control_of(const std::string& path, int line) {
    std::ifstream file(path);
    for (std::string before; line > 1 && std::getline(file, before); --line) {
    }
    int index = -1;
    return file >> index ? index : -1;
}

}  // namespace

std::vector<Finding> findings_of(const std::string& resources_dir) {
    static const std::regex FORM("([^:]+):(?:([0-9]+):)? (error|warning|note): (.*) \\[(.*)\\]\n");
    const std::string dir = (std::filesystem::absolute(resources_dir) / "x").parent_path();
    const std::string quoted = "'" + std::regex_replace(dir, std::regex("'"), "'\\''") + "'";
    const std::unique_ptr<FILE, int (*)(FILE*)> check(
        popen(("exec '" CTLBENCH_CTLMAP "' check " + quoted + " 2>/dev/null").c_str(), "r"),
        pclose);
    std::vector<Finding> findings;
    char buffer[4096];
    while (check != nullptr && std::fgets(buffer, sizeof buffer, check.get()) != nullptr) {
        const std::string line = buffer;
        std::smatch part;
        const std::string rest = line.starts_with(dir + "/") ? line.substr(dir.size() + 1) : "";
        if (std::regex_match(rest, part, FORM)) {
            const int number = part[2].matched ? std::stoi(part[2]) : 0;
            const bool record = part[1] == MAPPING && number > 0;
            const int control = record ? control_of(dir + "/" + MAPPING, number) : -1;
            const auto severity = std::string_view("nwe").find(*part[3].first);
            findings.push_back(
                {part[1], number, control, static_cast<Severity>(severity), part[5], part[4]});
        }
    }
    return findings;
}

}  // namespace bench
