#include "network/net_sender.h"

#include <gtest/gtest.h>

#include "foundation/exceptions.h"
#include "network/sock_udp_sender.h"
#include "platform/errors.h"
#include "platform/socket.h"
#include "support/failure_of.h"
#include "support/fake_udp_sender.h"
#include "support/recording_log.h"

namespace {

using namespace quorvel::network::udp::lib_udp::v2_1;
using Sizes = std::vector<std::size_t>;
using Levels = std::vector<std::uint32_t>;

std::vector<std::uint8_t> numbered(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    return bytes;
}

struct NetSenderTest : testing::Test {
    test::RecordingLog log;
    test::FakeNetwork network;
    NetSender sender{log, network.maker()};

    void open(std::size_t destinations) { sender.setDestinations(std::vector<DestinationAddresses>(destinations)); }
    void chunk(std::int64_t tag) { sender.sendChunked(numbered(1500).data(), 1500, tag); }
    void aggregate(std::size_t size, std::int64_t tag = 0) {
        const auto bytes = numbered(size);
        sender.sendAggregated(bytes.data(), static_cast<std::uint16_t>(size), tag);
    }
};

TEST_F(NetSenderTest, DatagramsFollowFromTheSampleLengths) {
    const std::pair<Sizes, Sizes> cases[] = {
        {Sizes(7, 188), {}},
        {Sizes(8, 188), {1316}},
        {{1316, 1316}, {1316}},
        {{1500}, {1500}},
        {{1499}, {}},
        {{100, 1500}, {100, 1500}},
        {{3200}, {1500, 1500, 200}},
        {{1000, 500}, {}},
        {{1000, 500, 1}, {1500}},
        {{0, 10, 0, 1495}, {10}},
        {{64500, 1}, Sizes(43, 1500)},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        open(1);
        for (const auto size : cases[i].first) aggregate(size);
        EXPECT_EQ(network.sizes(i), cases[i].second) << "first sample " << cases[i].first.front();
        sender.clear();
    }
}

// Random samples, with a destination that fails now and then: send_loop_test.

TEST_F(NetSenderTest, AFailingDestinationIsRetriedEachMillisecondUntilItIsBack) {
    open(3);
    network.failWith(1, "cable eaten");
    EXPECT_THROW(chunk(5), std::runtime_error);
    // A second and a half when the machine is free: ten times that for one that is not.
    ASSERT_TRUE(network.waitForAttempts(1, 1500, std::chrono::seconds(15))) << network.attempts(1) << " attempts";
    EXPECT_GT(network.sizes(0).size(), 200U) << "the one ahead gets it again and again";
    EXPECT_EQ(network.sizes(2), Sizes{}) << "and those behind nothing";
    network.failWith(1, "");
    ASSERT_TRUE(network.waitForDatagramsAt(1, 1));
    ASSERT_TRUE(network.waitForDatagramsAt(2, 1));
    sender.drain();  // would send what is wrongly left
    EXPECT_EQ(network.sizes(1), Sizes{1500});
    EXPECT_EQ(network.sizes(2), Sizes{1500});
}

TEST_F(NetSenderTest, ARepeatedFailureIsToldOnceASecondAndANewOneAtOnce) {
    open(1);
    network.failWith(0, "cable eaten");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THROW(chunk(0), std::runtime_error);
    ASSERT_TRUE(network.waitForAttempts(0, 100, std::chrono::seconds(20)));
    const auto told = log.levels("cable eaten");
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - begin).count();
    EXPECT_GE(told.size(), 1U);
    EXPECT_LE(told.size(), static_cast<std::size_t>(seconds));
    network.failWith(0, "100% gone");
    // A failure is told before the next attempt.
    ASSERT_TRUE(network.waitForAttempts(0, network.attempts(0) + 2, std::chrono::seconds(20)));
    EXPECT_GE(log.levels("100% gone").size(), 1U);
    for (const auto& line : log.lines()) {
        EXPECT_EQ(line.level, 0U);
        EXPECT_EQ(line.format, "%s");
    }
}

