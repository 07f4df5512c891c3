// The MIDI implementation chart, in the form in which makers of instruments publish it.
#include <cstring>

#include "chart.h"
#include "chart_parts.h"
#include "softlabel.h"

namespace ctlmap {
namespace {

constexpr int NUMBERS = 128;
constexpr int RANGES_LEN = 5 * NUMBERS;
constexpr const char* COLUMNS[] = {"Function", "", "Transmitted", "Recognized", "Remarks"};
constexpr const char* LEGEND =
    "O: yes, X: no. Mode 1: Omni On, Poly; 2: Omni On, Mono; 3: Omni Off, Poly; 4: Omni Off, Mono.";

// Numbers of notes or controllers, and how they are written: "7-27, 30".
struct number_set {
    bool has[NUMBERS] = {};
    char text[RANGES_LEN] = "";

    void add(int number) {
        if (number >= 0 && number < NUMBERS) {
            has[number] = true;
        }
    }
    void write(const char* before);
};

void number_set::write(const char* before) {
    size_t len = 0;
    for (int first = 0; first < NUMBERS; ++first) {
        if (!has[first]) {
            continue;
        }
        int last = first;
        while (last + 1 < NUMBERS && has[last + 1]) {
            ++last;
        }
        char* const at = text + len;
        len += static_cast<size_t>(
            snprintf(at, sizeof text - len, "%s%d", len == 0 ? before : ", ", first));
        if (last > first) {
            len += static_cast<size_t>(snprintf(text + len, sizeof text - len, "-%d", last));
        }
        first = last;
    }
    if (len == 0) {
        strcpy(text, "X");
    }
}

struct numbers {
    number_set sent_notes, sent_controllers, heard_notes, heard_controllers;
};

void collect(const model& of, numbers* to) {
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        const control one = control_of(of, idx);
        (one.host_sees_note ? to->sent_notes : to->sent_controllers).add(one.host_sees);
        const bool lights = one.board_sees_note || idx == HOST_CFG_BASE + LED_ZERO;
        if (!one.host_sends_note) {
            to->heard_controllers.add(one.host_sends);
        } else if (lights) {
            to->heard_notes.add(one.host_sends);
        }
    }
    for (int i = 0; i < total_soft_label && total_valid_soft_label > 0; ++i) {
        to->heard_notes.add(soft_label_array[i].cc);
    }
    to->sent_notes.write("");
    to->sent_controllers.write("O ");
    to->heard_notes.write("");
    to->heard_controllers.write("O ");
}

// A row of the chart; one without a function belongs to the row above it.
struct row {
    const char* function;
    const char* detail;
    const char* transmitted;
    const char* recognized;
    const char* remarks;
};

// Calls `put` with each row and the function that it belongs to.
void for_each_row(const model& of, FILE* out,
                  void (*put)(const row& one, const char* function, FILE* out)) {
    static numbers used;
    used = {};
    collect(of, &used);
    char sent[12], heard[12] = "X";
    snprintf(sent, sizeof sent, "%d", sent_channel(of) + 1);
    if (is_heard(of)) {
        snprintf(heard, sizeof heard, "%d", of.channel + 1);
    }
    const row rows[] = {
        {"Basic Channel", "Default", sent, heard, "setting `midi_channel` + 1, or option `-m`"},
        {"", "Changed", "1-16", "1-16", "at start"},
        {"Mode", "Default", "X", "X", ""},
        {"", "Messages", "X", "X", ""},
        {"", "Altered", "X", "X", ""},
        {"Note Number", "", used.sent_notes.text, used.heard_notes.text,
         "0-127 by the mapping: buttons; LEDs, labels"},
        {"", "True Voice", "X", "X", ""},
        {"Velocity", "Note ON", "O 9nH v=127", "O v=0-127", "received: value of the LED"},
        {"", "Note OFF", "O 8nH v=0-127", "O 8nH v=0-127", "sent: as received from the board"},
        {"Aftertouch", "Keys", "X", "X", ""},
        {"", "Channel", "X", "X", ""},
        {"Pitch Bend", "", "X", "X", ""},
        {"Control Change", "", used.sent_controllers.text, used.heard_controllers.text,
         "0-127 by the mapping: pots, platters, encoder; meters"},
        {"Program Change", "", "X", "X", ""},
        {"", "True #", "X", "X", ""},
        {"System Exclusive", "", "O", "O",
         "sent: what the board sends, Identity Reply; received: Identity Request"},
        {"System Common", "Song Position", "X", "X", ""},
        {"", "Song Select", "X", "X", ""},
        {"", "Tune Request", "X", "X", ""},
        {"System Real Time", "Clock", "X", "X", "a real-time byte inside a message breaks it"},
        {"", "Commands", "X", "X", ""},
        {"Aux Messages", "Local ON/OFF", "X", "X", ""},
        {"", "All Notes OFF", "X", "X", ""},
        {"", "Active Sensing", "X", "X", ""},
        {"", "System Reset", "X", "X", ""},
        {"Notes", "", "", "",
         "No running status. A note-on with velocity 0 is not a note-off. Without a valid channel, "
         "everything is sent on channel 1 and no channel message is recognized."},
    };
    const char* function = "";
    for (const row& one : rows) {
        function = *one.function != '\0' ? one.function : function;
        put(one, function, out);
    }
}

void put_markdown_row(const row& one, [[maybe_unused]] const char* function, FILE* out) {
    for (const char* cell :
         {one.function, one.detail, one.transmitted, one.recognized, one.remarks}) {
        fprintf(out, *cell != '\0' ? "| %s " : "| ", cell);
    }
    fputs("|\n", out);
}

// A remark, its `words` as code.
void put_remark(const char* text, FILE* out) {
    bool is_code = false;
    for (const char* at = text; *at != '\0'; ++at) {
        if (*at == '`') {
            is_code = !is_code;
            fputs(is_code ? "<code>" : "</code>", out);
        } else {
            put_character(*at, out);
        }
    }
}

void put_html_row(const row& one, const char* function, FILE* out) {
    const bool begins = *one.function != '\0';
    const char* const cells[] = {one.transmitted, one.recognized};
    fprintf(out, "<tr%s><th scope=\"row\"><span%s>%s</span></th><td>%s</td>",
            begins ? " class=\"first\"" : "", begins ? "" : " class=\"hidden\"", function,
            one.detail);
    for (int i = 0; i < 2; ++i) {
        fprintf(out, "<td%s data-l=\"%s\">%s</td>",
                strcmp(cells[i], "X") == 0 ? " class=\"no\"" : "", COLUMNS[i + 2], cells[i]);
    }
    fputs("<td>", out);
    put_remark(one.remarks, out);
    fputs("</td></tr>\n", out);
}

}  // namespace

void write_markdown(const model& of, FILE* out) {
    for (const char* column : COLUMNS) {
        fprintf(out, *column != '\0' ? "| %s " : "| ", column);
    }
    fputs("|\n|---|---|---|---|---|\n", out);
    for_each_row(of, out, put_markdown_row);
    fprintf(out, "\n%s\n", LEGEND);
}

void put_midi_chart(const chart& from) {
    fputs("<section><h2>MIDI implementation chart</h2>\n<table class=\"midi\"><thead><tr>",
          from.out);
    for (const char* column : COLUMNS) {
        fprintf(from.out, "<th scope=\"col\">%s</th>", *column != '\0' ? column : "Detail");
    }
    fputs("</tr></thead><tbody>\n", from.out);
    for_each_row(from.of, from.out, put_html_row);
    fprintf(from.out, "</tbody></table>\n<p class=\"soft\">%s</p></section>\n", LEGEND);
}

}  // namespace ctlmap
