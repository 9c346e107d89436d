#include "media/output_queue.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <thread>
#include <tuple>

#include "media/mem_allocator.h"
#include "support/test_filters.h"

using mcgate::platform::ComPtr;
using test::CollectingFilter;
using test::FeedingFilter;
using test::PinConnection;

namespace {

using Calls = std::vector<std::string>;

/// Feeder, queue and collector; the feeder's pool tells whether every sample came back.
class OutputQueue : public testing::Test {
protected:
    static constexpr std::int32_t kPool = 8;

    void SetUp() override {
        ASSERT_EQ(connection.status(), S_OK);
        ASSERT_EQ(collector->Pause(), S_OK);
        ASSERT_EQ(feeder->Pause(), S_OK);
    }
    void TearDown() override {
        collector->release();
        queue.reset();
        EXPECT_EQ(freeSamples(), kPool) << "a sample was not released";
        collector->Stop();
        feeder->Stop();
    }
    void makeQueue(bool threaded, OutputQueueSettings settings = {}) {
        settings.automatic = false;
        settings.queue = threaded;
        queue = std::make_unique<COutputQueue>(collector->input(), nullptr, settings);
        ASSERT_EQ(queue->hasThread(), threaded);
    }
    HRESULT put(std::uint8_t byte) {
        ComPtr<IMediaSample> sample;
        EXPECT_EQ(feeder->makeSample({byte}, {}, sample), S_OK);
        return queue->Receive(sample.detach());
    }
    void waitUntilIdle() {
        ASSERT_TRUE(test::eventually([this] { return queue->IsIdle(); }));
    }
    /// As many samples as the pool has, or fewer, the first of them held in its delivery.
    void putBehindAHeldOne(std::uint8_t count) {
        makeQueue(true);
        collector->block();
        for (std::uint8_t i = 0; i < count; ++i) EXPECT_EQ(put(i), S_OK);  // none of them waits
        ASSERT_TRUE(collector->waitUntilBlocked());
    }
    void expectToWaitForTheRelease(const std::function<void()>& call) {
        auto waiting = std::async(std::launch::async, call);
        EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
        collector->release();
        ASSERT_EQ(waiting.wait_for(test::kDeadline), std::future_status::ready);
    }
    std::int32_t freeSamples() { return static_cast<CMemAllocator*>(feeder->output()->allocator())->freeCount(); }

    ComPtr<FeedingFilter> feeder{
        new FeedingFilter(CMediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT), kPool, 64)};
    ComPtr<CollectingFilter> collector{new CollectingFilter};
    PinConnection connection{feeder->output(), collector->input()};
    std::unique_ptr<COutputQueue> queue;
};

}  // namespace

TEST(GrowingRing, KeepsTheOrderWhereverItGrows) {
    mcgate::foundation::GrowingRing<int> ring(3);
    int in = 0;
    int out = 0;
    for (int round = 0; round < 40; ++round) {
        for (int i = 0; i < 5; ++i) ring.push(in++);
        for (int i = 0; i < 3; ++i) ASSERT_EQ(ring.pop(), out++);
    }
    while (!ring.empty()) ASSERT_EQ(ring.pop(), out++);
    EXPECT_EQ(out, in);
}

TEST_F(OutputQueue, TheDownstreamPinChoosesBetweenThreadAndDirectDelivery) {
    const std::tuple<HRESULT, bool, bool> rows[] = {
        {S_OK, false, true}, {S_FALSE, true, false}, {E_FAIL, false, false}, {E_FAIL, true, true}};
    for (const auto& [canBlock, wished, threaded] : rows) {
        collector->answerCanBlock(canBlock);
        OutputQueueSettings settings;
        settings.queue = wished;
        HRESULT status = S_OK;
        EXPECT_EQ(COutputQueue(collector->input(), &status, settings).hasThread(), threaded);
        EXPECT_EQ(status, S_OK);
    }
    HRESULT status = S_OK;
    COutputQueue wrong(feeder->output(), &status, {});
    EXPECT_TRUE(FAILED(status));
    EXPECT_FALSE(wrong.hasThread());
    wrong.WaitUntilEmpty();
}

