// The platform stands before the first module test. Time passes as a test says, and a pause is
// noted among the commands; what the shell is given is noted as it is written.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <fstream>

#include "modules/ptys.h"
#include "play.h"

std::int64_t processor_time = 1000;

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clock != CLOCK_PROCESS_CPUTIME_ID) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    }
    *now = {static_cast<time_t>(processor_time / 1'000'000),
            static_cast<long>(processor_time % 1'000'000 * 1000)};
    return 0;
}

int usleep(useconds_t us) {
    std::ofstream("../called", std::ios::app) << "usleep " << us << '\n';
    return 0;
}

extern "C" int __real_system(const char* command);

// The linker leads the daemon's calls here.
extern "C" int __wrap_system(const char* command) {
    std::ofstream("../written", std::ios::app) << command << '\n';
    return __real_system(command);
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    make_platform();
    return RUN_ALL_TESTS();
}
