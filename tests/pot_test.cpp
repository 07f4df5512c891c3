// The control engine: table, handlers, scan, value computation and platters.
#include "pot.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "config.h"
#include "debug.h"
#include "midi.h"
#include "modules/ptys.h"
#include "uart_cf.h"

namespace {

constexpr int BOARD = UART_OUT_BUF_ID;
constexpr int HOST = MIDI_IN_BUF_ID;

class Engine : public testing::Test {
  protected:
    void SetUp() override { load(""); }

    static void load(const std::string& mapping) {
        write_resource("orvik.midictl.cfg", mapping);
        write_resource("orvik.sys.cfg", "");
        set_midi_channel_no(0);
        for (auto& side : pots) {
            for (t_pot_internal& pot : side) {
                pot = {};
            }
        }
        pot_init();
        cf_init();
        midi_init();
    }

    static void board(int b0, int b1, int b2) {
        const auto handler = b0 >= 0xB0 ? pot_process_pkg : btn_process_pkg;
        handler(static_cast<u8>(b0), static_cast<u8>(b1), static_cast<u8>(b2), BOARD);
    }
    static void host(int b0, int b1, int b2) {
        const auto handler = b0 >= 0xB0 ? pot_process_pkg : btn_process_pkg;
        handler(static_cast<u8>(b0), static_cast<u8>(b1), static_cast<u8>(b2), HOST);
    }
    // What one scan of a side sends.
    static std::string scan(int side) {
        pot_check_all(side);
        return side == BOARD ? host_got() : board_got();
    }
    static void idle_scans(int side, int count) {
        for (int i = 0; i < count; ++i) {
            pot_check_all(side);
        }
    }
};

TEST_F(Engine, DefaultNumbers) {
    struct {
        int side, index, number;
    } const cases[] = {{BOARD, 0, 0},   {BOARD, 20, 20}, {BOARD, 21, 1}, {BOARD, 64, 44},
                       {BOARD, 65, 64}, {BOARD, 71, 70}, {HOST, 0, 1},   {HOST, 43, 44},
                       {HOST, 44, 64},  {HOST, 49, 69},  {HOST, 50, 0},  {HOST, 60, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(pots[c.side][c.index].cc_out, c.number) << c.side << ' ' << c.index;
        EXPECT_EQ(pots[c.side][c.index].cc_in, c.number) << c.side << ' ' << c.index;
        EXPECT_EQ(pots[c.side][c.index].tick_sent_min, 2);
    }
    EXPECT_EQ(scan(BOARD), "") << "nothing goes out before the first value";
    EXPECT_EQ(scan(HOST), "");
}

TEST_F(Engine, BoardNumbersReachTheirRecords) {
    for (int number = 0; number < 128; ++number) {
        const int pot = number <= 0x11                     ? number
                        : number >= 0x40 && number <= 0x42 ? number - 46
                                                           : -1;
        const int button = number >= 0x01 && number <= 0x2C   ? number + 20
                           : number >= 0x40 && number <= 0x46 ? number + 1
                                                              : -1;
        EXPECT_EQ(pot_cf_ctl_idx(static_cast<u8>(number)), pot) << number;
        EXPECT_EQ(cf_btn_idx(static_cast<u8>(number)), button) << number;
    }
}

TEST_F(Engine, MappingLinesReachTheSidesTheyAddress) {
    pot_set_para(25, 5, 48, 3, 0, 1, 2);
    EXPECT_EQ(pots[BOARD][25].cc_in, 5);
    EXPECT_EQ(pots[BOARD][25].cc_out, 48);
    EXPECT_EQ(pots[HOST][4].cc_in, 48);
    EXPECT_EQ(pots[HOST][4].cc_out, 5);
    EXPECT_EQ(pots[HOST][4].ctl_type, MIDI_CTL_TYPE_BTN_LED);
    EXPECT_EQ(pots[HOST][4].add_data, 1);

    pot_set_para(25, -1, 49, 0, 1, 9, 9);
    EXPECT_EQ(pots[BOARD][25].cc_out, 49);
    EXPECT_EQ(pots[HOST][4].cc_in, 49);
    EXPECT_EQ(pots[HOST][4].cc_out, 5);
    EXPECT_EQ(pots[BOARD][25].vv_out_msg_type, 0);
    EXPECT_EQ(pots[BOARD][25].tick_sent_min, 2);

    pot_set_para(5, 5, 300, 0, 1, 0, 300);
    EXPECT_EQ(pots[BOARD][5].cc_out, 44);
    EXPECT_EQ(pots[BOARD][5].tick_sent_min, 44);
    EXPECT_EQ(pots[BOARD][5].vv, RELATIVE_MID_VALUE);
    EXPECT_EQ(pots[BOARD][5].vv_sent, NO_VALUE);

    pot_set_para(84, 7, 99, 2, 0, 0, 0);
    EXPECT_EQ(pots[HOST][63].cc_in, 99);
    EXPECT_EQ(pots[HOST][0].cc_in, 1) << "index 5 has no host record";
}

TEST_F(Engine, AnIndexOutsideTheConfigurationIsRefused) {
    t_pot_internal before[2][TOTAL_CTL_NUM];
    memcpy(before, pots, sizeof pots);
    for (const int index : {-1, 85, 92, 93, 1 << 30, -(1 << 30)}) {
        testing::internal::CaptureStderr();
        pot_set_para(index, 1, 2, 3, 1, 5, 6);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "configuration index " + std::to_string(index) + " ignored: expected 0 to 84\n");
    }
    EXPECT_EQ(memcmp(before, pots, sizeof pots), 0);
}

TEST_F(Engine, AbsoluteReadingsCarryEightBitsAndGoOutAsSeven) {
    struct {
        int b0, b2, value;
    } const cases[] = {{0xB1, 0x7F, 127}, {0xB0, 0x7F, 63}, {0xB1, 0x00, 64}, {0xB0, 0x01, 0}};
    for (const auto& c : cases) {
        board(c.b0, 5, c.b2);
        EXPECT_EQ(pots[BOARD][5].vv, c.value);
    }
}

TEST_F(Engine, ButtonsGoOutOnceForEachChange) {
    board(0x90, 0x05, 0x33);
    EXPECT_EQ(scan(BOARD), "90 05 7f");
    board(0x90, 0x05, 0x00);
    EXPECT_EQ(scan(BOARD), "") << "velocity 0 is still a press";
    board(0x80, 0x05, 0x10);
    EXPECT_EQ(scan(BOARD), "80 05 10");
    board(0x90, 0x05, 0x33);
    board(0x80, 0x05, 0x11);
    EXPECT_EQ(scan(BOARD), "80 05 11") << "only the state at the scan";
    for (const int unmapped : {0x00, 0x2D, 0x3F, 0x47, 0x7F}) {
        board(0x90, unmapped, 0x7F);
        EXPECT_EQ(scan(BOARD), "") << unmapped;
    }
}

TEST_F(Engine, RecordsGoOutWithWhatTheyHold) {
    load(
        "21 1 60 1 1 0 0 PLAY\n22 130 200 2 1 0 0 LAMP\n5 5 181 0 0 0 0 POT\n82 210 28 4 0 0 0 "
        "M\n");
    EXPECT_EQ(scan(BOARD), "40 3c 00 40 c8 00") << "the centre of what the mapping calls relative";
    EXPECT_EQ(scan(HOST), "b0 01 00 40 82 00");
    board(0x90, 0x01, 0x40);
    board(0x80, 0x02, 0x11);
    board(0xB1, 5, 0x10);
    EXPECT_EQ(scan(BOARD), "b0 b5 48 90 3c 7f 80 c8 11");
    host(0xB0, 28, 127);
    EXPECT_EQ(scan(HOST), "b0 d2 37");
}

TEST_F(Engine, LedsFollowTheHost) {
    load(
        "21 1 60 3 0 1 2 PLAY\n22 2 61 2 0 0 2 LAMP\n23 3 60 2 0 0 2 SECOND\n81 70 90 2 0 0 2 "
        "ALL\n");
    struct {
        int b0, note, velocity;
        const char* sent;
    } const cases[] = {
        {0x90, 60, 5, "90 01 05"},   {0x90, 60, 5, ""},          {0x80, 60, 64, "90 01 00"},
        {0x90, 61, 5, "90 02 05"},   {0x80, 61, 64, "90 02 40"}, {0x90, 99, 1, ""},
        {0x90, 60, 127, "90 01 7f"}, {0x90, 90, 3, "90 46 03"},  {0x90, 60, 127, "90 01 7f"},
        {0x90, 90, 3, "90 46 03"},
    };
    for (const auto& c : cases) {
        host(c.b0, c.note, c.velocity);
        EXPECT_EQ(scan(HOST), c.sent) << c.note << ' ' << c.velocity;
    }
}

TEST_F(Engine, AnUnconfiguredLedGoesOutAsController) {
    host(0x90, 1, 9);
    idle_scans(HOST, 1);
    EXPECT_EQ(board_got() + scan(HOST), "b0 01 09");
    EXPECT_EQ(led_btn_idx(0), 50) << "the first record without a number";
    EXPECT_EQ(pot_meter_ctl_idx(0), TOTAL_LED_CTL_NUM) << "the first meter, as long as both have 0";
}

TEST_F(Engine, MetersHaveEightLevelsAndTheirRate) {
    load("82 9 50 4 0 0 0 METER_A\n83 10 51 4 0 0 3 METER_B\n");
    struct {
        int value, level;
    } const cases[] = {{0, 0x30},   {17, 0x30},  {18, 0x31},  {35, 0x31},
                       {107, 0x35}, {125, 0x36}, {126, 0x37}, {127, 0x37}};
    for (const auto& c : cases) {
        host(0xB0, 50, c.value);
        EXPECT_EQ(pots[HOST][61].vv, c.level) << c.value;
    }
    EXPECT_EQ(scan(HOST), "b0 09 37");
    host(0xB0, 51, 127);
    EXPECT_EQ(scan(HOST) + scan(HOST), "b0 0a 37");
    host(0xB0, 51, 0);
    EXPECT_EQ(scan(HOST), "") << "no exception from the rate on this side";
    EXPECT_EQ(scan(HOST), "");
    EXPECT_EQ(scan(HOST), "b0 0a 30");
    host(0xB0, 52, 127);
    EXPECT_EQ(scan(HOST), "");
}

TEST_F(Engine, PotsAreRateLimitedButTheEndsOfTravelAreNot) {
    idle_scans(BOARD, 3);
    const auto turn = [](int value) { board(0xB0 + value / 64, 5, value * 2 % 128); };
    turn(10);
    EXPECT_EQ(scan(BOARD), "b0 05 0a");
    turn(11);
    EXPECT_EQ(scan(BOARD), "");
    turn(12);
    EXPECT_EQ(scan(BOARD), "b0 05 0c") << "the last value always goes out";
    turn(127);
    EXPECT_EQ(scan(BOARD), "b0 05 7f");
    turn(0);
    EXPECT_EQ(scan(BOARD), "b0 05 00");
    EXPECT_EQ(scan(BOARD), "");
}

TEST_F(Engine, ARateOfZeroOrOneIsEveryScanAndTheCounterStays) {
    load("5 5 5 0 0 0 0 FAST\n");
    for (int value = 1; value < 5; ++value) {
        board(0xB0, 5, value * 2);
        EXPECT_EQ(scan(BOARD), "b0 05 0" + std::to_string(value));
    }
    idle_scans(BOARD, 33000);
    EXPECT_EQ(pots[BOARD][6].tick_sent, MAX_TICK_SENT);
    board(0xB0, 6, 8);
    EXPECT_EQ(scan(BOARD), "b0 06 04");
}

TEST_F(Engine, MessagesLeaveInTheOrderOfTheRecords) {
    idle_scans(BOARD, 2);
    board(0x90, 2, 1);
    board(0xB0, 7, 20);
    board(0x90, 1, 1);
    board(0xB0, 3, 20);
    EXPECT_EQ(scan(BOARD), "b0 03 0a b0 07 0a 90 01 7f 90 02 7f");
}

TEST_F(Engine, ResetForgetsEveryValue) {
    board(0x90, 1, 1);
    board(0xB0, 3, 20);
    board(0xB0, 12, 0x45);
    pot_set_move_flag(14, BOARD);
    idle_scans(BOARD, 2);
    host_got();
    pot_reset_vv(BOARD);
    for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
        EXPECT_EQ(pots[BOARD][i].vv, pots[BOARD][i].vv_sent);
        EXPECT_EQ(pots[BOARD][i].vv, pot_is_relative_in(i) ? 0x4000 : 0xFFFF);
        EXPECT_TRUE(pot_status_stop(i, BOARD));
    }
    EXPECT_EQ(scan(BOARD), "");
}

