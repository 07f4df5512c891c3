// The platform stands before the first module test.
#include <gtest/gtest.h>

#include "modules/ptys.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    make_platform();
    return RUN_ALL_TESTS();
}
