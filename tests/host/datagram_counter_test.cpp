#include "cli/datagram_counter.h"

#include <gtest/gtest.h>

namespace {

using mcgate::host::DatagramCounter;

TEST(DatagramCounter, CountsWhatLeftByTheRuleOf1500Bytes) {
    DatagramCounter counter;
    std::uint64_t last = 0;
    const auto enter = [&](std::size_t bytes) {
        counter.announce(++last, bytes);
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
    counter.announce(++last, 1316);  // dropped: never enters
    enter(1316);
    EXPECT_EQ(counter.counts().queued, 3U);
    counter.output().OnDataCrossing(last);  // while a destination fails none crosses; the next to cross stands for all
    const auto counts = counter.counts();
    EXPECT_EQ(counts.accepted, 5U);
    EXPECT_EQ(counts.queued, 0U);
    EXPECT_EQ(counts.datagrams, 3U);
    EXPECT_EQ(counts.bytes, 1316U + 1316U + 752U);
}

}  // namespace
