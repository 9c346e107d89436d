#include "streams/datagram_counter.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using mcgate::host::DatagramCounter;

TEST(DatagramCounter, CountsWhatLeftByTheRuleOf1500Bytes) {
    DatagramCounter counter;
    std::uint64_t last = 0;
    const auto enter = [&](std::size_t bytes) {
        counter.announce({++last, bytes});
        counter.input().OnDataCrossing(last);
    };
    enter(1316);
    enter(1316);
    counter.output().OnDataCrossing(1);
    EXPECT_EQ(counter.counts().datagrams, 0U) << "the first waits for one that doesn't fit";
    counter.output().OnDataCrossing(2);
    EXPECT_EQ(counter.counts().bytes, 1316U);

    enter(188);  // two that a discontinuity cut short share one
    enter(564);
    counter.announce({++last, 1316});  // dropped: never enters
    enter(1316);
    EXPECT_EQ(counter.counts().queued, 3U);
    counter.output().OnDataCrossing(last);  // while a destination fails none crosses; the next to cross stands for all
    const auto counts = counter.counts();
    EXPECT_EQ(counts.accepted, 5U);
    EXPECT_EQ(counts.queued, 0U);
    EXPECT_EQ(counts.datagrams, 3U);
    EXPECT_EQ(counts.bytes, 1316U + 1316U + 752U);
}

TEST(DatagramCounter, MeasuresTheSpacingOfWhatLeftAgainstTheStreamsTime) {
    std::int64_t now = 0;
    DatagramCounter counter([&now] { return now; });
    counter.restart(true);
    constexpr std::int64_t kMs = 10'000;
    // Every 10 ms one; one is 30 ms late, and behind a flush all are 200 ms later.
    for (std::int64_t i = 1; i <= 250; ++i) {
        const auto id = static_cast<std::uint64_t>(i);
        counter.announce({id, 1316, 10 * i * kMs, i == 101});
        counter.input().OnDataCrossing(id);
        now = (10 * i + (i == 20 ? 30 : i > 101 ? 200 : 0)) * kMs;
        counter.output().OnDataCrossing(id);
        if (i == 50) {
            EXPECT_FALSE(counter.spacing()) << "no second has passed";
        }
    }
    const auto figures = counter.spacing();
    ASSERT_TRUE(figures);
    EXPECT_GE(figures->samples, 190U);
    EXPECT_EQ(figures->medianMs, 0);
    EXPECT_EQ(figures->maxMs, 30) << "a discontinuity begins anew";
}

}  // namespace
