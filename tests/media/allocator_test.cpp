#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "media/media_sample.h"
#include "media/mem_allocator.h"
#include "support/eventually.h"

using mcgate::platform::ComPtr;

namespace {

constexpr ALLOCATOR_PROPERTIES kFourSmall{4, 100, 32, 0};

HRESULT setProperties(CMemAllocator& pool, ALLOCATOR_PROPERTIES request) {
    ALLOCATOR_PROPERTIES actual;
    return pool.SetProperties(&request, &actual);
}

ComPtr<CMemAllocator> makePool(ALLOCATOR_PROPERTIES request = kFourSmall) {
    ComPtr<CMemAllocator> pool(new CMemAllocator(nullptr));
    EXPECT_EQ(setProperties(*pool, request), S_OK);
    return pool;
}

ComPtr<IMediaSample> take(CMemAllocator& pool) {
    ComPtr<IMediaSample> sample;
    EXPECT_EQ(pool.GetBuffer(sample.put(), nullptr, nullptr, AM_GBF_NOWAIT), S_OK);
    return sample;
}

HRESULT tryTake(CMemAllocator& pool) {
    ComPtr<IMediaSample> sample;
    return pool.GetBuffer(sample.put(), nullptr, nullptr, AM_GBF_NOWAIT);
}

/// Runs GetBuffer on a thread of its own and returns once that waits.
class WaitingTaker {
public:
    WaitingTaker(CMemAllocator& pool, std::uint32_t flags)
        : thread_([this, &pool, flags] { status_ = pool.GetBuffer(sample_.put(), nullptr, nullptr, flags); }) {
        EXPECT_TRUE(test::eventually([&pool] { return pool.waiterCount() > 0; })) << "GetBuffer does not wait";
    }
    HRESULT join() {
        thread_.join();
        return status_;
    }

private:
    ComPtr<IMediaSample> sample_;
    HRESULT status_ = E_UNEXPECTED;
    std::thread thread_;
};

// Takers and returners have a list each: none may sleep while the other list holds a sample, and every decommit must
// end every wait.
TEST(MemAllocator, ManyThreadsFindEverySampleWhereverItIsAndHaveItAlone) {
    const ComPtr<CMemAllocator> pool = makePool({3, 64, 1, 0});
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(pool->Commit(), S_OK);
        std::atomic<int> taken{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&, i] {
                for (;;) {
                    ComPtr<IMediaSample> sample;
                    const HRESULT status = pool->GetBuffer(sample.put(), nullptr, nullptr, i == 0 ? AM_GBF_NOWAIT : 0);
                    if (status == VFW_E_NOT_COMMITTED) return;
                    if (status != S_OK) continue;
                    std::uint8_t* data = nullptr;
                    sample->GetPointer(&data);
                    std::fill(data, data + 64, static_cast<std::uint8_t>(i));
                    EXPECT_EQ(std::count(data, data + 64, static_cast<std::uint8_t>(i)), 64);
                    ++taken;
                }
            });
        }
        EXPECT_TRUE(test::eventually([&] { return taken >= 1000; })) << "somebody sleeps beside a free sample";
        pool->Decommit();
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(setProperties(*pool, {3, 64, 1, 0}), S_OK) << "all are back";
    }
}

}  // namespace

TEST(MemAllocator, SizesAreRoundedUpWithThePrefixAndBuffersAligned) {
    const std::pair<ALLOCATOR_PROPERTIES, std::int32_t> rows[] = {{{2, 100, 32, 0}, 128},
                                                                  {{2, 128, 32, 0}, 128},
                                                                  {{2, 100, 32, 8}, 120},
                                                                  {{2, 7, 1, 3}, 7},
                                                                  {{1, 1, 4096, 0}, 4096}};
    for (auto [request, bytes] : rows) {
        const ComPtr<CMemAllocator> pool(new CMemAllocator(nullptr));
        ALLOCATOR_PROPERTIES actual;
        ASSERT_EQ(pool->SetProperties(&request, &actual), S_OK);
        EXPECT_EQ(actual.cbBuffer, bytes);
        EXPECT_EQ(actual.cbPrefix, request.cbPrefix);
        ASSERT_EQ(pool->Commit(), S_OK);
        const ComPtr<IMediaSample> sample = take(*pool);
        std::uint8_t* data = nullptr;
        ASSERT_EQ(sample->GetPointer(&data), S_OK);
        EXPECT_EQ(sample->GetSize(), bytes);
        const auto start = reinterpret_cast<std::intptr_t>(data) - request.cbPrefix;
        EXPECT_EQ(start % request.cbAlign, 0);
        pool->Decommit();
    }
}

