#include "filters/ts_stamper.h"

#include <gtest/gtest.h>

#include "graph/filter_graph.h"
#include "media/mem_allocator.h"
#include "support/test_filters.h"
#include "support/transport_stream.h"

namespace {

using namespace mcgate::host;
using mcgate::platform::ComPtr;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kDatagram = 7 * kPacketSize;

Bytes generated(double seconds) {
    Bytes all = test::generated(seconds);
    all.resize(all.size() / kDatagram * kDatagram);
    return all;
}

/// A feeder, the stamper and a collector.
struct Stamping {
    explicit Stamping(std::uint32_t silenceMs = 5000) : stamper(TsStamper::create({.silenceMs = silenceMs})) {
        EXPECT_EQ(graph->addFilter(feeder.get(), "feeder"), S_OK);
        EXPECT_EQ(graph->addFilter(stamper.get(), "stamper"), S_OK);
        EXPECT_EQ(graph->addFilter(collector.get(), "collector"), S_OK);
        EXPECT_EQ(graph->connect(feeder->output(), stamper->GetPin(0)), S_OK);
        EXPECT_EQ(graph->connect(stamper->GetPin(1), collector->input()), S_OK);
        EXPECT_EQ(graph->run(), S_OK);
    }
    ~Stamping() { graph->tearDown(); }
    void feed(const Bytes& all, std::size_t from, std::size_t to) {
        for (std::size_t at = from; at < to; at += kDatagram) {
            const Bytes datagram(all.begin() + static_cast<std::ptrdiff_t>(at),
                                 all.begin() + static_cast<std::ptrdiff_t>(at + kDatagram));
            ASSERT_EQ(feeder->deliver(datagram), S_OK);
        }
    }

    const ComPtr<FilterGraph> graph = FilterGraph::create();
    const ComPtr<test::FeedingFilter> feeder{
        new test::FeedingFilter(CMediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT))};
    const ComPtr<TsStamper> stamper;
    const ComPtr<test::CollectingFilter> collector{new test::CollectingFilter};
};

TEST(TsStamper, PassesTheBytesOnWithTimesIdsAndAFormat) {
    const Bytes all = generated(3);
    Stamping run;
    EXPECT_EQ(run.collector->input()->mediaType().formattype, FORMAT_MPEGStreams);
    run.feed(all, 0, all.size());
    const auto before = run.collector->samples();
    ASSERT_GT(before.size() * kDatagram, all.size() - 200'000);
    run.feeder->deliverEndOfStream();
    EXPECT_EQ(run.collector->endsOfStream(), 1);
    Bytes came = run.collector->bytes();
    ASSERT_EQ(came.size(), all.size() + kDatagram) << "seven null packets behind it";
    EXPECT_EQ(ts_get_pid(&came[all.size()]), kNullPid);
    came.resize(all.size());
    EXPECT_EQ(came, all);
    std::vector<std::int32_t> rates;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i].newBitRate != 0) rates.push_back(before[i].newBitRate);
        EXPECT_EQ(before[i].dataId, i + 1);
        EXPECT_EQ(before[i].timeStatus, VFW_S_NO_STOP_TIME);
    }
    ASSERT_EQ(rates.size(), 1U) << "told once it is known";
    EXPECT_NEAR(rates[0], 4'000'000, 40'000);
    const auto figures = run.stamper->figures();
    EXPECT_EQ(figures.bytes, all.size());
    EXPECT_EQ(figures.samples, run.collector->sampleCount());
    EXPECT_EQ(figures.stream.continuityErrors, 0U);
    // Both sides share one pool, and everything is back in it.
    ALLOCATOR_PROPERTIES pool;
    auto& allocator = dynamic_cast<CMemAllocator&>(*run.feeder->output()->allocator());
    allocator.GetProperties(&pool);
    EXPECT_EQ(run.collector->input()->allocator(), &allocator);
    EXPECT_EQ(allocator.freeCount(), pool.cBuffers);
}

TEST(TsStamper, ASilenceLetsGoOfWhatWaitsAndPushesTheTailOut) {
    const Bytes all = generated(2);
    Stamping run(1000);
    const std::size_t half = all.size() / 2 / kDatagram * kDatagram;
    run.feed(all, 0, half);
    ASSERT_TRUE(run.collector->waitForSamples(half / kDatagram + 1));
    EXPECT_EQ(ts_get_pid(run.collector->samples().back().bytes.data()), kNullPid);
    run.feed(all, half, half + kDatagram);
    ASSERT_TRUE(run.collector->waitForSamples(half / kDatagram + 2));
    const auto samples = run.collector->samples();
    EXPECT_TRUE(samples.back().discontinuity) << "what comes next begins anew";
    EXPECT_FALSE(samples.front().discontinuity);
}

TEST(TsStamper, WhatDownstreamRefusesIsLostAndTheStreamGoesOn) {
    const Bytes all = generated(1);
    Stamping run;
    run.collector->failWith(E_OUTOFMEMORY);
    run.feed(all, 0, all.size() / 2 / kDatagram * kDatagram);
    run.collector->failWith(S_OK);
    run.feed(all, 0, all.size());
    run.feeder->deliverEndOfStream();
    EXPECT_GT(run.collector->sampleCount(), all.size() / kDatagram - 100);
}

// A datagram that was already on its way in when the graph stopped.
TEST(TsStamper, KeepsNothingThatComesBehindItsStop) {
    const Bytes all = generated(1);
    Stamping run;
    run.feed(all, 0, all.size() / 2 / kDatagram * kDatagram);  // so that datagrams wait for the next PCR
    ComPtr<IMediaSample> sample;
    ASSERT_EQ(run.feeder->output()->GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0), S_OK);
    sample->SetActualDataLength(kDatagram);
    run.stamper->GetPin(1)->Inactive();
    const auto input = ComPtr<IPin>(run.stamper->GetPin(0)).query<IMemInputPin>();
    EXPECT_EQ(input->Receive(sample.get()), S_OK);
    sample->AddRef();
    EXPECT_EQ(sample->Release(), 1U) << "nobody else holds it";
}

}  // namespace
