#include "panel/findings.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace bench {
namespace {

// How lines begin. Of files, the daemon and the check script name the path first.
struct Beginning {
    std::string_view text;
    Tone tone;
};
constexpr Beginning BEGINNINGS[] = {
    {"read config exit", Tone::Noise},
    {"Load g_midi with 0", Tone::Noise},
    {"Check Xfbdev get ", Tone::Noise},
    {"killall: Xfbdev: no process killed", Tone::Noise},
    {"set up soft-label screen", Tone::Noise},
    {" set level to ", Tone::Noise},
    {"../resources/", Tone::Finding},
    {"./ctlbridge: ", Tone::Failure},
    {"/dev/", Tone::Failure},
    {"Load g_midi with ", Tone::Finding},
    {"cannot start ", Tone::Failure},
    {"configuration index ", Tone::Finding},
    {"error ", Tone::Failure},
    {"lost ", Tone::Finding},
    {"midi channel ", Tone::Finding},
    {"no splash image: ", Tone::Finding},
    {"rm: ", Tone::Finding},
    {"sh: ", Tone::Finding},
    {"system exclusive without end ", Tone::Finding},
};

int skipped_in(std::string_view line) {
    if (line.ends_with("; line skipped")) {
        return 1;
    }
    int first = 0, last = 0;
    const std::size_t at = std::min(line.rfind("; lines "), line.size());
    const std::string end(line.substr(at));
    const bool several = std::sscanf(end.c_str(), "; lines %d to %d skipped", &first, &last) == 2;
    return several ? last - first + 1 : 0;
}

std::string counted(int count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

Finding finding_in(std::string_view line) {
    const auto* const known =
        std::find_if(std::begin(BEGINNINGS), std::end(BEGINNINGS),
                     [&](const Beginning& beginning) { return line.starts_with(beginning.text); });
    const Tone tone = known == std::end(BEGINNINGS) ? Tone::Plain : known->tone;
    return {tone, tone == Tone::Finding ? skipped_in(line) : 0};
}

void Findings::add(const Finding& finding) {
    skipped_ += finding.skipped;
    const bool told = finding.tone == Tone::Finding || finding.tone == Tone::Failure;
    warnings_ += told && finding.skipped == 0 ? 1 : 0;
}

std::string Findings::text() const {
    std::string text = skipped_ == 0 ? "" : counted(skipped_, "line") + " skipped";
    if (warnings_ > 0) {
        text += (text.empty() ? "" : ", ") + counted(warnings_, "warning");
    }
    return text;
}

}  // namespace bench
