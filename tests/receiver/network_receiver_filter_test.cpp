#include "receiver/network_receiver_filter.h"

#include <gtest/gtest.h>

#include <future>

#include "network/sock_udp_sender.h"
#include "receiver/receiver_filter_fixture.h"
#include "support/configuration.h"
#include "support/host_pool.h"
#include "support/presence_listener.h"

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
    EXPECT_EQ(test::sourceOf(*filter), "none");
    EXPECT_EQ(filter->Pause(), S_OK) << "runs without a socket";
    EXPECT_EQ(filter->Stop(), S_OK);
    EXPECT_EQ(filter->SetSource(5000, u"224.0.0.1", u"239.1.1.1", u""), E_FAIL);
    EXPECT_EQ(filter->SetSource(65536, u"10.0.0.1", u"239.1.1.1", u""), E_FAIL);
    EXPECT_EQ(filter->SetSource(5000, u"10.0.0.1", nullptr, nullptr), E_FAIL);
    const std::tuple<const WCHAR*, const WCHAR*, const WCHAR*, std::string> cases[] = {
        {u"10.0.0.1", u"239.1.1.1", u"10.0.0.9", "10.0.0.1 4464 239.1.1.1 10.0.0.9"},
        {u"10.0.0.1", u"0.0.0.0", u"10.0.0.9", "10.0.0.1 4464 0.0.0.0 0.0.0.0"},
        {u"fd00::1", u"FF15:0::1", u"", "fd00::1 4464 ff15::1 0.0.0.0"},
        {u"fe80::1%lo", u"ff12::1%1", u"fe80::2%1", "fe80::1%1 4464 ff12::1%1 fe80::2%1"},
    };
    for (const auto& [local, group, source, back] : cases) {
        ASSERT_EQ(filter->SetSource(70000, local, group, source), S_OK);
        EXPECT_EQ(test::sourceOf(*filter), back);
    }
    ASSERT_EQ(filter->SetSource(5000, u"203.0.113.7", u"239.1.1.1", u""), S_OK);
    EXPECT_EQ(filter->Pause(), E_FAIL) << "no interface carries that address";
    EXPECT_TRUE(filter->IsStopped());
}

TEST_F(ReceiverFilterTest, ANewSourceTakesEffectAtOnce) {
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_NO_FATAL_FAILURE(run());
    ASSERT_EQ(listenOn(kOtherPort), S_OK);
    udp::SockUdpSender other(udp::MakeDestinationAddresses("127.0.0.1", kOtherPort, "127.0.0.1"));
    other.send(packet(9, 3));
    ASSERT_TRUE(collector->waitForSamples(1));
    EXPECT_EQ(collector->samples()[0].bytes.size(), 3U);
}

TEST_F(ReceiverFilterTest, AWorkerThatWaitsForASampleIsFreedByEveryWayOut) {
    ASSERT_NO_FATAL_FAILURE(connect());
    for (int round = 0; round < 3; ++round) {
        ASSERT_NO_FATAL_FAILURE(runUntilDry(round + 1));
        if (round == 0) {
            EXPECT_TRUE(within(std::chrono::seconds(15), [this] { EXPECT_EQ(filter->Pause(), S_OK); }));
        }
        if (round == 1) {
            EXPECT_TRUE(within(std::chrono::seconds(15), [this] {
                for (const auto port : {kPort, kOtherPort, kPort}) EXPECT_EQ(listenOn(port), S_OK);
            }));
        }
        EXPECT_TRUE(within(std::chrono::seconds(15), [this] { EXPECT_EQ(filter->Stop(), S_OK); }));
        collector->Stop();
        collector->letGo();
    }
}

