#include "main.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config.h"
#include "debug.h"
#include "softlabel.h"

namespace {

void report_worker(const char* name, int error) {
    if (error != 0) {
        fprintf(stderr, "cannot start the %s worker: %s\n", name, strerror(error));
    }
}

// Otherwise a device would get the number of a closed standard stream, and messages with it.
void open_standard_streams() {
    int fd = STDIN_FILENO;
    while (fd >= STDIN_FILENO && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    close(fd);
}

// The controller has one core, and the host worker never sleeps: without this a press waits for its
// turn. The kernel leaves other processes a share even of a worker that never sleeps again.
void run_before_others() {
    sched_param priority = {};
    priority.sched_priority = sched_get_priority_min(SCHED_FIFO);
    const int error = pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
    if (error != 0) {
        dbg_pmesg(DBG_GREEN, "board worker without a real-time class: errno %d\n", error);
    }
}

void set_channel(int number) {
    const u8 channel = static_cast<u8>(number);
    if (channel >= MIDI_CHANNELS) {
        dbg_pmesg(DBG_DEFAULT, "midi channel %d refused: expected 0 to %d\n", number,
                  MIDI_CHANNELS - 1);
    }
    cfg_set_midi_channel_no(channel);
}

// The next option, -1 after the last. Words that are no options are passed over here, as not every
// C library's getopt() does that; each ends at "--".
int next_option(int argc, char** argv) {
    while (optind < argc && (argv[optind][0] != '-' || argv[optind][1] == '\0')) {
        ++optind;
    }
    return getopt(argc, argv, "d:m:vcst:");
}

}  // namespace

void usage() {
    fprintf(stderr,
            "\n"
            "ctlbridge [-m midi-channel] [-d level] [-v] [-c] [-s]\n"
            "\n"
            "    -m\t\t\tset midi channel - default is 0\n"
            "    -d\t\t\tset debug level - default is 20, smaller the level, more detailed the "
            "output\n"
            "    -v\t\t\tverbose mode - print what is happening at each step\n"
            "    -c\t\t\tcheck ctl-bridge version, then exit\n"
            "    -s\t\t\tsupport soft label\n"
            "\n"
            "compiled %s %s\n",
            __DATE__, __TIME__);
    exit(1);
}

void check_version() {
    char product_name[32];
    cfg_get_value_from_file(sys_cfg, "product_name", product_name, sizeof product_name);
    printf("%s ctl-bridge compiled %s %s \n", product_name, __DATE__, __TIME__);
    exit(1);
}

void parse_args(int argc, char** argv) {
    for (int option = next_option(argc, argv); option != -1; option = next_option(argc, argv)) {
        switch (option) {
            case 'd':
                dbg_set_msg_level(atoi(optarg));
                break;
            case 'm':
                set_channel(atoi(optarg));
                break;
            case 'v':
                dbg_set_msg_level(DBG_VERBOSE);
                break;
            case 'c':
                check_version();
            case 's':
                set_soft_label_ctl(1);
                break;
            case 't':
                break;
            default:
                usage();
        }
    }
}

void* uart_thread([[maybe_unused]] void* argv) {
    run_before_others();
    prctl(PR_SET_TIMERSLACK, 1UL);  // the idle sleep is 50 microseconds, not 50 and the slack
    cf_init();
    for (;;) {
        uart_pass();
    }
}

void* midi_thread([[maybe_unused]] void* argv) {
    midi_init();
    for (;;) {
        midi_pass();
    }
}

int main(int argc, char** argv) {
    open_standard_streams();
    signal(SIGPIPE, [](int) {});  // the daemon outlives the reader of its log; commands do not
    setvbuf(stdout, nullptr, _IOLBF, 0);
    parse_args(argc, argv);
    cfg_check_files();
    pot_init();
    load_midi_gadget();
    soft_label_init();
    pthread_t uart_t;
    pthread_t midi_t;
    const int iret1 = pthread_create(&uart_t, nullptr, uart_thread, nullptr);
    report_worker("board", iret1);
    const int iret2 = pthread_create(&midi_t, nullptr, midi_thread, nullptr);
    report_worker("host", iret2);
    pthread_exit(nullptr);
}
