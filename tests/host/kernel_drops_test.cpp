#include "cli/kernel_drops.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace mcgate::host;

TEST(KernelDrops, TheTableOfAProcessGivesThoseOfThePort) {
    std::istringstream table(
        "   sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode ref pointer "
        "drops             \n"
        "  371: 0100007F:1388 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 4711 2 "
        "0000000000000000 42        \n"
        " 2413: 010101EF:1388 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 4712 2 "
        "0000000000000000 0         \n"
        " 2414: 00000000:1389 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 4713 2 "
        "0000000000000000 7         \n"
        "cut off\n");
    const std::map<std::uint64_t, std::uint64_t> expected{{4711, 42}, {4712, 0}};
    EXPECT_EQ(parseUdpTable(table, 5000), expected);
}

}  // namespace
