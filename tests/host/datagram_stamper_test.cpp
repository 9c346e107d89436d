#include "ts/datagram_stamper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/transport_stream.h"

namespace {

using namespace mcgate::host;

constexpr std::int64_t kMs = 10'000;
constexpr std::int64_t kSecond = 10'000'000;
constexpr std::int64_t kSpacing = 2 * kMs;  // of datagrams, in the stream's time
constexpr std::uint64_t kPcrPerDatagram = kPcrFrequency / 500;
constexpr int kPcrEvery = 10;  // datagrams, 20 ms

/// A stream of one datagram each 2 ms, in which every tenth begins with a PCR.
struct Live {
    DatagramStamper stamper{5 * kSecond, true};
    std::vector<DatagramStamp> out;
    std::vector<std::int64_t> arrivals;
    std::uint64_t pcr = 0;
    std::uint16_t pid = 0x100;
    bool hasPcr = true;
    int next = 0;

    std::vector<std::uint8_t> datagram(bool broken = false) {
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < 7; ++i) {
            const bool first = i == 0 && hasPcr && next % kPcrEvery == 0;
            const TsPacket packet = first ? test::pcrPacket(pcr, broken, pid) : nullPacket();
            bytes.insert(bytes.end(), packet.begin(), packet.end());
        }
        ++next;
        pcr = (pcr + kPcrPerDatagram) % kPcrWrap;
        return bytes;
    }
    void come(std::int64_t arrival, bool broken = false) {
        const auto bytes = datagram(broken);
        arrivals.push_back(arrival);
        stamper.add(bytes.data(), bytes.size(), arrival, out);
    }
    /// `count` datagrams in their spacing, the first at `begin`; gives the time behind them.
    std::int64_t flow(std::int64_t begin, int count) {
        for (int i = 0; i < count; ++i) come(begin + i * kSpacing);
        return begin + count * kSpacing;
    }
    /// Those of out from this number on have the times of their arrivals.
    void expectArrivals(std::size_t from) const {
        for (std::size_t i = from; i < out.size(); ++i) {
            EXPECT_NEAR(static_cast<double>(out[i].time), static_cast<double>(arrivals[i]), 100) << i;
        }
    }
    std::vector<std::size_t> breaks() const {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (out[i].discontinuity) found.push_back(i);
        }
        return found;
    }
};

TEST(DatagramStamper, TakesJitterOutAcrossTheWrapAndFollowsADriftingClock) {
    Live live;
    live.pcr = kPcrWrap - 100 * kPcrPerDatagram;
    constexpr double kDrift = 1.0001;  // of the arrivals, after the wrap has been seen
    for (int i = 0; i < 300'000; ++i) {
        const std::int64_t jitter = i % 7 == 3 ? 5 * kMs : 0;
        live.come(static_cast<std::int64_t>(i * static_cast<double>(kSpacing) * kDrift) + jitter);
    }
    ASSERT_GT(live.out.size(), 299'980U) << "a datagram waits for one PCR";
    double worstSpacing = 0;
    double worstDelay = 0;
    for (std::size_t i = 1; i < live.out.size(); ++i) {
        const auto step = static_cast<double>(live.out[i].time - live.out[i - 1].time);
        worstSpacing = std::max(worstSpacing, std::abs(step - kSpacing));
        worstDelay = std::max(worstDelay, std::abs(static_cast<double>(live.out[i].time - live.arrivals[i])));
    }
    EXPECT_LT(worstSpacing, 0.002 * kMs);
    EXPECT_LT(worstDelay, 7 * kMs) << "in ten minutes the clocks are 60 ms apart";
    EXPECT_TRUE(live.breaks().empty());
    EXPECT_NEAR(live.stamper.bitRate(), 1316 * 8 * 500, 5000);
}

TEST(DatagramStamper, WithoutPcrsDatagramsKeepTheirArrivals) {
    for (const bool byPcr : {true, false}) {
        Live live;
        DatagramStamper stamper(5 * kSecond, byPcr);
        live.hasPcr = !byPcr;
        for (const std::int64_t arrival : {7 * kMs, 9 * kMs, 400 * kMs, 401 * kMs}) {
            const auto bytes = live.datagram();
            stamper.add(bytes.data(), bytes.size(), arrival, live.out);
            ASSERT_FALSE(live.out.empty());
            EXPECT_EQ(live.out.back().time, arrival);
        }
        EXPECT_EQ(live.out.size(), 4U);
    }
}

TEST(DatagramStamper, APcrThatStaysAwayIsNotWaitedForAndAnotherPidTakesOver) {
    Live live;
    std::int64_t now = live.flow(0, 41);  // the last one with a PCR
    EXPECT_EQ(live.out.size(), 41U);
    live.hasPcr = false;
    now = live.flow(now, 70);
    EXPECT_EQ(live.out.size(), 41U);
    live.stamper.releaseOverdue(now + 20 * kMs, live.out);
    EXPECT_EQ(live.out.size(), 111U);
    live.come(now + 30 * kMs);  // late by 30 ms
    EXPECT_NEAR(static_cast<double>(live.out.back().time), static_cast<double>(now), 100) << "by the last rate";
    now = live.flow(now + kSpacing, 500);
    live.come(now + 30 * kMs);
    EXPECT_EQ(live.out.back().time, now + 30 * kMs) << "a second later by its arrival";
    EXPECT_EQ(live.stamper.bitRate(), 0U);
    live.hasPcr = true;
    live.pid = 0x200;
    live.pcr = 12'345;
    now = live.flow(now + kSpacing, 100);
    live.expectArrivals(650);
    EXPECT_TRUE(live.breaks().empty());
    // While a pid has PCRs, those of others don't count.
    live.pid = 0x300;
    live.pcr += 1000 * kPcrPerDatagram;
    live.flow(now, 11);
    EXPECT_LT(live.out.size(), live.arrivals.size() - 10);
}

TEST(DatagramStamper, ABreakOfTheClockIsNoneOfTheTimes) {
    Live live;
    std::int64_t now = live.flow(0, 100);
    live.pcr += 3600 * kPcrFrequency;
    now = live.flow(now, 100);
    live.pcr += kPcrFrequency / 20;
    live.come(now + 5 * kMs, true);  // says that it breaks, and comes late
    now = live.flow(now + kSpacing, 99);
    ASSERT_GT(live.out.size(), 280U);
    for (std::size_t i = 0; i < live.out.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(live.out[i].time), static_cast<double>(i) * kSpacing, 100) << i;
    }
    // Half a second of datagrams is lost: what comes behind belongs to the time in which it comes.
    live.pcr += 250 * kPcrPerDatagram;
    live.flow(now + kSecond / 2, 200);
    live.expectArrivals(live.out.size() - 1);
    EXPECT_TRUE(live.breaks().empty());
}

