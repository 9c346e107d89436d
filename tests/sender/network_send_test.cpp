#include "sender/network_send.h"

#include <gtest/gtest.h>

#include <functional>

#include "media/mem_allocator.h"
#include "platform/clock.h"
#include "support/configuration.h"
#include "support/crossing.h"
#include "support/fake_udp_sender.h"
#include "support/recording_log.h"
#include "support/test_filters.h"

namespace {

using mcgate::platform::ComPtr;
using Ids = std::vector<std::uint64_t>;
using Levels = std::vector<std::uint32_t>;
using test::Crossing;
using Milliseconds = std::chrono::milliseconds;

constexpr std::int64_t kLongMs = 30'000;  // longer than a test waits

CMediaType transportType(std::uint32_t bitRate) {
    CMediaType type(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
    const AM_MPEGSYSTEMTYPE block{bitRate, 0};
    type.SetFormat(FORMAT_MPEGStreams, &block, sizeof block);
    return type;
}

/// The graph's clock, which runs with the system's; counts its readers. The send loop reads it for each paced sample.
class SteadyClock final : public IReferenceClock {
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return ++references_; }
    std::uint32_t Release() override { return --references_; }
    HRESULT GetTime(REFERENCE_TIME* time) override {
        *time = mcgate::platform::monotonicTime();
        ++reads;
        return S_OK;
    }
    bool isHeld() const { return references_ != 0; }
    bool waitForRead() const {
        return test::eventually([this] { return reads > 0; });
    }
    std::atomic<int> reads{0};

private:
    std::atomic<std::uint32_t> references_{0};
};

struct NetworkSendTest : testing::Test {
    test::RecordingLog log;
    test::FakeNetwork network;
    test::FakeGraph graph;
    Crossing input;
    Crossing output;
    SteadyClock clock;
    HRESULT status = S_OK;
    ComPtr<CNetworkSend> filter{new CNetworkSend(nullptr, &status, network.maker())};
    ComPtr<test::FeedingFilter> feeder{new test::FeedingFilter(transportType(0), 4)};
    std::unique_ptr<test::PinConnection> connection;

