#include "cli/way_back.h"

#include <gtest/gtest.h>

#include "streams/relay_circle.h"
#include "support/private_network.h"

namespace {

using namespace mcgate::host;

void expectWays(const std::vector<std::tuple<const char*, const char*, bool>>& table) {
    for (const auto& [to, from, comes] : table) {
        EXPECT_EQ(comesBack(parseSendUrl(to), parseReceiveUrl(from)), comes) << to << " to " << from;
    }
}

TEST(WayBack, IsKnownHoweverItIsWritten) {
    expectWays({
        {"udp://127.0.0.2:5000", "udp://@:5000", true},
        {"udp://127.0.0.2:5001", "udp://@:5000", false},
        {"udp://198.51.100.1:5000", "udp://@:5000", false},
        {"udp://127.0.0.2:5000", "udp://@127.0.0.1:5000", false},
        {"udp://[0::1]:5000", "udp://@[::1]:5000", true},
        {"udp://[::1]:5000", "udp://@:5000", false},
        {"udp://[ff15:0::1]:5000?local=[::1]", "udp://@[ff15::1]:5000?local=[::1]", true},
        {"udp://239.1.1.1:5000", "udp://@239.1.1.2:5000?local=127.0.0.1", false},
        {"udp://239.1.1.1:5000", "udp://@239.1.1.1:5000", true},
    });
}

TEST(WayBack, OfAGroupIsByItsInterfaceAndSource) {
    if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    test::ip(
        "link add name wb0 type veth peer name wb1\n"
        "addr add 10.71.0.1/24 dev wb0\naddr add 10.71.0.2/24 dev wb0\naddr add 10.72.0.1/24 dev wb1\n"
        "link set wb0 up\nlink set wb1 up\nroute add 239.0.0.0/8 dev wb1");
    expectWays({
        {"udp://239.1.1.1:5000?local=10.72.0.1", "udp://@239.1.1.1:5000?local=10.71.0.1", false},
        {"udp://239.1.1.1:5000?local=10.71.0.2", "udp://@239.1.1.1:5000?local=10.71.0.1", true},
        {"udp://239.1.1.1:5000", "udp://@239.1.1.1:5000?local=10.71.0.1", false},
        {"udp://239.1.1.1:5000", "udp://@239.1.1.1:5000?local=10.72.0.1", true},
        {"udp://239.1.1.1:5000?local=10.71.0.1", "udp://@239.1.1.1:5000", false},
        {"udp://239.1.1.1:5000?local=10.71.0.1", "udp://10.71.0.9@239.1.1.1:5000?local=10.71.0.1", false},
        {"udp://239.1.1.1:5000?local=10.71.0.1", "udp://10.71.0.1@239.1.1.1:5000?local=10.71.0.1", true},
        {"udp://239.1.1.1:5000?local=10.79.0.1", "udp://@239.1.1.1:5000?local=10.71.0.1", false},
    });
    test::ip("link del wb0");
}

TEST(RelayCircle, IsFoundBesideARelayWhoseInterfaceHasGone) {
    const auto relay = [](const char* name, const char* input, const char* to) {
        RelaySettings settings;
        settings.input = input;
        settings.to = {to};
        return StreamSettings{name, StreamState::Running, settings};
    };
    const auto gone = relay("gone", "udp://@[ff12::1]:1?local=[fe80::1%gone]", "udp://127.0.0.1:4");
    const auto there = relay("there", "udp://@127.0.0.1:2", "udp://127.0.0.1:3");
    const auto back = relay("back", "udp://@127.0.0.1:3", "udp://127.0.0.1:2");
    EXPECT_FALSE(findCircle({gone, there}));
    const auto circle = findCircle({gone, there, back});
    ASSERT_TRUE(circle);
    EXPECT_EQ(circle->stream, 1U);
}

}  // namespace