// What a relative control (board controller 0x40, host controller 30) sends: each step is what the
// board reports before a scan, and what the scan then sends.
struct Turn {
    std::vector<int> reports;
    const char* sent;
};
struct Turning {
    const char* what;
    int zoom_index;
    std::vector<Turn> turns;
};

const std::vector<Turning> TURNINGS = {
    {"steps, then rest", 0, {{{0x43}, "b0 1e 43"}, {{0x40}, "b0 1e 40"}, {{0x40}, ""}}},
    {"rest in the pass of the last step",
     0,
     {{{0x43, 0x40}, "b0 1e 43"}, {{}, "b0 1e 40"}, {{}, ""}}},
    {"back and forth", 0, {{{0x45, 0x3B}, ""}, {{0x3D}, "b0 1e 3d"}}},
    {"rest without movement", 0, {{{0x40}, ""}, {{0x41}, "b0 1e 41"}}},
    {"the remainder is not sent later",
     2,
     {{{0x43}, ""}, {{0x42}, "b0 1e 41"}, {{0x43}, ""}, {{0x41}, "b0 1e 41"}}},
    {"rest with a part-step pending",
     2,
     {{{0x46}, "b0 1e 41"}, {{0x41, 0x40}, "b0 1e 40"}, {{0x43}, ""}}},
    {"63 units", 0, {{{0x7F}, "b0 1e 7f"}}},
    {"64 units", 0, {{{0x7F, 0x41}, "b0 1e 7f"}, {{0x41}, "b0 1e 41"}}},
    {"64 units back", 0, {{{0x00}, "b0 1e 01"}, {{0x3F}, "b0 1e 3f"}}},
    {"factor 80, 79 units", 15, {{{0x7F, 0x50}, ""}, {{0x41}, "b0 1e 41"}}},
    {"factor 80, one step back", 15, {{{0x00, 0x30}, "b0 1e 3f"}}},
    {"factor 80, 5166 units",
     15,
     {{std::vector<int>(82, 0x7F), "b0 1e 7f"}, {{0x7F, 0x50}, ""}, {{0x41}, "b0 1e 41"}}},
};

