// What reads keys and the mouse: each is something to play, or to look at.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "panel/player.h"
#include "panel/view.h"

namespace bench {

class Keys {
  public:
    Keys(Player& player, View& view);

    // Takes what the terminal has sent. Returns whether there was anything.
    bool take();
    bool quits() const { return quits_; }

  private:
    enum Question { STEP, CONTROL, FILTER };
    enum Needs { NOTHING, BRIDGE, LINES };  // one that could be started; one that is ready
    struct Key;
    static const Key KEYS[];

    void key(int code);
    void command_key(int code);
    void help_key(int code);
    void prompt_key(int code);
    void ask(int question);
    bool answer(const std::string& text);
    std::vector<std::string> candidates() const;
    void restart(bool to_record);
    void mouse();
    void mouse_event(int row, int column, unsigned long state);
    void mouse_at(int index, int column, unsigned long state, int up);

    Player& player_;
    View& view_;
    std::array<Prompt, 3> prompts_{{{"step: "}, {"go to: "}, {"lines with: "}}};
    View::Rows help_;
    std::optional<int> asked_;
    std::optional<int> held_, dragged_;  // controls, by the mouse
    bool quits_ = false;
};

}  // namespace bench
