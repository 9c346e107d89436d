#include "network/net_listener.h"

#include <gtest/gtest.h>

#include <string>

#include "network/sock_udp_sender.h"
#include "support/failure_of.h"

namespace {

using namespace quorvel::network::udp::lib_udp::v2_1;

constexpr std::int32_t kSoon = 2'000'000;  // microseconds within which loopback delivers

void sendTo(const char* remote, std::uint16_t port, const std::string& text) {
    SockUdpSender sender(MakeDestinationAddresses("127.0.0.1", port, remote));
    UdpPacket packet;
    packet.size = static_cast<std::uint16_t>(text.size());
    std::copy(text.begin(), text.end(), packet.payload.begin());
    sender.send(packet);
}

std::string receive(INetListener& listener) {
    char buffer[2048];
    if (!listener.WaitForData(kSoon)) return "nothing";
    const auto length = listener.Receive(buffer, sizeof buffer);
    return length < 0 ? "error" : std::string(buffer, static_cast<std::size_t>(length));
}

std::string failureOf(const Endpoint& target) {
    return test::failureOf([&] { const NetListener listener(target); });
}

// What groups and sources let through is looked at on real networks: tests/system, reception.

TEST(NetListener, EmptyAndOversizedDatagramsAreToldApart) {
    NetListener listener(MakeEndpoint("127.0.0.1", 25003, "0.0.0.0", ""));
    sendTo("127.0.0.1", 25003, "");
    sendTo("127.0.0.1", 25003, std::string(100, 'x'));
    sendTo("127.0.0.1", 25003, "after");
    char buffer[64];
    ASSERT_TRUE(listener.WaitForData(kSoon));
    EXPECT_EQ(listener.Receive(buffer, sizeof buffer), 0);
    ASSERT_TRUE(listener.WaitForData(kSoon));
    EXPECT_LT(listener.Receive(buffer, sizeof buffer), 0);
    EXPECT_EQ(receive(listener), "after");
    EXPECT_LT(listener.Receive(buffer, sizeof buffer), 0) << "nothing is there, and nothing is waited for";
}

TEST(NetListener, FailuresNameTheStep) {
    EXPECT_EQ(failureOf(MakeEndpoint("203.0.113.7", 25004, "239.77.1.1", "")),
              "JoinMulticastSource: unable to retrieve interface Index");
    EXPECT_EQ(failureOf(MakeEndpoint("203.0.113.7", 25004, "0.0.0.0", "")), "BindSocket bind failed with 10049");
    EXPECT_EQ(failureOf(Endpoint()), "CreateSocket socket failed with 10047");
    EXPECT_EQ(failureOf(MakeEndpoint("127.0.0.1", 25004, "239.77.1.1", "::1")),
              "JoinMulticastSource setsockopt failed with 10049");
}

}  // namespace
