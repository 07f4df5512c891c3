#include "model.h"

#include <cstdlib>
#include <cstring>

#include "pot.h"
#include "recorder.h"
#include "shell.h"
#include "target_cfg.h"

namespace engine {
namespace {

constexpr const char* KEYS[SETTINGS] = {"midi_channel", "midi_preset",  "vendor_id",
                                        "product_id",   "manufacturer", "product_name"};
constexpr int SETTING_LEN = 16;
constexpr int INDEX_LEN = 8;

template <typename type, typename read_record>
void read_records(const char* file_name, records<type>* to, read_record read) {
    FILE* const fp = cfg_open(file_name);
    if (fp == nullptr) {
        return;
    }
    cfg_reader reader = cfg_read_from(fp, file_name);
    for (byte line = 0; line != CFG_LINE_END && to->count < MAX_RECORDS;) {
        line = cfg_invalid_line(&reader);
        if (line != CFG_LINE_DATA) {
            continue;
        }
        lined<type>& record = to->items[to->count];
        record = {};
        if (read(&reader, &record)) {
            record.line = reader.first_line;
            ++to->count;
        }
    }
    fclose(fp);
}

void read_preset(model* to) {
    if (to->preset_file[0] == '\0' || to->preset_no < 0) {
        return;
    }
    char file_name[PATH_MAX];
    snprintf(file_name, sizeof file_name, CFG_RESOURCES "%s", to->preset_file);
    if (to->preset_no > 0) {  // preset 0 is copied at each start
        read_records(file_name, &to->preset_source, cfg_read_preset_record);
    }
    snprintf(file_name, sizeof file_name, CFG_RESOURCES "%s" CFG_CHECKED, to->preset_file);
    const file* const copy = find_file(file_name + strlen(CFG_RESOURCES));
    to->preset_found = copy != nullptr && copy->state == READ;
    read_records(file_name, &to->preset, [](cfg_reader* reader, preset_target* record) {
        if (!cfg_read_preset_record(reader, record)) {
            return false;
        }
        char text[INDEX_LEN];
        const bool found = get_field_data(cfgname, record->name, 1, INDEX_LEN, text);
        const int idx = found ? atoi(text) : NONE;
        record->found_line = look_up(text_of(BASE_FILE), record->name).number;
        record->idx = idx >= 0 && idx < TOTAL_CFG_ITEM ? idx : NONE;
        return true;
    });
}

void read_settings(model* to) {
    for (int i = 0; i < SETTINGS; ++i) {
        setting& one = to->settings[i];
        one.key = KEYS[i];
        one.line = look_up(text_of(SETTINGS_FILE), one.key).number;
        cfg_get_value_from_file(sys_cfg, one.key, one.value, SETTING_LEN);
    }
    const char* const preset = to->of(PRESET).value;
    to->preset_no = preset[0] == '\0' ? NONE : atoi(preset);
    if (preset[0] != '\0') {
        snprintf(to->preset_file, sizeof to->preset_file, "%s%d.txt", BASE_FILE, to->preset_no);
    }
    to->channel = cfg_midi_channel_no() == INVALID_NUM ? NONE : cfg_midi_channel_no();
}

// As the daemon starts, without what acts on the computer.
void start_up(model* to) {
    cfg_check_files();
    pot_init();
    get_gadget_values(&to->gadget);
    for (const int list : {TYPE_COLOR_LIST, TYPE_SOFT_LABEL, TYPE_SOFT_LABEL_CUSTOMIZED}) {
        list_init(list);
    }
}

// What the daemon has read, once more, with the lines.
void read_again(model* to) {
    read_settings(to);
    read_records(cfgname, &to->base, cfg_read_base_record);
    read_preset(to);
    read_records(color_list_cfg, &to->colors, [](cfg_reader* reader, t_labellist* record) {
        return sl_read_color(reader, record) == COLOR_FIELDS && sl_accept_color(*reader, *record);
    });
    read_records(soft_label_cfg, &to->positions, [](cfg_reader* reader, t_soft_label* record) {
        return sl_read_position(reader, record) == POSITION_FIELDS;
    });
    read_records(soft_label_customize_cfg, &to->labels,
                 [](cfg_reader* reader, sl_customization* record) {
                     return sl_read_customization(reader, record) == CUSTOMIZATION_FIELDS;
                 });
}

}  // namespace

void load(model* to) {
    *to = {};
    to->preset_no = NONE;
    const file* const base = find_file(BASE_FILE);
    to->base_found = base != nullptr && base->state == READ;
    if (to->base_found) {
        hear_daemon(true);
        start_up(to);
        hear_daemon(false);
        read_again(to);
    }
}

const lined<cfg_base_record>* record_of(const model& from, int idx, bool full) {
    const lined<cfg_base_record>* found = nullptr;
    for (const auto& record : from.base) {
        found = record.idx == idx && (!full || record.cf_cc != NONE) ? &record : found;
    }
    return found;
}

place place_of(const model& from, int idx) {
    const auto* const record = record_of(from, idx);
    place found = {BASE_FILE, record != nullptr ? record->line : 0};
    for (const auto& moved : from.preset) {
        found = moved.idx == idx ? place{from.preset_file, moved.line} : found;
    }
    return found;
}

}  // namespace engine