    void SetUp() override {
        ASSERT_EQ(status, S_OK);
        filter->SetLogPerf(&log);
        filter->JoinFilterGraph(&graph, u"sender");
    }
    void TearDown() override {
        input.hold(false);
        output.hold(false);
        filter->Stop();
        feeder->Stop();
        if (connection) connection->disconnect();
        filter->JoinFilterGraph(nullptr, nullptr);
        filter->SetLogPerf(nullptr);
    }
    void connect() {
        connection = std::make_unique<test::PinConnection>(feeder->output(), filter->GetPin(0));
        ASSERT_EQ(connection->status(), S_OK);
    }
    void run() {
        std::int32_t index = -1;
        ASSERT_EQ(filter->AddDestination(u"127.0.0.1", 9, u"127.0.0.1", &index), S_OK);
        connect();
        ASSERT_EQ(filter->Run(0), S_OK);
        ASSERT_EQ(feeder->Run(0), S_OK);
    }
    /// One sample that leaves as one datagram. A pool that has run dry is a failure, not a wait.
    HRESULT feed(std::uint64_t id, test::FeedOptions options = {}) {
        options.dataId = id;
        options.bufferFlags = AM_GBF_NOWAIT;
        return feeder->deliver(std::vector<std::uint8_t>(1500), options);
    }
    /// Running, the loop past its start and idle after the sample 1, which no clock held back; now there is a clock.
    void runWithClock() {
        filter->SetOutputCrossingCallback(&output);
        run();
        ASSERT_EQ(feed(1), S_OK);
        ASSERT_TRUE(output.waitForCount(1));
        ASSERT_EQ(filter->SetSyncSource(&clock), S_OK);
    }
    /// The loop stands in the output crossing of the sample 1; a paced sample would now wait for kLongMs.
    void runWithLoopHeld() {
        output.hold(true);
        runWithClock();
        ASSERT_EQ(filter->SetTimeOffset(kLongMs), S_OK);
    }
    /// The loop has let go of every sample.
    bool waitUntilPoolIsFree() {
        auto& pool = dynamic_cast<CMemAllocator&>(*feeder->output()->allocator());
        ALLOCATOR_PROPERTIES properties;
        pool.GetProperties(&properties);
        return test::eventually([&] { return pool.freeCount() == properties.cBuffers; });
    }
};

TEST_F(NetworkSendTest, WithoutDestinationsPauseFailsAndTellsWhy) {
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_EQ(filter->Run(0), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());
    EXPECT_EQ(log.levels("Unable to start net sender: unable to create UDP senders"), (Levels{0, 0}));
    filter->SetDestination(0, u"nonsense", 5, u"127.0.0.1");
    EXPECT_EQ(log.levels("Invalid dest address: getaddrinfo failed with "), Levels{1});
    std::int32_t index = 5;
    ASSERT_EQ(filter->AddDestination(u"127.0.0.1", 9, u"127.0.0.1", &index), S_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(filter->SetDestination(0, u"nonsense", 5, u"also"), S_OK) << "looked at only when the filter starts";
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());
}

TEST_F(NetworkSendTest, TheListKeepsItsRules) {
    std::int32_t index = 7;
    EXPECT_EQ(filter->RemoveDestination(0), S_FALSE);
    EXPECT_EQ(filter->AddDestination(u"239.1.1.1", 9, u"224.0.0.1", &index), E_FAIL);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(filter->SetDestination(5, u"239.1.1.1", 70000, u"127.0.0.1"), S_OK);
    EXPECT_EQ(filter->RemoveDestination(0), S_FALSE) << "the only one stays";
    EXPECT_EQ(filter->AddDestination(u"ff15::1", 9, u"::1", &index), S_OK);
    EXPECT_EQ(filter->SetDestination(-1, u"239.1.1.1", 9, u"127.0.0.1"), E_INVALIDARG);
    EXPECT_EQ(test::destinationOf(*filter, 0), "239.1.1.1:4464@127.0.0.1");
    EXPECT_EQ(test::destinationOf(*filter, 2), "none");
    EXPECT_EQ(test::destinationOf(*filter, -1), "none");
    EXPECT_EQ(filter->RemoveDestination(0), S_OK);
    EXPECT_EQ(filter->RemoveDestination(0), S_FALSE);
}

TEST_F(NetworkSendTest, ThePinAcceptsThreeTypesAndAsksForThirtySeconds) {
    auto& pin = *static_cast<CInputPin*>(filter->GetPin(0));
    EXPECT_EQ(filter->GetPin(1), nullptr);
    CMediaType type;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(pin.GetMediaType(i, &type), S_OK);
        EXPECT_EQ(pin.CheckMediaType(&type), i == 1 ? S_FALSE : S_OK) << "the transport stream needs its format";
    }
    EXPECT_EQ(pin.GetMediaType(3, &type), VFW_S_NO_MORE_ITEMS);
    const std::pair<std::uint32_t, std::int32_t> requirements[] = {
        {0, 0}, {8'000'000, 117'187}, {8'000'007, 117'187}, {2'000'000'000, 29'296'875}};
    for (const auto& [rate, buffers] : requirements) {
        type = transportType(rate);
        ASSERT_EQ(pin.SetMediaType(&type), S_OK);
        ALLOCATOR_PROPERTIES asked;
        pin.GetAllocatorRequirements(&asked);
        EXPECT_EQ(asked.cBuffers, buffers);
        EXPECT_EQ(asked.cbBuffer, 256);
        EXPECT_EQ(asked.cbAlign, 32);
    }
}

TEST_F(NetworkSendTest, TheConnectionsTypeMakesThePrivateStream) {
    const CMediaType type(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
    feeder = ComPtr<test::FeedingFilter>(new test::FeedingFilter(type));
    run();
    ASSERT_EQ(feeder->deliver({1, 2, 3, 4, 5, 6, 7, 8}, {.start = 9}), S_OK);
    ASSERT_TRUE(network.waitForDatagramsAt(0, 1));
    EXPECT_EQ(network.bytes(), (std::vector<std::uint8_t>{9, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(NetworkSendTest, SamplesCrossInOrderEachPointOnItsOwnThread) {
    feeder = ComPtr<test::FeedingFilter>(new test::FeedingFilter(transportType(0), 64));
    filter->SetInputCrossingCallback(&input);
    filter->SetOutputCrossingCallback(&output);
    std::thread::id sender;
    std::vector<std::size_t> sent;
    input.onCrossing = [caller = std::this_thread::get_id()](std::uint64_t) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
    };
    output.onCrossing = [&](std::uint64_t) {
        if (sender == std::thread::id()) sender = std::this_thread::get_id();
        EXPECT_EQ(std::this_thread::get_id(), sender);
        sent.push_back(network.datagrams().size());
    };
    run();
    output.hold(true);  // the loop stands with the first sample, the others queue up
    Ids all;
    for (std::uint64_t id = 1; id <= 50; ++id) {
        ASSERT_EQ(feed(id), S_OK);
        all.push_back(id);
        EXPECT_EQ(input.all(), all);
    }
    output.hold(false);
    ASSERT_TRUE(output.waitForCount(50));
    EXPECT_EQ(output.all(), all);
    for (std::size_t i = 0; i < sent.size(); ++i) EXPECT_EQ(sent[i], i + 1) << "the bytes leave first";
    EXPECT_NE(sender, std::this_thread::get_id());
}

TEST_F(NetworkSendTest, CrossingsAreUnpluggedUnderTrafficAndTheirObjectsMayGo) {
    run();
    std::atomic<bool> ending{false};
    std::thread traffic([&] {
        for (std::uint64_t id = 1; !ending; ++id) feed(id);  // a full pool drops; that is traffic, too
    });
    for (int round = 0; round < 200; ++round) {
        auto in = std::make_unique<Crossing>();
        auto out = std::make_unique<Crossing>();
        filter->SetInputCrossingCallback(in.get());
        filter->SetOutputCrossingCallback(out.get());
        if (round % 2 == 0) {
            EXPECT_TRUE(in->waitForCount(1) && out->waitForCount(1));
        }
        filter->SetInputCrossingCallback(nullptr);
        filter->SetOutputCrossingCallback(nullptr);
    }
    ending = true;
    traffic.join();
}

TEST_F(NetworkSendTest, TheEndOfTheStreamIsToldOnce) {
    run();
    feeder->deliverEndOfStream();
    feeder->deliverEndOfStream();
    EXPECT_EQ(graph.count(EC_COMPLETE), 1);
}

TEST_F(NetworkSendTest, ADiscontinuitySendsWhatIsQueuedUnpaced) {
    runWithLoopHeld();
    ASSERT_EQ(feed(2, {.start = 0}), S_OK);
    EXPECT_EQ(log.count("Flush"), 0);
    ASSERT_EQ(feed(3, {.start = 0, .discontinuity = true}), S_OK);
    EXPECT_EQ(log.levels("Flush start"), Levels{2});
    EXPECT_EQ(log.count("Flush end"), 0);
    output.hold(false);
    ASSERT_TRUE(output.waitForCount(3));
    ASSERT_TRUE(log.waitFor("Flush end"));
    EXPECT_EQ(log.levels("Flush end"), Levels{2});
    EXPECT_EQ(clock.reads, 0) << "neither was paced";
}

TEST_F(NetworkSendTest, TheFlushIsSetBeforeTheInputCrossingAndTheSampleQueuedAfterIt) {
    filter->SetInputCrossingCallback(&input);
    runWithLoopHeld();
    ASSERT_EQ(feed(2, {.start = 0}), S_OK);
    input.onCrossing = [this](std::uint64_t id) {
        EXPECT_EQ(id, 3U);
        output.hold(false);
        EXPECT_TRUE(output.waitForCount(2)) << "without the flush it is held";
        EXPECT_TRUE(log.waitFor("Flush end")) << "the loop found the queue empty";
        EXPECT_EQ(output.all(), (Ids{1, 2}));
        filter->SetTimeOffset(0);
    };
    ASSERT_EQ(feed(3, {.start = 0, .discontinuity = true}), S_OK);
    EXPECT_TRUE(output.waitForCount(3));
}

TEST_F(NetworkSendTest, AFullPoolDropsUntilThereIsRoomAndStartsNoFlush) {
    filter->SetInputCrossingCallback(&input);
    filter->SetOutputCrossingCallback(&output);
    run();
    ASSERT_EQ(feed(1, {.discontinuity = true}), S_OK);
    ASSERT_TRUE(log.waitFor("Flush end"));
    std::size_t out = 1;
    for (std::size_t episode = 1; episode <= 2; ++episode) {
        ASSERT_TRUE(output.waitForCount(out));
        ASSERT_TRUE(waitUntilPoolIsFree());
        output.hold(true);  // the loop stands with the first sample
        for (std::uint64_t id = 2; id <= 4; ++id) {
            ASSERT_EQ(feed(id), S_OK);
            ASSERT_TRUE(output.waitForCount(out + 1));
        }
        EXPECT_EQ(log.levels("started dropping"), Levels(episode - 1, 1));
        const auto entered = input.all();
        for (int i = 0; i < 5; ++i) EXPECT_EQ(feed(99, {.discontinuity = true}), S_OK);
        EXPECT_EQ(input.all(), entered) << "four buffers queue three";
        EXPECT_EQ(log.levels("input queue full, started dropping samples"), Levels(episode, 1));
        EXPECT_EQ(log.levels("stopped dropping samples"), Levels(episode - 1, 1));
        output.hold(false);
        ASSERT_TRUE(waitUntilPoolIsFree());
        ASSERT_EQ(feed(5), S_OK);
        ASSERT_EQ(feed(6), S_OK);
        EXPECT_EQ(log.levels("input queue full, started dropping samples"), Levels(episode, 1));
        EXPECT_EQ(log.levels("stopped dropping samples"), Levels(episode, 1));
        out += 5;
    }
    ASSERT_TRUE(output.waitForCount(out));
    EXPECT_EQ(output.all(), (Ids{1, 2, 3, 4, 5, 6, 2, 3, 4, 5, 6}));
    EXPECT_EQ(log.levels("Flush start"), Levels{2}) << "the first sample's";
    EXPECT_EQ(log.levels("Flush end"), Levels{2});
}

TEST_F(NetworkSendTest, APoolOfOneBufferDropsEverySample) {
    feeder = ComPtr<test::FeedingFilter>(new test::FeedingFilter(transportType(0), 1));
    filter->SetInputCrossingCallback(&input);
    run();
    for (std::uint64_t id = 1; id <= 3; ++id) EXPECT_EQ(feed(id), S_OK);
    EXPECT_EQ(input.all(), Ids{}) << "the sample itself holds the only buffer";
    EXPECT_EQ(log.levels("started dropping"), Levels{1});
    EXPECT_EQ(log.count("stopped dropping"), 0);
    EXPECT_TRUE(network.datagrams().empty());
}

TEST_F(NetworkSendTest, ASampleThatComesDuringThePinsFlushIsQueuedLikeAnyOther) {
    filter->SetOutputCrossingCallback(&output);
    run();
    auto& pin = *static_cast<CInputPin*>(filter->GetPin(0));
    ASSERT_EQ(pin.BeginFlush(), S_OK);
    EXPECT_EQ(feed(1), S_OK);
    EXPECT_TRUE(output.waitForCount(1));
    EXPECT_EQ(network.sizes(), std::vector<std::size_t>{1500});
    ASSERT_EQ(pin.EndFlush(), S_OK);
    EXPECT_EQ(log.count("Flush"), 0) << "the sender's own flush is another thing";
}

TEST_F(NetworkSendTest, TheTimeOffsetIsAHoldBackInMilliseconds) {
    runWithClock();
    ASSERT_EQ(filter->SetTimeOffset(1100), S_OK);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(feed(2, {.start = 0}), S_OK);
    ASSERT_TRUE(output.waitForCount(2));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, Milliseconds(1090));
    // Whatever grew before has settled in that time, so the next empty queue begins a new series.
    EXPECT_TRUE(log.waitFor("Time offset stabilizing from 1100+"));
}

TEST_F(NetworkSendTest, OnlyOneTurnsPacingOn) {
    runWithClock();
    ASSERT_EQ(filter->SetTimeOffset(kLongMs), S_OK);
    std::uint64_t id = 1;
    for (const std::int32_t off : {0, 2, -1}) {
        EXPECT_EQ(filter->EnablePacing(1), S_OK);
        EXPECT_EQ(filter->EnablePacing(off), S_OK);
        ASSERT_EQ(feed(++id, {.start = 0}), S_OK);
        ASSERT_TRUE(output.waitForCount(id)) << "held back with " << off;
    }
    EXPECT_EQ(clock.reads, 0);
    EXPECT_EQ(filter->EnablePacing(1), S_OK);
    ASSERT_EQ(feed(++id, {.start = 0}), S_OK);
    EXPECT_TRUE(clock.waitForRead());
}

TEST_F(NetworkSendTest, ADestructionDuringALongWaitEndsAtOnceWithTheSampleUnsent) {
    runWithClock();
    ASSERT_EQ(filter->SetTimeOffset(kLongMs), S_OK);
    ASSERT_EQ(feed(2, {.start = 0}), S_OK);
    ASSERT_TRUE(clock.waitForRead());  // the loop counts how long to hold it
    filter->Stop();
    feeder->Stop();
    connection->disconnect();
    connection.reset();
    filter->JoinFilterGraph(nullptr, nullptr);
    EXPECT_EQ(output.all(), Ids{1}) << "still held";
    const auto begin = std::chrono::steady_clock::now();
    filter.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_FALSE(clock.isHeld()) << "the filter is gone";
    EXPECT_EQ(output.all(), Ids{1});
    EXPECT_EQ(network.datagrams().size(), 1U);
    filter = ComPtr<CNetworkSend>(new CNetworkSend(nullptr, &status, network.maker()));
}

}  // namespace
