// The links over pseudo-terminals, the traffic LED, the deferred task's clock, diagnostics.
#include <fcntl.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

#include "debug.h"
#include "led.h"
#include "play.h"
#include "softlabel.h"
#include "utility.h"

namespace {

TEST(SerialLink, IsPutIntoRawModeAt115200) {
    const int fd = cf_open("/dev/ttymxc1");
    ASSERT_GE(fd, 0);
    termios settings;
    ASSERT_EQ(tcgetattr(fd, &settings), 0);
    settings.c_lflag |= ECHO | ICANON;
    settings.c_iflag |= IXON | ICRNL;
    tcsetattr(fd, TCSANOW, &settings);
    ASSERT_EQ(cf_set_raw(), 0);
    tcgetattr(fd, &settings);
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(settings.c_iflag & (IXON | ICRNL), 0U);
    EXPECT_EQ(cfgetispeed(&settings), static_cast<speed_t>(B115200));
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B115200));
    EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
}

TEST(SerialLink, ReceivesInPiecesThatTheRingCanTake) {
    cf_init();
    cf_recv();
    EXPECT_EQ(commands_called(), "usleep 50\n") << "nothing there";
    board_sends(repeat("01 ", 300));
    for (const int pending : {256, 256}) {  // the rest waits in the device while the ring is full
        cf_recv();
        EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], pending);
    }
    Com_ProcessComBuf(UART_OUT_BUF_ID);
    EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], 2);
    cf_recv();
    EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], 46);
    EXPECT_EQ(commands_called(), "usleep 50\n");
}

TEST(SerialLink, AFailedOpenIsPrintedAndSendsStillMarkTraffic) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(cf_open("/dev/none"), -1);
    EXPECT_EQ(cf_set_raw(), -1);
    write_resource("plain", "");
    EXPECT_EQ(cf_open("../resources/plain"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "error opening /dev/none: errno 2\nerror configuring tty\n");
    EXPECT_EQ(cf_send("\x90\x01\x02", 3), -1) << "closed again";
    cf_recv();
    EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], 0);
    cf_init();
    led_show_traffic();
    EXPECT_EQ(board_got(), "90 38 01");
}

TEST(Links, AreNotPassedOnToTheShell) {
    const auto descriptors = [] {
        utl_run("ls /proc/self/fd >../resources/fds");
        return read_resource("fds");
    };
    const std::string before = descriptors();
    EXPECT_NE(before, "");
    cf_init();
    midi_init();
    EXPECT_EQ(descriptors(), before);
}

TEST(MidiPort, QueuesSixtyFourBytesAndCutsWhatDoesNotFit) {
    midi_push_buf("\x01\x02\x03", 3);
    EXPECT_EQ(host_got(), "") << "not open yet";
    midi_init();
    EXPECT_EQ(host_got(), "") << "what was queued before is discarded";
    const std::string bytes(62, '\x11');
    EXPECT_EQ(midi_push_buf(bytes.data(), 62), 62);
    EXPECT_EQ(midi_push_buf("\x21\x22\x23", 3), 2);
    EXPECT_EQ(midi_push_byte(0x24), 0);
    EXPECT_EQ(midi_push_buf("\x25", 0), 0);
    EXPECT_EQ(host_got(), repeat("11 ", 62) + "21 22");
    EXPECT_EQ(midi_push_byte(0x26), 1);
    EXPECT_EQ(host_got(), "26");
    midi_push_byte(0x27);
    midi_reset_buf();
    EXPECT_EQ(host_got(), "");
}

TEST(MidiPort, ReceivesEverythingThatTheRingCanTake) {
    midi_init();
    host_sends(repeat("11 ", 309));  // in reads of three, one byte is left in the end
    midi_recv();
    EXPECT_EQ(com_rx_len[MIDI_IN_BUF_ID], 256);
    Com_ProcessComBuf(MIDI_IN_BUF_ID);
    midi_recv();
    EXPECT_EQ(com_rx_len[MIDI_IN_BUF_ID], 2 + 53);
}

TEST(Links, AHangUpIsReportedOnce) {
    midi_init();
    cf_init();
    testing::internal::CaptureStderr();
    for (const int waits : {1, 2, 3}) {
        midi_recv();
        cf_recv();
        EXPECT_EQ(commands_called(), repeat("usleep 50\n", waits));
        hang_up();
    }
    midi_push_buf("\x01", 1);
    midi_flush();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "lost /dev/snd/midiC1D0: hung up\nlost /dev/ttymxc1: hung up\n");
}

// Idle passes for one road until the board is told something.
int passes_until_shown(int road) {
    for (int pass = 1; pass < 100; ++pass) {
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, road);
        led_show_traffic();
        if (board_got() != "") {
            return pass;
        }
    }
    return -1;
}

TEST(TrafficLed, ShowsEachRoadAndGoesOutSeventeenPassesLater) {
    cf_init();
    led_show_traffic();
    EXPECT_EQ(board_got(), "") << "nothing before the first traffic";
    cf_send("\x90\x01\x02", 3);
    led_show_traffic();
    led_show_traffic();
    EXPECT_EQ(board_got(), "90 01 02 90 38 01") << "the LED message is no traffic itself";
    EXPECT_EQ(passes_until_shown(0), 17);
    midi_push_buf("", 0);
    led_show_traffic();
    cf_send("\x90\x01\x02", 3);
    led_show_traffic();
    EXPECT_EQ(board_got(), "90 38 02 90 01 02 90 38 03");
    EXPECT_EQ(passes_until_shown(1), 17);
    for (int i = 0; i < 100; ++i) {  // cleared and set again within a pass
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, 0);
        led_set_traffic_flag(TRAFFIC_FLAG_UART_OUT, 0);
        led_show_traffic();
    }
    EXPECT_EQ(board_got(), "");
}

