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

bool waitForEnd(FilterGraph& graph) {
    const auto event = graph.nextEvent(test::kDeadline);
    return event && event->code == EC_COMPLETE;
}

TEST(TsFileSource, AFileArrivesWholeWithItsPaddingBehind) {
    const auto content = generated(3.0);
    const test::TemporaryFile in(content);
    const test::TemporaryFile out;
    const auto graph = FilterGraph::create();
    const auto source = TsFileSource::create({in.path(), false, false});
    EXPECT_NEAR(source->bitRate(), 4'000'000, 20'000);
    const auto sink = FileSink::create(out.path());
    ASSERT_EQ(graph->addFilter(source.get(), "source"), S_OK);
    ASSERT_EQ(graph->addFilter(sink.get(), "sink"), S_OK);
    ASSERT_EQ(graph->connect(source->GetPin(0), sink->GetPin(0)), S_OK);
    ASSERT_EQ(graph->run(), S_OK);
    ASSERT_TRUE(waitForEnd(*graph));
    graph->tearDown();
    auto expected = content;
    for (int i = 0; i < 7; ++i) {
        const auto padding = nullPacket();
        expected.insert(expected.end(), padding.begin(), padding.end());
    }
    EXPECT_EQ(out.content(), expected);
    EXPECT_EQ(source->figures().bytes, content.size());
    EXPECT_EQ(sink->figures().stream.continuityErrors, 0U);
}

TEST(TsFileSource, SamplesAreStampedNumberedAndAtMostASecondAhead) {
    const test::TemporaryFile in(generated(4.0));
    const auto graph = FilterGraph::create();
    const auto source = TsFileSource::create({in.path(), true, false});
    const mcgate::platform::ComPtr<test::CollectingFilter> collector(new test::CollectingFilter);
    ASSERT_EQ(graph->addFilter(source.get(), "source"), S_OK);
    ASSERT_EQ(graph->addFilter(collector.get(), "collector"), S_OK);
    ASSERT_EQ(graph->connect(source->GetPin(0), collector->input()), S_OK);
    ASSERT_EQ(graph->run(), S_OK);
    ASSERT_TRUE(collector->waitForSamples(500));
    graph->stop();
    const auto samples = collector->samples();
    const double perSample = 7 * 188 * 8 / 4'000'000.0 * kTicksPerSecond;
    for (std::size_t i = 0; i < 500; ++i) {
        EXPECT_NEAR(static_cast<double>(samples[i].start), static_cast<double>(i) * perSample, 2'000) << i;
        EXPECT_EQ(samples[i].dataId, i + 1);
        EXPECT_EQ(samples[i].discontinuity, i == 0);
        const std::chrono::duration<double> since = samples[i].arrived - samples[0].arrived;
        EXPECT_GE(since.count(), static_cast<double>(samples[i].start) / kTicksPerSecond - 1.01) << i;
    }
    graph->tearDown();
}

/// A source that sends as fast as it can to a collector.
struct Collecting {
    Collecting(const std::string& path, bool loop) : source(TsFileSource::create({path, false, loop})) {
        EXPECT_EQ(graph->addFilter(source.get(), "source"), S_OK);
        EXPECT_EQ(graph->addFilter(collector.get(), "collector"), S_OK);
        EXPECT_EQ(graph->connect(source->GetPin(0), collector->input()), S_OK);
    }
    ~Collecting() { graph->tearDown(); }

    const mcgate::platform::ComPtr<FilterGraph> graph = FilterGraph::create();
    const mcgate::platform::ComPtr<TsFileSource> source;
    const mcgate::platform::ComPtr<test::CollectingFilter> collector{new test::CollectingFilter};
};

TEST(TsFileSource, AnInputThatBreaksOffArrivesUpToThereAndTellsWhy) {
    const auto good = generated(1.0);
    auto content = good;
    for (int i = 0; i < 100; ++i) {
        content.insert(content.end(), 4, 0x11);
        content.insert(content.end(), good.begin() + i * 188, good.begin() + (i + 1) * 188);
    }
    const test::TemporaryFile in(content);
    Collecting run(in.path(), false);
    ASSERT_EQ(run.graph->run(), S_OK);
    ASSERT_TRUE(run.collector->waitForEnds(1));
    auto came = run.collector->bytes();
    EXPECT_EQ(came.size(), good.size() + 7 * kPacketSize) << "padding pushes the last bytes out";
    came.resize(good.size());
    EXPECT_EQ(came, good);
    EXPECT_NE(run.source->figures().error.find("packets of 192 bytes"), std::string::npos);
}

TEST(TsFileSource, ARefusedSampleEndsTheRunWithAReason) {
    const test::TemporaryFile in(generated(1.0));
    Collecting run(in.path(), false);
    run.collector->failWith(E_OUTOFMEMORY);
    ASSERT_EQ(run.graph->run(), S_OK);
    const auto event = run.graph->nextEvent(test::kDeadline);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->code, EC_ERRORABORT);
    EXPECT_NE(run.source->figures().error.find("Out of memory"), std::string::npos) << run.source->figures().error;
}

TEST(TsFileSource, ALoopEndsWhenItsFileWasEmptied) {
    const test::TemporaryFile in(generated(0.5));
    Collecting run(in.path(), true);
    ASSERT_EQ(run.graph->run(), S_OK);
    ASSERT_TRUE(run.collector->waitForSamples(1000)) << "more than one pass";
    std::ofstream(in.path(), std::ios::trunc).close();
    EXPECT_TRUE(run.collector->waitForEnds(1));
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
