// What stands around a module test. Time passes as it says, a pause is noted among the commands,
// and what the shell is given is noted as it is written.
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "play.h"

std::int64_t processor_time = 1000;
std::int64_t time_since_boot = 1000;

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clock != CLOCK_PROCESS_CPUTIME_ID && clock != CLOCK_MONOTONIC) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    }
    const std::int64_t time = clock == CLOCK_MONOTONIC ? time_since_boot : processor_time;
    *now = {static_cast<time_t>(time / 1'000'000), static_cast<long>(time % 1'000'000 * 1000)};
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

// An exception ends the process: the other tests are not its. So does the daemon's exit().
void in_own_process(void (*test)()) noexcept {
    constexpr int PASSED = 77;
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        make_platform();
        test();
        exit(testing::Test::HasFailure() ? 1 : PASSED);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, W_EXITCODE(PASSED, 0)) << "has failed, or ended early";
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
