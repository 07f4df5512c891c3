// The control engine: table, handlers, scan, value computation and platters.
#include "pot.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "play.h"

namespace {

void idle_scans(int side, int count) {
    for (int i = 0; i < count; ++i) {
        pot_check_all(side);
    }
}

// Every number in turn, from either end; what is no control changes nothing.
TEST(Engine, EachNumberReachesItsRecordAndGoesOutUnderTheDefault) {
    start("", 0);
    play(">\n>\n");
    for (int number = 0; number < 128; ++number) {
        const std::string byte = hex(number);
        const bool button = (number >= 1 && number <= 44) || (number >= 64 && number <= 70);
        const int pot = number <= 17 ? number : number >= 64 && number <= 66 ? number - 46 : -1;
        const bool relative = (pot >= 12 && pot <= 15) || pot == 18;
        EXPECT_EQ(pot_is_relative_in(pot), relative) << pot;
        const bool led = button ? number != 70 : number == 0;
        play("board 90 " + byte + " 40 >" + (button ? " host 90 " + byte + " 7f" : "") +
             "\nboard b1 " + byte + " 7e >" +
             (pot >= 0 ? " host b0 " + hex(pot) + (relative ? " 3e" : " 7f") : "") + "\nhost 90 " +
             byte + " 09 >" + (led ? " board b0 " + byte + " 09" : ""));
        EXPECT_EQ(led_btn_idx(number), number == 0 ? 50
                                       : !led      ? -1
                                                   : number - (button && number > 44 ? 20 : 1));
    }
    for (const int meter : {TOTAL_LED_CTL_NUM, TOTAL_LED_CTL_NUM + 1}) {
        EXPECT_EQ(pot_meter_ctl_idx(0), meter) << "the first of those that have the number";
        pots[HOST][meter].cc_in = 1;
    }
    EXPECT_EQ(pot_meter_ctl_idx(0), 0);
}

TEST(Engine, MappingLinesReachTheSidesTheyAddress) {
    start("", 0);
    // Fields in the order of the structure, from cc_in to add_data.
    const auto is = [](int side, int index, std::initializer_list<int> fields) {
        const t_pot_internal& pot = pots[side][index];
        const int held[] = {pot.cc_in,    pot.cc_out,   pot.vv_in_msg_type, pot.vv_out_msg_type,
                            pot.ctl_type, pot.add_data, pot.tick_sent_min};
        EXPECT_TRUE(std::equal(fields.begin(), fields.end(), held)) << side << ' ' << index;
    };
    pot_set_para(25, -1, 49, 0, 1, 9, 9);  // the numbers of the host alone
    is(BOARD, 25, {5, 49, 0, 0, 0, 0, 2});
    is(HOST, 4, {49, 5, 0, 0, 0, 0, 2});
    pot_set_para(5, 0, 300, 0, 1, 0, 300);
    is(BOARD, 5, {0, 44, 0, 1, 0, 0, 44});
    EXPECT_EQ(pots[BOARD][5].vv, RELATIVE_MID_VALUE);
    EXPECT_EQ(pots[BOARD][5].vv_sent, NO_VALUE);
    start("", 0);
    t_pot_internal before[2][TOTAL_CTL_NUM];
    memcpy(before, pots, sizeof pots);
    for (const int index : {-(1 << 30), -1, 0, 20, 21, 71, 72, 84, 85, 92, 93, 1 << 30}) {
        const bool board = index >= 0 && index <= 71;
        const bool host = index >= 21 && index <= 84;
        testing::internal::CaptureStderr();
        pot_set_para(index, 1, 99, 3, 1, 5, 6);
        const std::string refusal =
            "configuration index " + std::to_string(index) + " ignored: expected 0 to 84\n";
        EXPECT_EQ(testing::internal::GetCapturedStderr(), board || host ? "" : refusal);
        if (board) {
            is(BOARD, index, {1, 99, pot_is_relative_in(index), 1, 3, 5, 6});
            pots[BOARD][index] = before[BOARD][index];
        }
        if (host) {
            is(HOST, index - 21, {99, 1, 0, 1, 3, 5, 6});
            pots[HOST][index - 21] = before[HOST][index - 21];
        }
        EXPECT_EQ(memcmp(before, pots, sizeof pots), 0) << "another record changed";
    }
}

TEST(Engine, MetersHaveEightLevelsAndTheirRate) {
    start("82 9 50 4 0 0 0 METER_A\n83 10 51 4 0 0 3 METER_B\n", 0);
    for (int value = 0; value < 128; ++value) {
        play("host b0 32 " + hex(value) + " >" +
             (value % 18 == 0 ? " board b0 09 " + hex(0x30 + value / 18) : ""));
    }
}

TEST(Engine, PotsAreRateLimitedButTheEndsOfTravelAreNot) {
    start("9 9 9 0 0 0 255 SLOW\n", 0);
    idle_scans(BOARD, 33000);
    EXPECT_EQ(pots[BOARD][9].tick_sent, MAX_TICK_SENT);
    EXPECT_EQ(pots[BOARD][21].tick_sent, 0) << "a button has no rate";
    play("board b0 09 08 > host b0 09 04\nboard b1 09 7e > host b0 09 7f");
}

std::string units(int count) {
    std::string reports = "board ";
    for (; count != 0; count -= std::clamp(count, -64, 63)) {
        reports += "b0 40 " + hex(0x40 + std::clamp(count, -64, 63)) + " ";
    }
    return reports + "> ";
}

TEST(Engine, EveryZoomHasItsStepAndItsLimit) {
    start("", 0);
    const int factors[] = {1, 2, 4, 8, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80};
    for (int zoom = 0; zoom < 16; ++zoom) {
        const int factor = factors[zoom];
        const int part = factor - 1;
        start("18 64 30 0 1 " + std::to_string(zoom * 16 + zoom % 16) + " 0 BROWSE\n", 0);
        EXPECT_EQ(pot_zoom_factor(BOARD, 18), factor);
        const std::string sent = "host b0 1e ";
        play(units(part) + "\n" + units(1) + sent + "41\n" +    // not before a whole step
             units(-part) + "\n" + units(-1) + sent + "3f\n" +  // nor the other way
             units(64 * factor - 1) + sent + "7f\n" +           // a remainder is not sent later
             units(part) + "\n" + units(1) + sent + "41\n" +    //
             units(63 * -factor) + sent + "01\n" +              //
             units(64 * factor + part) + sent + "7f\n" +        // the rest is dropped
             units(-64 * factor) + sent + "01\n" +              //
             units(64 * factor) + sent + "7f\n");
        // What is pending at rest stays in the reference, from which the next movement counts.
        play(units(factor) + sent + "41\n" + units(part) + "\nboard b0 40 40 > " + sent + "40\n" +
             "board b0 40 40 >\n>\n" + units(-1) + sent + "3f\n" + "board b0 40 40 > " + sent +
             "40\n");
        pot_reset_vv(BOARD);
        play(units(part) + "\nboard b0 40 40 >\n>\n" + units(part) + "\n" + units(1) + sent +
             "41\n");
    }
}

TEST(Engine, ThePowerSwitchActsOnReleaseAfterAPress) {
    start("", 0);
    play("board 80 60 00 90 61 7f 80 61 00 >\nboard 90 60 7f >");
    EXPECT_EQ(commands_called(), "");
    play("board 80 60 00 > board 90 00 5a\nboard 80 60 00 > board 90 00 5a");
    EXPECT_EQ(commands_called(), "usleep 100000\npoweroff\nusleep 100000\npoweroff\n");
}

}  // namespace