TEST(Task, AsksForAllPotsOnceForEachDelay) {
    start("", 0);
    const std::string query = "host f0 7e 7f 06 01 f7 > board f0 7e 7f 06 01 f7\n";
    const auto after = [](std::int64_t microseconds, const std::string& script) {
        processor_time += microseconds;
        play(script);
    };
    after(0, ">");
    after(60000000, ">\n>\n");
    utl_set_task_mask(2);
    after(60000000, ">\n>\n");
    after(60000000, query);
    after(60000000, ">\n" + query);  // the delay has just begun
    after(3599999, ">\n" + query);
    after(1, "> board 90 00 00\n>\n");
    after(60000000, ">\n>\n");
    after(60000000, query + ">\n");
    after(3599999, ">\n");
    utl_set_task_mask(0);
    after(1, ">\n");
    utl_set_task_mask(3);
    after(0, "> board 90 00 00\n>\n");
    after(60000000, ">\n>\n");
}

TEST(Task, WaitsAsLongWhereClocksOf32BitsEnd) {
    start("", 0);
    for (const std::int64_t end : {1LL << 31, 1LL << 32}) {
        processor_time = end - 1'800'000;
        play("host f0 7e 7f 06 01 f7 > board f0 7e 7f 06 01 f7\n>\n");
        processor_time += 3'599'999;
        play(">\n");
        processor_time += 1;
        play("> board 90 00 00\n>\n");
    }
}

TEST(Commands, InheritTheUsualTimerSlack) {
    prctl(PR_SET_TIMERSLACK, 1UL);
    utl_run("cat /proc/self/timerslack_ns >../resources/slack");
    EXPECT_EQ(read_resource("slack"), "50000\n");
    EXPECT_EQ(prctl(PR_GET_TIMERSLACK), 1);
}

TEST(Diagnostics, ADeviceIsLostOnceAndForGood) {
    const struct {
        int count, error;
        const char* said;
    } cases[] = {{-1, EAGAIN, ""},
                 {-1, EINTR, ""},
                 {-1, EBADF, ""},
                 {-1, EIO, "lost X: errno 5\n"},
                 {0, EAGAIN, "lost X: hung up\n"},
                 {0, EIO, "lost X: hung up\n"}};
    for (const auto& c : cases) {
        dbg_device device{"X"};
        testing::internal::CaptureStderr();
        dbg_report_lost(&device, c.count, c.error);
        dbg_report_lost(&device, c.count, c.error);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.said) << c.error;
    }
}

TEST(Diagnostics, EachMessageHasItsLevel) {
    write_resource("orvik.midictl.cfg2.txt.ok", "BROWSE 31\nNOBODY 1\nA* 2\nCUE\n");
    write_resource("orvik.color.cfg", "0 \\033[0;37m WHITE\n1 \\033[1;31m RED\n");
    write_resource("orvik.softlabelpos.cfg", "3 2 ONE\n4 x\n");
    write_resource("orvik.miditxt.cfg0.txt.ok", "ONE a 60 RED WHITE\nTWO b 1 RED WHITE\n");
    for (const int threshold : {-1, 2, 3, 9, 10, 19, 20, 29, 30, 99, 101, 100, 3}) {
        static bool verbose = false;  // once on, it stays
        verbose = verbose || threshold == 100;
        std::string expected = " set level to " + std::to_string(threshold) + " \n";
        std::ifstream lines(TESTS "/messages.txt");  // each after its level
        for (std::string line; std::getline(lines, line);) {
            const int level = std::stoi(line);
            const int most = threshold == 100 ? 101 : threshold;
            if (level == 100 ? verbose : level <= most) {
                expected += line.substr(line.find(' ') + 1) + "\n";
            }
        }
        start("18 64 30 1 1 16 0 BROWSE\n21 1 60 3 0 1 2 PLAY\n85 1 2 3 4 5 6 X\n7 8 x\n", 0);
        total_color_list = total_soft_label = total_valid_soft_label = 0;
        write_resource("orvik.sys.cfg", "midi_preset=2\n");
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        dbg_set_msg_level(threshold);
        pot_init();
        write_resource("orvik.sys.cfg", "midi_preset=3\n");
        cfg_apply_midi_preset();
        load_midi_gadget();
        list_init(TYPE_COLOR_LIST);
        list_init(TYPE_SOFT_LABEL);
        apply_preset();
        for (const int status : {0x90, 0x80, 0x90, 0x90, 0x80, 0x80}) {
            btn_check_pair(static_cast<u8>(status), 0x2B, 0);
        }
        btn_check_pair(0x80, 0x2C, 0);
        btn_process_pkg(0x90, 0x2C, 0, UART_OUT_BUF_ID);
        btn_check_pair(0xB0, 0x2C, 0);
        pass("80 2a 01 b0 40 43", "");
        pass("b0 40 41 b0 40 40", "90 3c 01 90 01 02 91");
        pass("", "01 02");
        pass("b0 40 42 b0 40 40", "");
        const std::string told = pass("", "");  // a rest without a part-step is not logged
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), expected) << threshold;
        EXPECT_EQ(told, "host b0 1f 40 ring1 2");
    }
}

}  // namespace
