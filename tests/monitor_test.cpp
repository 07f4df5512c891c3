#include "panel/monitor.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

TEST(Counters, CountWhatDoesNotCross) {
    const struct {
        End end;
        const char* bytes;
        int control, dropped;
    } cases[] = {
        {End::Host, "f0 01 02 f7", -1, 4},       {End::Host, "f0 7e 7f 06 01 f7", -1, 0},
        {End::Host, "f0 7e 00 06 01 f7", -1, 6}, {End::Board, "f0 01 02 f7", -1, 0},
        {End::Host, "92 3c 7f", 21, 0},          {End::Host, "93 3c 7f", 21, 3},
        {End::Host, "92 70 7f", -1, 3},          {End::Host, "f8", -1, 1},
        {End::Board, "90 01 7f", 21, 0},         {End::Board, "91 01 7f", 21, 3},
        {End::Board, "b5 00 7f", 0, 0},          {End::Board, "80 60 00", -1, 0},
    };
    bench::Setup setup;
    setup.channel = 2;
    for (const auto& [end, bytes, control, dropped] : cases) {
        Counters counters;
        counters.take({.place = at(end),
                       .to_daemon = true,
                       .bytes = *parse_hex(bytes),
                       .text = {},
                       .control = control},
                      setup);
        EXPECT_EQ(counters.dropped(), dropped) << bytes;
    }
}

}  // namespace
}  // namespace bench
