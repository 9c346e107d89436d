#include "sender/send_loop.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <utility>

#include "media/oob_media_sample.h"
#include "support/fake_udp_sender.h"
#include "support/recording_log.h"

namespace {

using mcgate::platform::ComPtr;
using quorvel::network::udp::lib_udp::v2_1::DestinationAddresses;
using quorvel::network::udp::lib_udp::v2_1::NetSender;

/// The graph's clock on virtual time.
class VirtualClock final : public IReferenceClock {
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    HRESULT GetTime(REFERENCE_TIME* time) override {
        *time = now;
        return failure;
    }
    REFERENCE_TIME now = 0;
    HRESULT failure = S_OK;
};

/// A loop whose waits advance the time instead of passing it, and whose samples leave at once as 1500-byte datagrams.
struct SendLoopTest : testing::Test {
    static constexpr std::int64_t kMs = 10'000;

    test::RecordingLog log;
    test::FakeNetwork network;
    NetSender sender{log, network.maker()};
    VirtualClock clock;
    bool hasClock = true;
    std::int64_t nowMs = 0;
    std::int64_t steppedMs = 0;  ///< how far the graph's clock was set off
    std::int64_t stopAtMs = -1;
    SendState state;
    std::vector<std::uint8_t> payload = std::vector<std::uint8_t>(1500, 0x47);