TEST_F(NetSenderTest, AFullQueueLosesTheOldestAndSaysSoOnce) {
    open(1);
    network.failWith(0, "wall");
    for (unsigned i = 0; i < PacketQueue::kLimit + 10; ++i) EXPECT_THROW(chunk(i), std::runtime_error);
    EXPECT_EQ(log.levels("packet queue full, dropping the oldest packets"), Levels{1});
    network.failWith(0, "");
    sender.drain();
    const auto got = network.datagrams();
    ASSERT_EQ(got.size(), PacketQueue::kLimit);
    EXPECT_EQ(got.front().timeTag, 10);
    EXPECT_EQ(got.back().timeTag, static_cast<std::int64_t>(PacketQueue::kLimit) + 9);
}

TEST_F(NetSenderTest, ClearForgetsAndTagsBelongToTheFirstBytes) {
    open(1);
    aggregate(0, 3);
    aggregate(700, 4);
    aggregate(700, 5);
    aggregate(700, 6);
    ASSERT_EQ(network.datagrams().size(), 1U);
    EXPECT_EQ(network.datagrams()[0].timeTag, 4);
    sender.clear();
    aggregate(1500);
    open(1);
    aggregate(1500, 9);
    EXPECT_EQ(network.sizes(0), Sizes{1400});
    EXPECT_EQ(network.sizes(1), Sizes{1500});
}

TEST_F(NetSenderTest, DestinationsThatCantBeMadeAreSkipped) {
    EXPECT_THROW(sender.setDestinations({}), quorvel::cpp_utils::exception_utils::v1::QuorvelException);
    NetSender real(log);
    const auto good = MakeDestinationAddresses("127.0.0.1", 9, "127.0.0.1");
    const auto foreign = MakeDestinationAddresses("203.0.113.7", 9, "127.0.0.1");
    real.setDestinations({foreign, good});
    EXPECT_EQ(log.levels("unable to create UDP sender: unable to bind to the given address"), Levels{1});
    EXPECT_EQ(test::failureOf([&] { real.setDestinations({foreign}); }), "unable to create UDP senders");
}

UdpPacket ten() {
    UdpPacket packet;
    packet.size = 10;
    packet.payload.fill(1);
    return packet;
}

/// What the system said of a send that counts as done; 0 if nothing.
int errorBehind(const DestinationAddresses& to) {
    mcgate::platform::setLastError(0);
    EXPECT_NO_THROW(SockUdpSender(to).send(ten()));
    return mcgate::platform::lastError();
}

// Neither of the two reaches the wire. No datagram can go to port 0, and no IPv6 socket to an IPv4 address.
DestinationAddresses impossible() { return MakeDestinationAddresses("127.0.0.1", 0, "127.0.0.1"); }
DestinationAddresses unreachable() { return MakeDestinationAddresses("::", 9, "::ffff:192.0.2.1"); }
bool hasIPv6() { return mcgate::platform::Socket::openDatagram(mcgate::platform::kFamilyIPv6).valid(); }

TEST(SockUdpSender, LostAddressesAndRoutesCountAsSentAndRefusalsThrow) {
    EXPECT_EQ(errorBehind(impossible()), mcgate::platform::SocketAddressNotAvailable);
    EXPECT_NE(errorBehind(MakeDestinationAddresses("127.0.0.1", 9, "203.0.113.7")), 0)
        << "a loopback source can't leave the host";
    if (hasIPv6()) {
        EXPECT_EQ(errorBehind(unreachable()), mcgate::platform::SocketHostUnreachable);
    }
    SockUdpSender broadcast(MakeDestinationAddresses("0.0.0.0", 9, "127.255.255.255"));
    EXPECT_EQ(test::failureOf([&] { broadcast.send(ten()); }), "unable to send packet (WSA error code 10013)");
}

TEST(SockUdpSender, DestinationsBehindALostOneStillGetThePacket) {
    test::RecordingLog log;
    test::FakeNetwork network;
    // The last is a fake, to tell what came.
    NetSender sender(log, [&, fake = network.maker()](const DestinationAddresses& addresses) {
        return addresses.Remote.family() == 0 ? fake(addresses) : NetSender::makeSockUdpSender(addresses);
    });
    std::vector<DestinationAddresses> list{impossible(), DestinationAddresses{}};
    if (hasIPv6()) list.insert(list.begin(), unreachable());
    sender.setDestinations(list);
    const auto bytes = numbered(1500);
    EXPECT_NO_THROW(sender.sendChunked(bytes.data(), 1500, 0));
    EXPECT_EQ(network.bytes(), bytes);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
