// Where things are for the daemon: its devices, its directories, the files in its resources.
#pragma once

namespace bench {

constexpr const char* SERIAL_LINE = "/dev/ttymxc1";
constexpr const char* MIDI_DEVICE = "/dev/snd/midiC1D0";
constexpr const char* TEXT_CONSOLE = "/dev/tty0";

constexpr const char* HOME = "/opt/ctlbridge/bin";  // where it starts
constexpr const char* RESOURCES = "/opt/ctlbridge/resources/";

constexpr const char* SETTINGS = "orvik.sys.cfg";
constexpr const char* BASE_MAPPING = "orvik.midictl.cfg";  // those of presets begin so, too
constexpr const char* PRESET_0 = "orvik.midictl.cfg0.txt";
constexpr const char* LABEL_LIST = "orvik.miditxt.cfg0.txt";

}  // namespace bench
