#include "control.h"

#include "pot.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

constexpr control_kind KINDS[] = {POT, PLATTER, TOUCHED_PLATTER, ENCODER, BUTTON, LED, METER, SPARE};

// The last line for the control: later ones overwrite it.
const lined<cfg_base_record>* record_of(const model& from, int idx) {
    const lined<cfg_base_record>* found = nullptr;
    for (const auto& record : from.base) {
        found = record.idx == idx ? &record : found;
    }
    return found;
}

}  // namespace

control control_of(const model& from, int idx) {
    control result{idx,
                   KINDS[CONTROLS[idx].kind],
                   record_of(from, idx),
                   "",
                   NONE,
                   NONE,
                   NONE,
                   NONE,
                   true,
                   true,
                   true,
                   false,
                   1,
                   0,
                   false};
    result.name = result.record != nullptr ? result.record->name : "";
    if (idx >= 0 && idx < TOTAL_CTL_NUM) {
        const t_pot_internal& board = pots[UART_OUT_BUF_ID][idx];
        const bool is_pot = idx < TOTAL_POT_NUM;
        result.host_sees_note = !is_pot;
        result.board_sends = CONTROLS[idx].board;
        result.host_sees = board.cc_out;
        result.relative = is_pot && board.vv_out_msg_type == MIDI_DATA_SLIDER_RELATIVE;
        result.units_per_step = pot_zoom_factor(UART_OUT_BUF_ID, idx);
        result.passes = is_pot ? board.tick_sent_min : 0;
    }
    if (idx >= HOST_CFG_BASE && result.kind != SPARE) {
        const int host_idx = idx - HOST_CFG_BASE;
        const t_pot_internal& host = pots[MIDI_IN_BUF_ID][host_idx];
        const bool is_meter = result.kind == METER;
        result.host_sends = host.cc_in;
        result.board_sees = host.cc_out;
        result.host_sends_note = !is_meter;
        result.board_sees_note = ctl_is_btn(host_idx, MIDI_IN_BUF_ID);
        result.passes = result.board_sees_note ? 0 : host.tick_sent_min;
        result.off_darkens = !is_meter && host.add_data != 0;
    }
    return result;
}

const t_soft_label* label_of(int note) {
    for (int i = 0; i < total_soft_label && total_valid_soft_label > 0; ++i) {
        if (soft_label_array[i].cc == note) {
            return &soft_label_array[i];
        }
    }
    return nullptr;
}

}  // namespace ctlmap