TEST_F(ReceiverFilterTest, ThePinOffersTwoTypesAndRaisesPoolsToWhatDatagramsNeed) {
    auto& pin = static_cast<CNetOutputPin&>(*filter->GetPin(0));
    const CMediaType transport(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
    const CMediaType timeStamped(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
    const CMediaType mixed(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_MPEG2_TRANSPORT);
    CMediaType offered;
    int position = 0;
    for (const CMediaType* type : {&transport, &timeStamped}) {
        EXPECT_EQ(pin.GetMediaType(position++, &offered), S_OK);
        EXPECT_TRUE(offered.majortype == type->majortype && offered.subtype == type->subtype);
    }
    EXPECT_EQ(pin.GetMediaType(2, &offered), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(pin.CheckMediaType(&transport), S_OK);
    EXPECT_EQ(pin.CheckMediaType(&timeStamped), S_OK);
    EXPECT_EQ(pin.CheckMediaType(&mixed), S_FALSE);
    EXPECT_EQ(pin.CheckMediaType(nullptr), E_POINTER);

    const test::ComPtr<CMemAllocator> pool(new CMemAllocator(nullptr));
    const ALLOCATOR_PROPERTIES cases[][2] = {{{10, 188, 4, 16}, {128, 2048, 4, 16}},
                                             {{300, 4096, 1, 0}, {300, 4096, 1, 0}}};
    for (const auto& [asked, expected] : cases) {
        ALLOCATOR_PROPERTIES request = asked;
        ALLOCATOR_PROPERTIES set;
        ASSERT_EQ(pin.DecideBufferSize(pool.get(), &request), S_OK);
        ASSERT_EQ(pool->GetProperties(&set), S_OK);
        EXPECT_EQ(std::tie(set.cBuffers, set.cbBuffer, set.cbAlign, set.cbPrefix),
                  std::tie(expected.cBuffers, expected.cbBuffer, expected.cbAlign, expected.cbPrefix));
    }
}

TEST_F(ReceiverFilterTest, EachRequestThatFindsThePoolDryIsToldOnce) {
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_NO_FATAL_FAILURE(runUntilDry());
    for (int notices = 1; notices <= 5; ++notices) {
        ASSERT_TRUE(log.waitForFull(notices));
        ASSERT_TRUE(collector->waitForSamples(static_cast<std::size_t>(127 + notices)));
        EXPECT_EQ(log.full(), notices) << "the worker waits in silence";
        collector->letOneGo();  // it takes the sample, a datagram, and finds the pool dry again
    }
}

TEST_F(ReceiverFilterTest, BuffersTooSmallForADatagramOfASenderReceiveNothing) {
    for (const std::int32_t largest : {1499, 1500}) {
        const test::ComPtr<test::HostPool> pool(new test::HostPool(largest));
        ASSERT_EQ(collector->input()->NotifyAllocator(pool.get(), 0), S_OK);
        ASSERT_NO_FATAL_FAILURE(connect());
        ASSERT_NO_FATAL_FAILURE(run());
        send(1, 1500);
        if (largest < 1500) {
            // Turn after turn gives its sample back: more turns than the pool has samples.
            EXPECT_TRUE(test::eventually([&] { return pool->requests() >= 300; }));
            EXPECT_EQ(present(), 0);
            EXPECT_EQ(collector->sampleCount(), 0U);
        } else {
            ASSERT_TRUE(collector->waitForSamples(1));
            EXPECT_EQ(collector->samples()[0].bytes.size(), 1500U);
        }
        EXPECT_EQ(log.full(), 0);
        ASSERT_EQ(filter->Stop(), S_OK);
        ASSERT_EQ(collector->Stop(), S_OK);
        connection.reset();
    }
}

/// Before a pin that says it does not block, so that samples go to it on the worker's thread.
struct DirectDelivery : ReceiverFilterTest {
    void SetUp() override {
        ReceiverFilterTest::SetUp();
        collector->answerCanBlock(S_FALSE);
        ASSERT_NO_FATAL_FAILURE(connect());
    }
};

TEST_F(DirectDelivery, IsOnTheWorkersThreadAndHoldsOnlyWhoNeedsTheWorker) {
    test::PresenceListener listener;
    filter->SetDataSourceListener(&listener);
    collector->block();
    ASSERT_NO_FATAL_FAILURE(run());
    send(1);
    ASSERT_TRUE(collector->waitUntilBlocked());
    EXPECT_TRUE(within(std::chrono::seconds(10), [this] {
        std::uint32_t timeOut = 0;
        EXPECT_EQ(filter->SetTimeout(6000), S_OK);
        EXPECT_EQ(filter->GetTimeout(&timeOut), S_OK);
        EXPECT_EQ(present(), 0) << "the flag comes after the delivery";
        EXPECT_EQ(filter->SetLogPerf(&log), S_OK);
    }));
    for (const bool stop : {false, true}) {
        auto call = std::async(std::launch::async, [&] { return stop ? filter->Stop() : filter->Pause(); });
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
        collector->release();
        ASSERT_EQ(call.wait_for(test::kDeadline), std::future_status::ready);
        EXPECT_EQ(call.get(), S_OK);
        if (stop) break;
        // The pause has ended the worker; another one for the stop.
        ASSERT_EQ(filter->Stop(), S_OK);
        ASSERT_EQ(filter->Run(0), S_OK);
        collector->block();
        send(2);
        ASSERT_TRUE(collector->waitUntilBlocked());
    }
    ASSERT_TRUE(listener.waitForCalls(2)) << "one for each worker";
    filter->SetDataSourceListener(nullptr);
    EXPECT_EQ(collector->samples().back().thread, listener.caller());
    EXPECT_EQ(collector->endsOfStream(), 2);
}

TEST_F(DirectDelivery, ACallWaitsForTheDeliveryInProgressAndNotForThoseBehindIt) {
    for (const bool stop : {false, true}) {
        collector->takeTime(std::chrono::milliseconds(20));
        ASSERT_NO_FATAL_FAILURE(run());
        for (int i = 0; i < 150; ++i) send(1);
        ASSERT_TRUE(collector->waitForSamples(collector->sampleCount() + 2));
        const auto before = collector->sampleCount();
        EXPECT_EQ(stop ? filter->Stop() : filter->Pause(), S_OK);
        EXPECT_LT(collector->sampleCount() - before, 50U);
        collector->takeTime(std::chrono::milliseconds(0));
        ASSERT_EQ(filter->Stop(), S_OK);
    }
}

}  // namespace
