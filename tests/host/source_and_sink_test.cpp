#include <gtest/gtest.h>

#include "filters/file_sink.h"
#include "filters/ts_file_source.h"
#include "graph/filter_graph.h"
#include "support/temporary_file.h"
#include "support/test_filters.h"
#include "support/transport_stream.h"

namespace {

using namespace mcgate::host;
using test::generated;

/// A source before a collector.
struct Collecting {
    explicit Collecting(const TsFileSourceOptions& options) : source(TsFileSource::create(options)) {
        EXPECT_EQ(graph->addFilter(source.get(), "source"), S_OK);
        EXPECT_EQ(graph->addFilter(collector.get(), "collector"), S_OK);
        EXPECT_EQ(graph->connect(source->GetPin(0), collector->input()), S_OK);
    }
    ~Collecting() { graph->tearDown(); }

    const mcgate::platform::ComPtr<FilterGraph> graph = FilterGraph::create();
    const mcgate::platform::ComPtr<TsFileSource> source;
    const mcgate::platform::ComPtr<test::CollectingFilter> collector{new test::CollectingFilter};
};

TEST(TsFileSource, SamplesAreStampedNumberedAndAtMostASecondAhead) {
    const test::TemporaryFile in(generated(4.0));
    Collecting run({in.path(), true, false});
    ASSERT_EQ(run.graph->run(), S_OK);
    ASSERT_TRUE(run.collector->waitForSamples(500));
    run.graph->stop();
    const auto samples = run.collector->samples();
    const double perSample = 7 * 188 * 8 / 4'000'000.0 * kTicksPerSecond;
    for (std::size_t i = 0; i < 500; ++i) {
        EXPECT_NEAR(static_cast<double>(samples[i].start), static_cast<double>(i) * perSample, 2'000) << i;
        EXPECT_EQ(samples[i].dataId, i + 1);
        EXPECT_EQ(samples[i].discontinuity, i == 0);
        const std::chrono::duration<double> since = samples[i].arrived - samples[0].arrived;
        EXPECT_GE(since.count(), static_cast<double>(samples[i].start) / kTicksPerSecond - 1.01) << i;
    }
}

TEST(TsFileSource, AnInputThatBreaksOffArrivesUpToThereAndTellsWhy) {
    const auto good = generated(1.0);
    auto content = good;
    for (int i = 0; i < 100; ++i) {
        content.insert(content.end(), 4, 0x11);
        content.insert(content.end(), good.begin() + i * 188, good.begin() + (i + 1) * 188);
    }
    const test::TemporaryFile in(content);
    Collecting run({in.path(), false, false});
    ASSERT_EQ(run.graph->run(), S_OK);
    ASSERT_TRUE(run.collector->waitForEnd());
    auto came = run.collector->bytes();
    EXPECT_EQ(came.size(), good.size() + 7 * kPacketSize) << "padding pushes the last bytes out";
    EXPECT_EQ(ts_get_pid(&came.at(good.size())), kNullPid);
    came.resize(good.size());
    EXPECT_EQ(came, good);
    EXPECT_EQ(run.source->figures().bytes, good.size());
    EXPECT_NEAR(run.source->bitRate(), 4'000'000, 20'000);
    EXPECT_NE(run.source->figures().error.find("packets of 192 bytes"), std::string::npos);
}

TEST(TsFileSource, ARefusedSampleEndsTheRunWithAReason) {
    const test::TemporaryFile in(generated(1.0));
    Collecting run({in.path(), false, false});
    run.collector->failWith(E_OUTOFMEMORY);
    ASSERT_EQ(run.graph->run(), S_OK);
    const auto event = run.graph->nextEvent(test::kDeadline);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->code, EC_ERRORABORT);
    EXPECT_NE(run.source->figures().error.find("Out of memory"), std::string::npos) << run.source->figures().error;
}

TEST(TsFileSource, ALoopEndsWhenItsFileWasEmptied) {
    const test::TemporaryFile in(generated(0.5));
    Collecting run({in.path(), false, true});
    ASSERT_EQ(run.graph->run(), S_OK);
    ASSERT_TRUE(run.collector->waitForSamples(1000)) << "more than one pass";
    std::ofstream(in.path(), std::ios::trunc).close();
    EXPECT_TRUE(run.collector->waitForEnd());
}

TEST(TsFileSource, InputsWithoutAPaceAreRefused) {
    std::vector<std::uint8_t> nothing;
    for (int i = 0; i < 1000; ++i) {
        const auto packet = nullPacket();
        nothing.insert(nothing.end(), packet.begin(), packet.end());
    }
    const test::TemporaryFile in(nothing);
    EXPECT_THROW(TsFileSource::create({in.path(), true, false}), std::runtime_error);
    EXPECT_THROW(FileSink::create("/no/such/place/file"), std::runtime_error);
}

}  // namespace
