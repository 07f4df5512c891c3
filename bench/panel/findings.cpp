#include "panel/findings.h"

#include <filesystem>

#include "apart.h"

namespace bench {

std::vector<Finding> findings_of(const std::string& resources_dir) {
    constexpr Severity SEVERITIES[] = {Severity::Error, Severity::Warning, Severity::Note};
    std::error_code unreadable;  // the engine would say so in the middle of the panel
    const std::filesystem::directory_iterator entries(resources_dir, unreadable);
    const engine::outcome* const outcome =
        unreadable ? nullptr : engine::examine_apart(resources_dir.c_str());
    std::vector<Finding> findings;
    if (outcome == nullptr) {
        return findings;
    }
    for (int i = 0; i < outcome->found_count; ++i) {
        const engine::finding& one = outcome->found[i];
        findings.push_back(
            {one.file, one.line, one.control, SEVERITIES[one.level], one.rule, one.text});
    }
    engine::release(outcome);
    return findings;
}

}  // namespace bench
