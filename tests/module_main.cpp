// The platform stands before the first module test. Time passes as a test says, and a pause is
// noted among the commands.
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

#include "modules/ptys.h"
#include "play.h"

clock_t processor_time = 1000;

clock_t clock() noexcept {
    return processor_time;
}

int usleep(useconds_t us) {
    std::ofstream("../called", std::ios::app) << "usleep " << us << '\n';
    return 0;
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    make_platform();
    return RUN_ALL_TESTS();
}