TEST(MemAllocator, RefusesWhatCannotBe) {
    const ComPtr<CMemAllocator> pool(new CMemAllocator(nullptr));
    EXPECT_EQ(pool->Commit(), VFW_E_SIZENOTSET);
    EXPECT_EQ(tryTake(*pool), VFW_E_NOT_COMMITTED);
    for (const std::int32_t alignment : {0, -1, 3, 8192}) {
        EXPECT_EQ(setProperties(*pool, {4, 100, alignment, 0}), VFW_E_BADALIGN) << alignment;
    }
    EXPECT_EQ(setProperties(*pool, {1, 0x7FFFFFFF, 32, 1}), E_OUTOFMEMORY);
    // No buffers is a legal wish that only the commit refuses.
    EXPECT_EQ(setProperties(*pool, {0, 256, 32, 0}), S_OK);
    EXPECT_EQ(pool->Commit(), VFW_E_SIZENOTSET);

    EXPECT_EQ(setProperties(*pool, kFourSmall), S_OK);
    ASSERT_EQ(pool->Commit(), S_OK);
    EXPECT_EQ(pool->Commit(), S_OK);
    EXPECT_EQ(setProperties(*pool, kFourSmall), VFW_E_ALREADY_COMMITTED);
    ComPtr<IMediaSample> sample = take(*pool);
    EXPECT_EQ(pool->Decommit(), S_OK);
    EXPECT_EQ(setProperties(*pool, kFourSmall), VFW_E_BUFFERS_OUTSTANDING);
    EXPECT_EQ(tryTake(*pool), VFW_E_NOT_COMMITTED);
    sample.reset();
    EXPECT_EQ(setProperties(*pool, kFourSmall), S_OK);
}

TEST(MemAllocator, ADryPoolTimesOutAndACommitTakesAPendingDecommitBack) {
    const ComPtr<CMemAllocator> pool = makePool();
    ASSERT_EQ(pool->Commit(), S_OK);
    std::vector<ComPtr<IMediaSample>> out;
    for (int i = 0; i < 4; ++i) out.push_back(take(*pool));
    EXPECT_EQ(tryTake(*pool), VFW_E_TIMEOUT);
    pool->Decommit();
    pool->Decommit();
    out.pop_back();
    ASSERT_EQ(pool->Commit(), S_OK);
    EXPECT_EQ(pool->freeCount(), 1);
    out.clear();
    EXPECT_EQ(pool->freeCount(), 4);
    pool->Decommit();
    EXPECT_EQ(pool->freeCount(), 0);
}

TEST(MemAllocator, LivesUntilItsLastSampleIsBack) {
    const std::int32_t before = CBaseObject::ObjectsActive();
    ComPtr<CMemAllocator> pool = makePool();
    ASSERT_EQ(pool->Commit(), S_OK);
    ComPtr<IMediaSample> sample = take(*pool);
    pool->Decommit();
    pool.reset();
    std::uint8_t* data = nullptr;
    ASSERT_EQ(sample->GetPointer(&data), S_OK);
    data[99] = 1;
    EXPECT_EQ(CBaseObject::ObjectsActive(), before + 1);
    sample.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(MemAllocator, DecommitOrAReturnedSampleEndsAWaitWhichASleepMayPrecede) {
    for (const std::uint32_t flags : {0U, AM_GBF_SLEEP_BEFORE_WAIT}) {
        const ComPtr<CMemAllocator> pool = makePool({1, 10, 1, 0});
        ASSERT_EQ(pool->Commit(), S_OK);
        ComPtr<IMediaSample> only = take(*pool);
        {
            const auto start = std::chrono::steady_clock::now();
            WaitingTaker taker(*pool, flags);
            const auto slept = std::chrono::steady_clock::now() - start;
            EXPECT_GE(slept, std::chrono::milliseconds(flags == AM_GBF_SLEEP_BEFORE_WAIT ? 40 : 0));
            pool->Decommit();
            EXPECT_EQ(taker.join(), VFW_E_NOT_COMMITTED);
        }
        ASSERT_EQ(pool->Commit(), S_OK);
        {
            WaitingTaker taker(*pool, flags);
            only.reset();
            EXPECT_EQ(taker.join(), S_OK);
        }
        pool->Decommit();
    }
}