TEST_F(OutputQueue, DirectDeliveryHappensOnTheCallersThread) {
    makeQueue(false);
    EXPECT_EQ(put(1), S_OK);
    queue->EOS();
    queue->WaitUntilEmpty();
    EXPECT_EQ(collector->calls(), (Calls{"sample", "end"}));
    EXPECT_EQ(collector->samples()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(freeSamples(), kPool);
}

TEST_F(OutputQueue, EndOfStreamComesBehindAllSamplesAndCanBeWaitedFor) {
    putBehindAHeldOne(kPool);
    queue->NewSegment(0, 1, 1.0);
    queue->EOS();
    EXPECT_FALSE(queue->IsIdle());
    expectToWaitForTheRelease([this] { queue->WaitUntilEmpty(); });
    Calls expected(kPool, "sample");
    expected.insert(expected.end(), {"segment", "end"});
    EXPECT_EQ(collector->calls(), expected);
    EXPECT_NE(collector->samples()[0].thread, std::this_thread::get_id());
}

TEST_F(OutputQueue, AnEmptyListIsNotWaitedForWhateverIsDelivered) {
    putBehindAHeldOne(1);
    queue->WaitUntilEmpty();
    EXPECT_FALSE(queue->IsIdle());
    EXPECT_EQ(collector->sampleCount(), 0U);
}

TEST_F(OutputQueue, AStatusOtherThanOkSticksAndEndsTheStream) {
    for (const bool threaded : {false, true}) {
        for (const HRESULT answer : {E_FAIL, S_FALSE}) {
            makeQueue(threaded);
            collector->failWith(answer);
            const HRESULT first = put(1);
            if (!threaded) {
                EXPECT_EQ(first, answer);
            }
            queue->EOS();
            waitUntilIdle();
            collector->failWith(S_OK);
            EXPECT_EQ(put(2), answer);
            queue->EOS();
            EXPECT_EQ(freeSamples(), kPool);
            EXPECT_EQ(collector->calls(), Calls{});
        }
    }
}

TEST_F(OutputQueue, WhatDownstreamThrowsEndsNoThread) {
    collector->throwAtCommands();
    for (const bool threaded : {true, false}) {
        makeQueue(threaded);
        queue->NewSegment(0, 1, 1.0);
        queue->EOS();
        queue->WaitUntilEmpty();
    }
    waitUntilIdle();
    queue.reset();
    EXPECT_EQ(collector->calls(), (Calls{"segment", "end", "segment", "end"}));
}

TEST_F(OutputQueue, TheDestructorReleasesWhatIsLeft) {
    putBehindAHeldOne(kPool);
    expectToWaitForTheRelease([this] { queue.reset(); });
    EXPECT_EQ(collector->sampleCount(), 1U);
    EXPECT_EQ(freeSamples(), kPool);
}

TEST_F(OutputQueue, BatchesAreSentWhenFullOrWhenAsked) {
    OutputQueueSettings settings;
    settings.batchSize = 3;
    settings.batchExact = true;
    std::vector<std::int32_t> expected;
    for (const bool threaded : {false, true}) {
        makeQueue(threaded, settings);
        const std::size_t before = collector->sampleCount();
        for (std::uint8_t i = 0; i < 5; ++i) {
            put(i);
            queue->WaitUntilEmpty();  // the worker sees each sample alone
        }
        ASSERT_TRUE(collector->waitForSamples(before + 3));
        EXPECT_FALSE(queue->IsIdle());
        queue->SendAnyway();
        ASSERT_TRUE(collector->waitForSamples(before + 5));
        put(6);
        queue->EOS();
        ASSERT_TRUE(collector->waitForSamples(before + 6));
        expected.insert(expected.end(), {3, 2, 1});
        EXPECT_EQ(collector->batches(), expected);
    }
    settings.batchExact = false;
    makeQueue(true, settings);
    put(1);
    EXPECT_TRUE(collector->waitForSamples(13));  // a lone sample does not wait for company
}

TEST_F(OutputQueue, AFlushDropsWhatIsQueuedAndOpensTheStreamAgain) {
    putBehindAHeldOne(4);
    collector->failWith(S_FALSE);  // what the held delivery will say
    queue->BeginFlush();
    queue->WaitUntilEmpty();
    EXPECT_EQ(collector->flushes(), 1);
    EXPECT_EQ(put(9), S_FALSE);
    queue->EOS();
    // The delivery that began before the flush must end first, or its status would stick to the new stream.
    expectToWaitForTheRelease([this] { queue->EndFlush(); });
    collector->failWith(S_OK);
    EXPECT_EQ(put(10), S_OK);
    ASSERT_TRUE(collector->waitForSamples(1));
    EXPECT_EQ(collector->calls(), (Calls{"begin flush", "end flush", "sample"}));
    EXPECT_EQ(collector->bytes(), std::vector<std::uint8_t>{10});

    makeQueue(false);
    queue->BeginFlush();
    EXPECT_EQ(put(11), S_FALSE);
    queue->EndFlush();
    EXPECT_EQ(put(12), S_OK);
    EXPECT_EQ(collector->bytes(), (std::vector<std::uint8_t>{10, 12}));
}

TEST_F(OutputQueue, AFlushWithNothingToFlushCanBeKeptBack) {
    OutputQueueSettings settings;
    settings.flushingOption = true;
    makeQueue(true, settings);
    queue->BeginFlush();
    queue->EndFlush();
    EXPECT_EQ(collector->flushes(), 0);
    put(1);
    queue->BeginFlush();
    queue->EndFlush();
    EXPECT_EQ(collector->flushes(), 1);
}

TEST_F(OutputQueue, CarriesALongStreamInOrder) {
    OutputQueueSettings settings;
    settings.listSize = kPool + 1;
    makeQueue(true, settings);
    constexpr std::uint32_t kSamples = 200'000;
    for (std::uint32_t i = 0; i < kSamples; ++i) {
        if (put(static_cast<std::uint8_t>(i)) != S_OK) FAIL() << "sample " << i;
    }
    queue->EOS();
    ASSERT_TRUE(collector->waitForEnd());
    const auto bytes = collector->bytes();
    ASSERT_EQ(bytes.size(), kSamples);
    for (std::uint32_t i = 0; i < kSamples; ++i) ASSERT_EQ(bytes[i], static_cast<std::uint8_t>(i));
}