TEST_F(Engine, RelativeControlsSendScaledSteps) {
    for (const Turning& turning : TURNINGS) {
        SCOPED_TRACE(turning.what);
        load("18 64 30 0 1 " + std::to_string(turning.zoom_index * 16) + " 0 BROWSE\n");
        pot_reset_vv(BOARD);
        for (const Turn& turn : turning.turns) {
            for (const int report : turn.reports) {
                board(0xB0, 0x40, report);
            }
            EXPECT_EQ(scan(BOARD), turn.sent);
        }
    }
}

TEST_F(Engine, StepsAndPositionsStayWithinSevenBits) {
    load("5 5 30 0 1 0 0 WITHOUT_REFERENCE\n18 64 31 0 0 0 0 STEPS_AS_POSITION\n");
    board(0xB1, 5, 0x7F);
    EXPECT_EQ(scan(BOARD), "b0 1e 01") << "0x4000 to 127: limited to 63 steps";
    board(0xB0, 0x40, 0x3F);
    EXPECT_EQ(scan(BOARD), "b0 1f 7f") << "position 0x3FFF";
}

TEST(Channel, WhileNoneIsSetEverythingGoesOutOnChannelZero) {
    ASSERT_EQ(cfg_midi_channel_no(), INVALID_NUM) << "run by ctest, a process for each test";
    ASSERT_EXIT(
        {
            write_resource("orvik.midictl.cfg", "");
            write_resource("orvik.sys.cfg", "midi_channel=20\n");
            pot_init();
            midi_init();
            btn_process_pkg(0x90, 1, 1, BOARD);
            pot_process_pkg(0xB1, 5, 0x7F, BOARD);
            pot_check_all(BOARD);
            const bool refused = cfg_midi_channel_no() == INVALID_NUM;
            exit(refused && host_got() == "b0 05 7f 90 01 7f" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "midi_channel \"20\" refused: expected 0 to 15");
}

class Platter : public Engine {
  protected:
    void SetUp() override {
        load(
            "12 12 40 0 1 0 0 P1\n13 13 41 0 1 0 0 P2\n14 14 42 0 1 0 0 T1\n15 15 43 0 1 0 9 T2\n");
        pot_reset_vv(BOARD);
    }
};

TEST_F(Platter, UntouchedItSpeaksForItselfWithoutRestMessage) {
    board(0xB0, 12, 0x43);
    EXPECT_EQ(scan(BOARD), "b0 28 43");
    board(0xB0, 12, 0x40);
    EXPECT_EQ(scan(BOARD), "");
    EXPECT_EQ(pots[BOARD][12].vv, RELATIVE_MID_VALUE);
}

TEST_F(Platter, WhileThePartnerMovesItTakesTheStepsAndEndsWithACentreMessage) {
    board(0xB0, 14, 0x42);
    EXPECT_EQ(scan(BOARD), "b0 2a 42");
    board(0xB0, 12, 0x43);
    EXPECT_EQ(pots[BOARD][14].vv, RELATIVE_MID_VALUE + 3);
    EXPECT_EQ(scan(BOARD), "b0 2a 43") << "the platter's own message is swallowed";
    board(0xB0, 12, 0x40);
    EXPECT_EQ(scan(BOARD), "b0 2a 40");
    for (const int id : {12, 14}) {
        EXPECT_EQ(pots[BOARD][id].vv, RELATIVE_MID_VALUE);
        EXPECT_EQ(pots[BOARD][id].vv_sent, RELATIVE_MID_VALUE);
        EXPECT_TRUE(pot_status_stop(id, BOARD));
    }
    EXPECT_EQ(scan(BOARD), "");
}

TEST_F(Platter, TheCentreMessageIgnoresThePartnersRateAndTheOtherPlatter) {
    idle_scans(BOARD, 9);
    board(0xB0, 15, 0x3E);
    EXPECT_EQ(scan(BOARD), "b0 2b 3e");
    board(0xB0, 12, 0x41);
    EXPECT_EQ(pots[BOARD][15].vv, RELATIVE_MID_VALUE) << "platter 12 is not the partner of 15";
    EXPECT_EQ(scan(BOARD), "b0 28 41");
    board(0xB0, 13, 0x40);
    EXPECT_EQ(scan(BOARD), "b0 2b 40");
}

TEST_F(Platter, APartnerAtRestByItselfSendsItsOwnRestMessage) {
    board(0xB0, 14, 0x42);
    EXPECT_EQ(scan(BOARD), "b0 2a 42");
    board(0xB0, 14, 0x40);
    EXPECT_EQ(scan(BOARD), "b0 2a 40");
    board(0xB0, 12, 0x42);
    EXPECT_EQ(scan(BOARD), "b0 28 42") << "the partner stands, so the platter speaks";
    EXPECT_EQ(pots[BOARD][14].vv, RELATIVE_MID_VALUE);
}

TEST_F(Engine, ThePowerSwitchActsOnReleaseAfterAPress) {
    board(0x80, POWER_SWITCH_CC, 0);
    EXPECT_EQ(commands_called(), "");
    board(0x90, POWER_SWITCH_CC, 0x7F);
    EXPECT_EQ(commands_called(), "");
    board(0x80, POWER_SWITCH_CC, 0);
    EXPECT_EQ(commands_called(), "poweroff\n");
    EXPECT_EQ(board_got(), "90 00 5a");
    EXPECT_EQ(scan(BOARD), "");
}

TEST_F(Engine, ThePairingCheckCountsNoteOns) {
    struct {
        int b0, note;
        const char* logged;
    } const cases[] = {
        {0x90, 0x2B, ""},
        {0x80, 0x2B, "<2b ok>\n"},
        {0x90, 0x2B, ""},
        {0x90, 0x2B, " <<<<<< 2b miss note-off >>>>>>> \n"},
        {0x80, 0x2B, " <<<<<< 2b miss note-off >>>>>>> \n"},
        {0x80, 0x2C, " <<<<<< 2c miss note-off >>>>>>> \n"},
        {0x80, 0x2A, ""},
    };
    dbg_set_msg_level(DBG_RED_0);
    for (const auto& c : cases) {
        testing::internal::CaptureStderr();
        btn_check_pair(static_cast<u8>(c.b0), static_cast<u8>(c.note), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.logged);
    }
}

}  // namespace
