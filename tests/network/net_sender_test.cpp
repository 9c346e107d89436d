#include "network/net_sender.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "foundation/exceptions.h"
#include "network/sock_udp_sender.h"
#include "support/fake_udp_sender.h"
#include "support/recording_log.h"

namespace {

using namespace quorvel::network::udp::lib_udp::v2_1;
using Sizes = std::vector<std::size_t>;

std::vector<std::uint8_t> numbered(std::size_t size, unsigned first = 0) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>((first + i) * 7 + (first + i) / 256);
    return bytes;
}

struct NetSenderTest : testing::Test {
    test::RecordingLog log;
    test::FakeNetwork network;
    NetSender sender{log, network.maker()};

    void open(std::size_t destinations) { sender.setDestinations(std::vector<DestinationAddresses>(destinations)); }
    void aggregate(std::size_t size, std::int64_t tag = 0) {
        const auto bytes = numbered(size);
        sender.sendAggregated(bytes.data(), static_cast<std::uint16_t>(size), tag);
    }
};

TEST_F(NetSenderTest, DatagramsFollowFromTheSampleLengths) {
    struct Case {
        Sizes samples;
        Sizes datagrams;
    };
    const Case cases[] = {
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
    for (const auto& one : cases) {
        test::FakeNetwork fresh;
        NetSender here(log, fresh.maker());
        here.setDestinations(std::vector<DestinationAddresses>(1));
        for (const auto size : one.samples)
            here.sendAggregated(numbered(size).data(), static_cast<std::uint16_t>(size), 0);
        EXPECT_EQ(fresh.sizes(), one.datagrams) << "first sample " << one.samples.front();
    }
}

TEST_F(NetSenderTest, RandomSamplesKeepTheByteStream) {
    open(1);
    std::mt19937 random(20261124);
    const std::vector<std::uint8_t> all = numbered(3'000'000);
    std::size_t offset = 0;
    while (offset + 4000 < all.size()) {
        const std::size_t size = random() % (random() % 8 == 0 ? 4000 : 600);
        sender.sendAggregated(all.data() + offset, static_cast<std::uint16_t>(size), 0);
        offset += size;
    }
    const auto sent = network.bytes();
    ASSERT_LE(offset - sent.size(), UdpPacket::kCapacity);
    EXPECT_TRUE(std::equal(sent.begin(), sent.end(), all.begin()));
    for (const auto size : network.sizes()) EXPECT_LE(size, UdpPacket::kCapacity);
}

TEST_F(NetSenderTest, AFailingDestinationIsRetriedByTheDrainThread) {
    open(3);
    network.failWith(1, "cable eaten");
    const auto bytes = numbered(1500);
    EXPECT_THROW(sender.sendChunked(bytes.data(), 1500, 5), std::runtime_error);
    ASSERT_TRUE(log.waitFor("cable eaten"));
    ASSERT_TRUE(network.waitForDatagrams(3));  // the one ahead gets it again and again
    EXPECT_TRUE(network.sizes(2).empty());
    network.failWith(1, "");
    ASSERT_TRUE(network.waitForDatagrams(network.datagrams().size() + 3));
    EXPECT_EQ(network.sizes(1), Sizes{1500});
    EXPECT_EQ(network.sizes(2), Sizes{1500});
    EXPECT_GT(network.sizes(0).size(), 1U);
    EXPECT_LE(log.count("cable eaten"), 3) << "told once a second at most";
}

TEST_F(NetSenderTest, AFullQueueLosesTheOldestAndSaysSoOnce) {
    open(1);
    network.failWith(0, "wall");
    for (unsigned i = 0; i < PacketQueue::kLimit + 10; ++i) {
        const auto bytes = numbered(1500, i);
        EXPECT_THROW(sender.sendChunked(bytes.data(), 1500, i), std::runtime_error);
    }
    EXPECT_EQ(log.count("dropping the oldest"), 1);
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
    EXPECT_EQ(log.count("unable to create UDP sender: unable to bind to the given address"), 1);
    try {
        real.setDestinations({foreign});
        FAIL() << "no destination results";
    } catch (const std::exception& failure) {
        EXPECT_STREQ(failure.what(), "unable to create UDP senders");
    }
}

TEST(SockUdpSender, LostRoutesCountAsSentAndRefusalsThrow) {
    UdpPacket packet;
    packet.size = 10;
    packet.payload.fill(1);
    SockUdpSender toElsewhere(MakeDestinationAddresses("127.0.0.1", 9, "203.0.113.7"));
    EXPECT_NO_THROW(toElsewhere.send(packet)) << "a loopback source can't leave the host";
    SockUdpSender broadcast(MakeDestinationAddresses("0.0.0.0", 9, "127.255.255.255"));
    try {
        broadcast.send(packet);
        FAIL() << "broadcast is not allowed";
    } catch (const std::exception& failure) {
        EXPECT_STREQ(failure.what(), "unable to send packet (WSA error code 10013)");
    }
}

}  // namespace
