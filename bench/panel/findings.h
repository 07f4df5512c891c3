// What the daemon's log tells: what ends it, what to look at, what every start prints, the rest.
#pragma once

#include <string>
#include <string_view>

namespace bench {

enum class Tone { Plain, Noise, Finding, Failure };

struct Finding {
    Tone tone = Tone::Plain;
    int skipped = 0;  // lines of a file
};

Finding finding_in(std::string_view line);

// The findings since the daemon started.
class Findings {
  public:
    void add(const Finding& finding);
    int count() const { return skipped_ + warnings_; }
    // "2 lines skipped, 1 warning"; empty if there are none.
    std::string text() const;

  private:
    int skipped_ = 0;
    int warnings_ = 0;
};

}  // namespace bench
