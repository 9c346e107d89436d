#include "network/address.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "network/endpoint.h"
#include "network/raw_membership_sender.h"
#include "platform/socket.h"
#include "support/failure_of.h"

namespace {

using namespace quorvel::network::udp::lib_udp::v2_1;

using test::failureOf;

TEST(Endpoint, TheGroupTextAloneDecides) {
    // Local, port, group and source; then the tag, whether it is configured, and the source's family.
    const std::tuple<std::string, std::uint32_t, std::string, std::string, std::uint32_t, bool, int> cases[] = {
        {"192.168.1.10", 5000, "0.0.0.0", "10.0.0.1", 0, true, 0},
        {"192.168.1.10", 5000, "::", "", 0, true, 0},
        {"192.168.1.10", 5000, "0:0::0", "", 0, true, 0},
        {"192.168.1.10", 5000, "239.1.2.3", "", 1, true, 0},
        {"192.168.1.10", 5000, "239.1.2.3", "0.0.0.0", 1, true, 2},
        {"fd00::1", 5000, "ff15::1", "fd00::2", 1, true, 23},
        {"fd00::1", 5000, "239.1.2.3", "", 1, true, 0},
        {"192.168.1.10", 5000, "192.168.1.1", "", 1, false, 0},
        {"192.168.1.10", 5000, "240.0.0.1", "", 1, false, 0},
        {"host", 5000, "239.1.2.3", "", 1, false, 0},
        {"host", 5000, "0.0.0.0", "", 0, false, 0},
        {"224.0.0.1", 5000, "239.1.2.3", "", 1, false, 0},
        {"1.2.3.4", 5000, "239.1.2.3", "239.1.1.1", 1, false, 0},
        {"1.2.3.4", 65536, "239.1.2.3", "", 1, false, 0},
    };
    for (const auto& [local, port, group, source, tag, configured, sourceFamily] : cases) {
        const Endpoint made = MakeEndpoint(local, port, group, source);
        EXPECT_EQ(made.tag(), tag) << local << ' ' << group;
        EXPECT_EQ(EndpointPort(made) != 0 && EndpointFamily(made) != 0, configured) << local << ' ' << group;
        EXPECT_EQ(EndpointSource(made).family(), sourceFamily) << local << ' ' << group;
    }
    EXPECT_EQ(failureOf([] { MakeEndpoint("1.2.3.4", 1, "", ""); }), "invalid ip address: ");
    EXPECT_EQ(failureOf([] { MakeEndpoint("1.2.3.4", 1, "a.host", ""); }), "invalid ip address: a.host");
    EXPECT_EQ(EndpointLocal(MakeEndpoint("1.2.3.4", 70000, "0.0.0.0", "")).port(), 4464);
}

// That an endpoint is a value compared by its content is stated in fuzz/address_blocks.

TEST(Endpoint, IsNothingWhenItIsFreshAndLessWhenItWasMoved) {
    EXPECT_EQ(EndpointFamily(Endpoint()), 0);
    EXPECT_EQ(AddressToText(EndpointGroup(Endpoint())).text, "");
    Endpoint made = MakeEndpoint("192.168.1.10", 5000, "239.1.2.3", "");
    const Endpoint moved = std::move(made);
    EXPECT_THROW(EndpointLocal(made), std::runtime_error);  // NOLINT(bugprone-use-after-move): it is told
}

TEST(Address, DestinationsAreValidatedOnTheirLocalSide) {
    const auto made = MakeDestinationAddresses("127.0.0.1", 5004, "239.1.2.3");
    EXPECT_EQ(made.Local.port(), 0);
    EXPECT_EQ(made.Remote.port(), 5004);
    EXPECT_EQ(made.Remote.networkPort(), 0x8C13);
    EXPECT_EQ(failureOf([] { MakeDestinationAddresses("224.0.0.1", 1, "1.2.3.4"); }),
              "not a valid unicast address 224.0.0.1");
    EXPECT_NE(failureOf([] { MakeDestinationAddresses("1.2.3.4", 1, "a.host"); }).find("getaddrinfo failed with "),
              std::string::npos);
    const auto six = MakeDestinationAddresses("fe80::1", 1, "ff02::1");
    EXPECT_EQ(six.Remote.family(), 23);
    EXPECT_EQ(AddressToText(six.Remote).text, "ff02::1");
}

TEST(Address, TheLoopbackInterfaceIsFoundByItsAddress) {
    std::uint32_t index = 7;
    EXPECT_TRUE(FindInterfaceIndex(resolveUnicast("127.0.0.1", 5), index));
    EXPECT_EQ(index, 1U);
    EXPECT_FALSE(FindInterfaceIndex(resolveUnicast("203.0.113.9", 0), index));
    EXPECT_EQ(index, 0U);
}

TEST(RawMembershipSender, TheReportIsTheRfc2236One) {
    const auto report =
        quorvel::network::ip::igmp_socket::v0::membershipReport(mcgate::platform::ipv4WordOfText("239.1.2.3"));
    EXPECT_EQ(report, (std::array<std::uint8_t, 8>{0x16, 0x00, 0xF8, 0xFA, 0xEF, 0x01, 0x02, 0x03}));
}

}  // namespace