TEST(DatagramStamper, ASilenceIsADiscontinuityAndItsFirstDatagramGoesAtOnce) {
    Live live;
    const std::int64_t end = live.flow(0, 95);
    live.stamper.releaseOverdue(end + kSecond, live.out);
    ASSERT_EQ(live.out.size(), 95U);
    live.come(end + 6 * kSecond);
    ASSERT_EQ(live.out.size(), 96U);
    EXPECT_EQ(live.out.back().time, end + 6 * kSecond);
    live.flow(end + 6 * kSecond + kSpacing, 100);
    EXPECT_EQ(live.breaks(), std::vector<std::size_t>{95});
    live.expectArrivals(0);
}

TEST(DatagramStamper, AScaleThatWasSetByAHeldUpDatagramIsSetAnew) {
    Live live;
    for (int i = 0; i < 300; ++i) live.come(std::max<std::int64_t>(i * kSpacing, 500 * kMs));  // half a second at once
    live.flow(600 * kMs, 200);
    EXPECT_EQ(live.breaks().size(), 2U) << "each at 200 ms";
    EXPECT_NEAR(static_cast<double>(live.out.back().time), static_cast<double>(live.arrivals[live.out.size() - 1]),
                200 * kMs);
}

TEST(DatagramStamper, PacketsMayCrossDatagramsAndDatagramsMayComeTwice) {
    Live live;
    std::vector<std::uint8_t> all;
    for (int i = 0; i < 500; ++i) {
        const auto bytes = live.datagram();
        all.insert(all.end(), bytes.begin(), bytes.end());
    }
    std::vector<DatagramStamp> out;
    const double perByte = static_cast<double>(kSpacing) / 1316;
    for (std::size_t at = 0, number = 0; at + 1500 <= all.size(); at += 1500, ++number) {
        live.stamper.add(&all[at], 1500, static_cast<std::int64_t>(static_cast<double>(at) * perByte), out);
    }
    ASSERT_GT(out.size(), 400U);
    for (std::size_t i = 1; i < out.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(out[i].time - out[i - 1].time), 1500 * perByte, 0.2 * kMs) << i;
    }
    EXPECT_FALSE(live.stamper.atPacketBoundary());

    Live twice;
    for (int i = 0; i < 200; ++i) {
        const auto bytes = twice.datagram();
        for (int j = 0; j < 2; ++j) twice.stamper.add(bytes.data(), bytes.size(), i * kSpacing + j, twice.out);
    }
    ASSERT_GT(twice.out.size(), 370U);
    for (std::size_t i = 0; i < twice.out.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(twice.out[i].time), static_cast<double>(i / 2) * kSpacing, 2 * kSpacing) << i;
    }
    EXPECT_TRUE(twice.breaks().empty());
    EXPECT_TRUE(twice.stamper.atPacketBoundary());
}

}  // namespace
