#include "receiver/network_receiver_filter.h"

#include <gtest/gtest.h>

#include <future>

#include "network/sock_udp_sender.h"
#include "receiver/receiver_filter_fixture.h"

namespace {

namespace udp = quorvel::network::udp::lib_udp::v2_1;

using test::ReceiverFilterTest;

TEST_F(ReceiverFilterTest, DatagramsBecomeSamplesAndEndComesAtStop) {
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_NO_FATAL_FAILURE(run());
    for (std::uint8_t i = 0; i < 100; ++i) send(i, static_cast<std::uint16_t>(1 + i * 15));
    ASSERT_TRUE(collector->waitForSamples(100));
    const auto samples = collector->samples();
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(samples[i].bytes, std::vector<std::uint8_t>(1 + i * 15, static_cast<std::uint8_t>(i)));
        EXPECT_EQ(samples[i].timeStatus, VFW_E_SAMPLE_TIME_NOT_SET);
    }
    EXPECT_EQ(present(), 1);
    EXPECT_EQ(log.declared(), 1);
    filter->Stop();
    EXPECT_EQ(collector->endsOfStream(), 1);
    EXPECT_EQ(present(), 0);
    filter->Stop();
    EXPECT_EQ(collector->endsOfStream(), 1);
}

TEST_F(ReceiverFilterTest, ConfigurationIsValidatedAndReadBack) {
    BSTR group = nullptr;
    BSTR local = nullptr;
    BSTR source = nullptr;
    std::uint32_t port = 0;
    EXPECT_EQ(filter->GetSource(&group, &port, &local, &source), E_FAIL);
    EXPECT_EQ(filter->Pause(), S_OK) << "runs without a socket";
    EXPECT_EQ(filter->Stop(), S_OK);
    EXPECT_EQ(filter->SetSource(5000, u"224.0.0.1", u"239.1.1.1", u""), E_FAIL);
    EXPECT_EQ(filter->SetSource(65536, u"10.0.0.1", u"239.1.1.1", u""), E_FAIL);
    EXPECT_EQ(filter->SetSource(5000, u"10.0.0.1", nullptr, nullptr), E_FAIL);
    const struct {
        const WCHAR* local;
        const WCHAR* group;
        const WCHAR* source;
        const char* back;
    } cases[] = {
        {u"10.0.0.1", u"239.1.1.1", u"10.0.0.9", "10.0.0.1 239.1.1.1 10.0.0.9 4464"},
        {u"10.0.0.1", u"0.0.0.0", u"10.0.0.9", "10.0.0.1 0.0.0.0 0.0.0.0 4464"},
        {u"fd00::1", u"FF15:0::1", u"", "fd00::1 ff15::1 0.0.0.0 4464"},
    };
    for (const auto& one : cases) {
        ASSERT_EQ(filter->SetSource(70000, one.local, one.group, one.source), S_OK);
        ASSERT_EQ(filter->GetSource(&group, &port, &local, &source), S_OK);
        using mcgate::platform::toNarrow;
        EXPECT_EQ(toNarrow(local) + " " + toNarrow(group) + " " + toNarrow(source) + " " + std::to_string(port),
                  one.back);
        for (BSTR text : {group, local, source}) SysFreeString(text);
    }
    ASSERT_EQ(filter->SetSource(5000, u"203.0.113.7", u"239.1.1.1", u""), S_OK);
    EXPECT_EQ(filter->Pause(), E_FAIL) << "no interface carries that address";
    EXPECT_TRUE(filter->IsStopped());
}

TEST_F(ReceiverFilterTest, ANewSourceTakesEffectAtOnce) {
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_NO_FATAL_FAILURE(run());
    ASSERT_EQ(filter->SetSource(kPort + 1, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
    udp::SockUdpSender other(udp::MakeDestinationAddresses("127.0.0.1", kPort + 1, "127.0.0.1"));
    udp::UdpPacket packet;
    packet.size = 3;
    packet.payload.fill(9);
    other.send(packet);
    ASSERT_TRUE(collector->waitForSamples(1));
    EXPECT_EQ(collector->samples()[0].bytes.size(), 3U);
}

TEST_F(ReceiverFilterTest, AWorkerThatWaitsForASampleIsFreedByEveryWayOut) {
    ASSERT_NO_FATAL_FAILURE(connect());
    for (int round = 0; round < 3; ++round) {
        collector->holdSamples();
        ASSERT_NO_FATAL_FAILURE(run());
        for (int i = 0; i < 200; ++i) send(1);
        ASSERT_TRUE(log.waitForFull(round + 1));
        if (round == 0) {
            EXPECT_TRUE(within(std::chrono::seconds(3), [this] { EXPECT_EQ(filter->Pause(), S_OK); }));
        }
        if (round == 1) {
            EXPECT_TRUE(within(std::chrono::seconds(3), [this] {
                EXPECT_EQ(filter->SetSource(kPort, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
                EXPECT_EQ(filter->SetSource(kPort + 2, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
                EXPECT_EQ(filter->SetSource(kPort, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
            }));
        }
        EXPECT_TRUE(within(std::chrono::seconds(3), [this] { EXPECT_EQ(filter->Stop(), S_OK); }));
        collector->Stop();
        collector->letGo();
    }
}

TEST_F(ReceiverFilterTest, PrivateDatagramsBecomeTimedSamplesAndShortOnesAreDropped) {
    const CMediaType type(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
    connection = std::make_unique<test::PinConnection>(filter->GetPin(0), collector->input(), &type);
    ASSERT_EQ(connection->status(), S_OK);
    ASSERT_EQ(filter->SetSource(kPort, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
    ASSERT_NO_FATAL_FAILURE(run());
    send(1, 15);
    udp::UdpPacket packet;
    packet.size = 24;
    for (std::uint8_t i = 0; i < 24; ++i) packet.payload[i] = i;
    sender.send(packet);
    ASSERT_TRUE(collector->waitForSamples(1));
    const auto sample = collector->samples()[0];
    EXPECT_EQ(sample.bytes, (std::vector<std::uint8_t>{8, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(sample.start, 0x0706050403020100);
    EXPECT_EQ(sample.stop, sample.start + 1);
}

}  // namespace