    SendLoop makeLoop() {
        sender.setDestinations(std::vector<DestinationAddresses>(1));
        return SendLoop(state, {[this] { return static_cast<double>(nowMs) / 1000.0; },
                                [this] {
                                    clock.now = (nowMs + steppedMs) * kMs;
                                    return ComPtr<IReferenceClock>(hasClock ? &clock : nullptr);
                                },
                                [this] { return static_cast<std::uint32_t>(nowMs); },
                                [this](std::uint32_t ms) {
                                    if (stopAtMs >= 0 && nowMs + ms >= stopAtMs) return true;
                                    nowMs += ms;
                                    return false;
                                },
                                [this]() -> NetSender& { return sender; }, log});
    }
    void push(std::int64_t timeMs, std::int32_t bytes = 1500) {
        ComPtr<IMediaSample> sample(new COOBMediaSample(payload.data(), bytes));
        const REFERENCE_TIME start = timeMs * kMs;
        sample->SetTime(&start, nullptr);
        state.queue.push(std::move(sample));
    }
    /// Pushes one sample when its time has come, or at once if that has passed, and lets the loop take it.
    std::int64_t leaves(SendLoop& loop, std::int64_t timeMs) {
        push(timeMs);
        EXPECT_TRUE(loop.turn());
        return nowMs;
    }
    /// What the pin does for a discontinuity sample.
    void flushWith(SendLoop& loop, std::int64_t timeMs) {
        state.flushRequested.exchange(1);
        leaves(loop, timeMs);
        EndEmpty(loop);
    }
    /// A look at an empty queue: the loop ends its wait by the stop event, which the test raises beforehand.
    void EndEmpty(SendLoop& loop) {
        state.stopEvent.set();
        EXPECT_FALSE(loop.turn());
    }
};

TEST_F(SendLoopTest, SpacingIsKeptAndLateSamplesLeaveAtOnce) {
    auto loop = makeLoop();
    nowMs = 5000;
    EXPECT_EQ(leaves(loop, 777'000), 5000);
    EXPECT_EQ(leaves(loop, 777'040), 5040);
    EXPECT_EQ(leaves(loop, 777'041), 5041);
    nowMs = 6000;
    EXPECT_EQ(leaves(loop, 777'100), 6000) << "late";
    EXPECT_EQ(leaves(loop, 778'500), 6500) << "and the origin stands";
    EXPECT_EQ(leaves(loop, 788'500), 16'500) << "a jump forward is waited for";
    EXPECT_EQ(leaves(loop, 700'000), 16'500) << "a jump backward is late";
    EXPECT_EQ(network.datagrams().size(), 7U);
}

TEST_F(SendLoopTest, TheHoldBackGrowsToTheSampleSpacingAndSettles) {
    auto loop = makeLoop();
    // A source that delivers each sample at its time, every 40 ms: the queue is empty until the hold-back is 40 ms.
    std::int64_t next = 0;
    for (int i = 0; i < 200; ++i) {
        if (nowMs < next) {  // not there yet: the loop finds the queue empty first
            EndEmpty(loop);
            nowMs = next;
        }
        leaves(loop, next);
        next += 40;
    }
    ASSERT_EQ(log.count("Time offset stabilizing from 0+0 ms"), 1);
    ASSERT_EQ(log.count("Time offset stabilized to 0+"), 1);
    const auto lines = log.lines();
    const int settled = std::stoi(lines.back().text.substr(std::string("Time offset stabilized to 0+").size()));
    EXPECT_NEAR(settled, 40, 1);
}

TEST_F(SendLoopTest, AConfiguredOffsetHoldsBackAndActsInMidStream) {
    state.timeOffset = 500 * kMs;
    auto loop = makeLoop();
    EXPECT_EQ(leaves(loop, 0), 500);
    EXPECT_EQ(leaves(loop, 40), 540);
    state.timeOffset = 700 * kMs;
    EXPECT_EQ(leaves(loop, 80), 780);
    state.timeOffset = -1000 * kMs;
    EXPECT_EQ(leaves(loop, 900), 780);
}

TEST_F(SendLoopTest, AFlushSendsWhatIsQueuedAndSetsNewOrigins) {
    auto loop = makeLoop();
    leaves(loop, 0);
    for (const int time : {10'000, 20'000, 5}) push(time);
    state.flushRequested.exchange(1);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(loop.turn());
    EXPECT_EQ(nowMs, 0) << "nothing waits during a flush";
    EndEmpty(loop);
    EXPECT_EQ(log.count("Flush end"), 1);
    EXPECT_EQ(log.count("stabilizing"), 0) << "the end of a flush is no hunger";
    nowMs = 100;
    EXPECT_EQ(leaves(loop, 3'000'000), 100);
    EXPECT_EQ(leaves(loop, 3'000'040), 140);
    flushWith(loop, 50);
    EXPECT_EQ(log.count("Flush end"), 2);
}

TEST_F(SendLoopTest, AStepOfTheClockIsSpreadOverASecond) {
    auto loop = makeLoop();
    std::int64_t time = 0;
    for (; time <= 1000; time += 20) leaves(loop, time);
    steppedMs = 500;
    std::int64_t shortest = 20;
    for (; time <= 6000; time += 20) {
        const std::int64_t before = nowMs;
        shortest = std::min(shortest, leaves(loop, time) - before);
    }
    EXPECT_GE(shortest, 5) << "no burst";
    EXPECT_NEAR(static_cast<double>(nowMs), static_cast<double>(time - 20 - 500), 5.0)
        << "and in the end it is followed";
}

TEST_F(SendLoopTest, WithoutAClockOrPacingSamplesLeaveAsTheyCome) {
    hasClock = false;
    auto loop = makeLoop();
    EndEmpty(loop);
    EXPECT_EQ(log.count("stabilizing from"), 1) << "an empty queue counts with no clock, too";
    leaves(loop, 0);
    EXPECT_EQ(leaves(loop, 60'000), 0);
    hasClock = true;
    state.pacingEnabled = false;
    EXPECT_EQ(leaves(loop, 90'000), 0);
    EndEmpty(loop);
    nowMs = 5000;
    leaves(loop, 0);
    EXPECT_EQ(log.count("stabilized"), 0) << "only a paced sample tells";
}

TEST_F(SendLoopTest, AFailingClockCostsPacingAndNothingElse) {
    auto loop = makeLoop();
    leaves(loop, 0);
    clock.failure = E_FAIL;
    EXPECT_EQ(leaves(loop, 5000), 0);
    EXPECT_EQ(log.count("COM Error 80004005: "), 1);
    clock.failure = S_OK;
    EXPECT_EQ(leaves(loop, 5000), 5000);
    EXPECT_EQ(network.datagrams().size(), 3U);
}

TEST_F(SendLoopTest, TheStopEventEndsALongWaitWithTheSampleUnsent) {
    auto loop = makeLoop();
    leaves(loop, 0);
    stopAtMs = 3000;
    push(10'000'000);
    EXPECT_FALSE(loop.turn());
    EXPECT_EQ(network.datagrams().size(), 1U);
}

TEST_F(SendLoopTest, LongSamplesAreCutByTheDatagramRuleAlone) {
    auto loop = makeLoop();
    payload.assign(200'000, 0x11);
    push(0, 100);
    push(0, 150'100);
    EXPECT_TRUE(loop.turn());
    EXPECT_TRUE(loop.turn());
    auto expected = std::vector<std::size_t>{100};
    expected.insert(expected.end(), 100, 1500);
    expected.push_back(100);
    EXPECT_EQ(network.sizes(), expected);
}

TEST_F(SendLoopTest, TimeStampedSamplesCarryTheirTimeAndTooLongOnesAreRefused) {
    state.streamIsTimeStamped = true;
    auto loop = makeLoop();
    push(12'345, 8);
    push(0, 249);
    push(1, 248);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(loop.turn());
    const auto sent = network.datagrams();
    ASSERT_EQ(sent.size(), 2U);
    ASSERT_EQ(sent[0].bytes.size(), 16U);
    std::int64_t time = 0;
    std::memcpy(&time, sent[0].bytes.data(), sizeof time);
    EXPECT_EQ(time, 12'345 * kMs);
    EXPECT_EQ(sent[1].bytes.size(), 256U);
    EXPECT_EQ(log.count("time-stamped sample of 249 bytes refused"), 1);
}

TEST_F(SendLoopTest, AFailedSendIsLoggedAndTheLoopGoesOn) {
    auto loop = makeLoop();
    network.failWith(0, "100% refused");
    leaves(loop, 0);
    ASSERT_TRUE(log.waitFor("100% refused"));
    network.failWith(0, "");
    leaves(loop, 1);
    EXPECT_TRUE(network.waitForDatagrams(2));
}

}  // namespace
