#include "softlabel.h"

namespace {

int soft_label_ctl = 0;

}  // namespace

void set_soft_label_ctl(int flag) {
    soft_label_ctl = flag;
}

bool soft_label_enabled() {
    return soft_label_ctl != 0;
}

void soft_label_init() {
    set_soft_label_ctl(1);
}

int sl_check_midi_input([[maybe_unused]] byte b0, [[maybe_unused]] byte b1,
                        [[maybe_unused]] byte b2) {
    return 0;
}
