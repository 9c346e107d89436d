#include "sender/send_loop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <utility>

#include "media/oob_media_sample.h"
#include "support/crossing.h"
#include "support/fake_udp_sender.h"
#include "support/recording_log.h"

namespace {

using mcgate::platform::ComPtr;
using quorvel::network::udp::lib_udp::v2_1::DestinationAddresses;
using quorvel::network::udp::lib_udp::v2_1::NetSender;
using Bytes = std::vector<std::uint8_t>;
using Ids = std::vector<std::uint64_t>;
using Levels = std::vector<std::uint32_t>;
using Waits = std::vector<std::uint32_t>;

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

/// A sample whose questions can fail.
class OddSample final : public COOBMediaSample {
public:
    using COOBMediaSample::COOBMediaSample;
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override {
        if (timeAnswers.empty()) return COOBMediaSample::GetTime(start, stop);
        const HRESULT answer = timeAnswers.front();
        timeAnswers.pop_front();
        return FAILED(answer) ? answer : COOBMediaSample::GetTime(start, stop);
    }
    std::deque<HRESULT> timeAnswers;  ///< of the next calls
};

/// A loop whose waits advance the time instead of passing it, and whose samples leave at once as 1500-byte datagrams.
struct SendLoopTest : testing::Test {
    static constexpr std::int64_t kMs = 10'000;

    test::RecordingLog log;
    test::RecordingLog senderLog;  ///< apart: the sender's own thread tells of failures, too
    test::FakeNetwork network;
    NetSender sender{senderLog, network.maker()};
    test::Crossing crossing;
    VirtualClock clock;
    bool hasClock = true;
    std::int64_t nowMs = 0;
    std::int64_t steppedMs = 0;  ///< how far the graph's clock was set off
    std::uint32_t tickBase = 0;  ///< what the 32-bit tick shows at time 0
    std::function<void()> onTick = [] {};
    Waits waits;                            ///< looks at the stop event, in milliseconds each
    std::optional<std::size_t> stopAtLook;  ///< number of the look that sees it
    SendState state;
    std::vector<std::uint8_t> payload = std::vector<std::uint8_t>(1500, 0x47);

    SendLoop makeLoop(std::size_t destinations = 1) {
        sender.setDestinations(std::vector<DestinationAddresses>(destinations));
        return SendLoop(state, {[this] { return static_cast<double>(nowMs) / 1000.0; },
                                [this] {
                                    clock.now = (nowMs + steppedMs) * kMs;
                                    return ComPtr<IReferenceClock>(hasClock ? &clock : nullptr);
                                },
                                [this] {
                                    onTick();
                                    return tickBase + static_cast<std::uint32_t>(nowMs);
                                },
                                [this](std::uint32_t ms) {
                                    waits.push_back(ms);
                                    if (waits.size() == stopAtLook) return true;
                                    nowMs += ms;
                                    return false;
                                },
                                [this]() -> NetSender& { return sender; }, log});
    }
    void push(std::int64_t timeMs, std::int32_t bytes = 1500) { pushSample(timeMs * kMs, std::nullopt, bytes); }
    void pushSample(std::optional<REFERENCE_TIME> start, std::optional<std::uint64_t> id, std::int32_t bytes = 1500) {
        enqueue(new COOBMediaSample(payload.data(), bytes), start, id);
    }
    void pushOdd(std::optional<REFERENCE_TIME> start, std::deque<HRESULT> timeAnswers,
                 std::optional<std::uint64_t> id = std::nullopt) {
        auto* sample = new OddSample(payload.data(), 1500);
        sample->timeAnswers = std::move(timeAnswers);
        enqueue(sample, start, id);
    }
    /// A sample without memory: its pointer can't be had.
    void pushEmpty(std::uint64_t id) { enqueue(new COOBMediaSample(nullptr, 1500), 0, id); }
    void enqueue(COOBMediaSample* fresh, std::optional<REFERENCE_TIME> start, std::optional<std::uint64_t> id) {
        const ComPtr<COOBMediaSample> sample(fresh);
        sample->SetTime(start ? &*start : nullptr, nullptr);
        if (id) {
            std::uint8_t bytes[sizeof *id];
            std::memcpy(bytes, &*id, sizeof *id);
            sample->SetMetaData(static_cast<std::int32_t>(MediaDataKey::DataId), bytes, sizeof bytes);
        }
        state.queue.push(ComPtr<IMediaSample>(sample.get()));
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
    ASSERT_EQ(log.levels("Time offset stabilizing from 0+0 ms"), Levels{2});
    ASSERT_EQ(log.levels("Time offset stabilized to 0+"), Levels{2});
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
    EXPECT_EQ(log.levels("Flush end"), Levels{2});
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
    EXPECT_EQ(log.levels("COM Error 80004005: "), Levels{0});
    clock.failure = S_OK;
    EXPECT_EQ(leaves(loop, 5000), 5000);
    EXPECT_EQ(network.datagrams().size(), 3U);
}

TEST_F(SendLoopTest, AClockThatFailsAtTheStartIsTakenUpWhenItWorks) {
    clock.failure = E_FAIL;
    auto loop = makeLoop();
    EXPECT_EQ(log.levels("COM Error 80004005: "), Levels{0});
    clock.failure = S_OK;
    nowMs = 500;
    EXPECT_EQ(leaves(loop, 0), 500);
    EXPECT_EQ(leaves(loop, 20), 520);
    // The loop's clock began at -1 s; the half second that it still lacks is made up by 2% in these 20 ms.
    EXPECT_EQ(leaves(loop, 40), 530);
    nowMs = 5000;
    leaves(loop, 0);
    EXPECT_EQ(leaves(loop, 10'000), nowMs);
    EXPECT_EQ(log.count("COM Error"), 1);
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
    using Limits = std::numeric_limits<REFERENCE_TIME>;
    const REFERENCE_TIME times[] = {0, 1, -1, 0x0102030405060708, Limits::min(), Limits::max()};
    for (const REFERENCE_TIME time : times) pushSample(time, std::nullopt, 8);
    push(0, 249);
    push(1, 248);
    for (std::size_t i = 0; i < std::size(times) + 2; ++i) EXPECT_TRUE(loop.turn());
    const auto sent = network.datagrams();
    ASSERT_EQ(sent.size(), std::size(times) + 1);
    static_assert(std::endian::native == std::endian::little, "as the times on the wire");
    for (std::size_t i = 0; i < std::size(times); ++i) {
        ASSERT_EQ(sent[i].bytes.size(), 16U);
        EXPECT_EQ(std::memcmp(sent[i].bytes.data(), &times[i], sizeof times[i]), 0);
        EXPECT_EQ(std::memcmp(sent[i].bytes.data() + 8, payload.data(), 8), 0);
    }
    EXPECT_EQ(sent.back().bytes.size(), 256U);
    EXPECT_EQ(log.levels("time-stamped sample of 249 bytes refused"), Levels{0});
}

TEST_F(SendLoopTest, AFlushTakesTheGrownHoldBackAway) {
    auto loop = makeLoop();
    for (int i = 0; i < 30; ++i) EndEmpty(loop);
    EXPECT_EQ(leaves(loop, 0), 30);
    EXPECT_EQ(leaves(loop, 100), 130);
    flushWith(loop, 0);
    nowMs = 2000;
    EXPECT_EQ(leaves(loop, 70'000), 2000);
    EXPECT_EQ(leaves(loop, 70'040), 2040);
    EXPECT_EQ(log.levels("Time offset stabilized to 0+0 ms"), Levels{2});
}

TEST_F(SendLoopTest, AFlushDrainedWithinOneTurnEndsWithoutNewOrigins) {
    auto loop = makeLoop();
    leaves(loop, 0);
    onTick = [this] { state.flushRequested.exchange(1); };  // between the loop's looks, with nothing queued
    EndEmpty(loop);
    onTick = [] {};
    EXPECT_EQ(log.levels("Flush end"), Levels{2});
    nowMs = 50;
    EXPECT_EQ(leaves(loop, 100), 101) << "paced by the old origins, and with the offset that had grown";
}

TEST_F(SendLoopTest, TheTimeStampedStreamIsNeverPacedAndNeverTellsThatItSettled) {
    auto loop = makeLoop();
    state.streamIsTimeStamped = true;
    EndEmpty(loop);
    EXPECT_EQ(log.levels("Time offset stabilizing from 0+0 ms"), Levels{2}) << "an empty queue counts here, too";
    for (const int time : {0, 60'000, 5}) {
        push(time, 8);
        nowMs += 2000;
        const auto before = nowMs;
        EXPECT_TRUE(loop.turn());
        EXPECT_EQ(nowMs, before);
    }
    EXPECT_EQ(log.count("stabilized"), 0);
    state.streamIsTimeStamped = false;
    EXPECT_EQ(leaves(loop, 777), 6001) << "the first paced sample sets the origins";
    EXPECT_EQ(log.levels("Time offset stabilized to 0+1 ms"), Levels{2});
}

TEST_F(SendLoopTest, WithPacingOffNothingGrows) {
    state.pacingEnabled = false;
    auto loop = makeLoop();
    for (int i = 0; i < 3; ++i) EndEmpty(loop);
    EXPECT_TRUE(log.lines().empty());
    state.pacingEnabled = true;
    EXPECT_EQ(leaves(loop, 0), 0);
}

TEST_F(SendLoopTest, WithoutAClockAPacedSampleTellsThatItSettledAndSetsNoOrigin) {
    hasClock = false;
    auto loop = makeLoop();
    EndEmpty(loop);
    nowMs = 5000;
    EXPECT_EQ(leaves(loop, 60'000), 5000);
    EXPECT_EQ(log.levels("Time offset stabilized to 0+1 ms"), Levels{2});
    hasClock = true;
    EXPECT_EQ(leaves(loop, 90'000), 5001) << "the origins are this sample's";
    EXPECT_EQ(leaves(loop, 90'020), 5021) << "and the clock wasn't led astray meanwhile";
}

TEST_F(SendLoopTest, SettledMeansMoreThanASecondSinceTheLastGrowth) {
    hasClock = false;  // samples then pass the test as they come
    for (const std::uint32_t base : {0U, 0xFFFFFC18U}) {
        tickBase = base;  // the second one wraps at 1000 ms
        nowMs = 0;
        auto loop = makeLoop();
        const auto toldAt = [&](std::int64_t time) {
            nowMs = time;
            leaves(loop, 0);
            return log.lines().back().text;
        };
        EndEmpty(loop);
        EXPECT_EQ(toldAt(900), "Time offset stabilizing from 0+0 ms");
        EndEmpty(loop);
        EXPECT_EQ(toldAt(1900), "Time offset stabilizing from 0+0 ms") << "growth began the second anew";
        EXPECT_EQ(toldAt(1901), "Time offset stabilized to 0+2 ms");
        EndEmpty(loop);
        EXPECT_EQ(toldAt(1902), "Time offset stabilizing from 0+2 ms");
    }
    EXPECT_EQ(log.lines().size(), 6U);
}

TEST_F(SendLoopTest, WaitsAreWholeMillisecondsAndNoneIsStillALookAtTheStopEvent) {
    auto loop = makeLoop();
    // The first look is the turn's own.
    const std::pair<std::int64_t, Waits> cases[] = {{-1, {0}}, {0, {0, 0}}, {9'999, {0, 0}}, {19'999, {0, 1}}};
    for (const auto& [offset, looks] : cases) {
        state.timeOffset = offset;
        waits.clear();
        leaves(loop, 0);
        EXPECT_EQ(waits, looks) << "offset " << offset;
    }
    const auto sent = network.datagrams().size();
    state.timeOffset = 1 * kMs;  // where the clock stands now
    waits.clear();
    stopAtLook = 2;
    push(0);
    EXPECT_FALSE(loop.turn());
    EXPECT_EQ(waits, (Waits{0, 0}));
    EXPECT_EQ(network.datagrams().size(), sent);
}

TEST_F(SendLoopTest, ASampleWithoutATimeCountsAsZero) {
    auto loop = makeLoop();
    pushSample(std::nullopt, std::nullopt);
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(leaves(loop, 40), 40) << "as the first it set the origin to 0";
    pushSample(std::nullopt, std::nullopt);
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(nowMs, 40) << "and later it is late";
    EXPECT_EQ(leaves(loop, 80), 80);
    EXPECT_EQ(network.datagrams().size(), 4U);
    EXPECT_EQ(network.datagrams()[2].timeTag, 0);
}

TEST_F(SendLoopTest, ATimeThatCantBeReadCostsPacingAndNothingElse) {
    auto loop = makeLoop();
    leaves(loop, 1000);
    pushOdd(90'000 * kMs, {E_UNEXPECTED, E_UNEXPECTED});  // the question and the sending both ask
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(nowMs, 0) << "counts as 0 and so is late";
    EXPECT_TRUE(log.lines().empty());
    pushOdd(90'000 * kMs, {S_OK, E_UNEXPECTED});  // there at the question, gone at the reading
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(nowMs, 0);
    EXPECT_EQ(log.levels("COM Error 8000ffff: "), Levels{0});
    EXPECT_EQ(leaves(loop, 1040), 40) << "the origins stand";
    EXPECT_EQ(network.datagrams().size(), 4U);
}

TEST_F(SendLoopTest, OnTheTimeStampedStreamASampleWithoutATimeCrossesUnsent) {
    state.streamIsTimeStamped = true;
    state.outputCrossingCallback.set(&crossing);
    auto loop = makeLoop();
    pushSample(std::nullopt, 1, 8);
    pushOdd(0, {E_UNEXPECTED}, 2);
    pushSample(0, 3, 8);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(loop.turn());
    EXPECT_EQ(network.sizes(), std::vector<std::size_t>{16});
    EXPECT_EQ(crossing.all(), (Ids{1, 2, 3}));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SendLoopTest, OnlyASampleThatWentOutCrossesAndItsBytesGoFirst) {
    std::vector<std::size_t> sent;  // datagrams that had left by then
    crossing.onCrossing = [&](std::uint64_t) { sent.push_back(network.datagrams().size()); };
    state.outputCrossingCallback.set(&crossing);
    auto loop = makeLoop();
    pushSample(0, 1);
    pushEmpty(2);
    pushSample(0, std::nullopt);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(loop.turn());
    EXPECT_TRUE(log.lines().empty()) << "neither a missing pointer nor a missing id is told";
    network.failWith(0, "100% refused");
    pushSample(0, 4);
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(log.levels("100% refused"), Levels{0});
    EXPECT_EQ(log.lines().back().format, "%s");
    network.failWith(0, "");
    pushSample(0, 5);
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(crossing.all(), (Ids{1, 5}));
    EXPECT_EQ(sent, (std::vector<std::size_t>{1, 4}));
}

/// The bytes of a destination's datagrams, each run of equal ones taken once.
Bytes withoutRepeats(const std::vector<test::FakeNetwork::Datagram>& datagrams, std::size_t destination) {
    Bytes result;
    const Bytes* last = nullptr;
    for (const auto& one : datagrams) {
        if (one.destination != destination) continue;
        if (last == nullptr || *last != one.bytes) result.insert(result.end(), one.bytes.begin(), one.bytes.end());
        last = &one.bytes;
    }
    return result;
}

TEST_F(SendLoopTest, AnAilingDestinationCostsTheOthersNoByte) {
    constexpr std::int32_t kSpecial[] = {0, 1499, 1500, 3200, 64'500, 65'535};
    std::mt19937 random(19471123);
    auto loop = makeLoop(3);
    Bytes all;
    const auto send = [&](std::int32_t bytes) {
        payload.resize(static_cast<std::size_t>(bytes) + 1);  // never empty: a null pointer would be a failed one
        std::generate(payload.begin(), payload.end(), [&] { return static_cast<std::uint8_t>(random()); });
        all.insert(all.end(), payload.begin(), payload.end() - 1);
        push(0, bytes);
        ASSERT_TRUE(loop.turn());
    };
    for (int i = 0; i < 400; ++i) {
        // Fine, then failing at each attempt, at every second or at every fifth, which falls inside long samples.
        constexpr std::size_t kEvery[] = {1, 2, 5};
        if (i % 8 == 4) network.failWith(1, "ailing", kEvery[random() % std::size(kEvery)]);
        if (i % 8 == 0) network.failWith(1, "");
        const bool special = random() % 6 == 0;
        send(special ? kSpecial[random() % std::size(kSpecial)] : static_cast<std::int32_t>(random() % 1700));
    }
    network.failWith(1, "");
    send(1500);  // pushes the gathered rest out
    ASSERT_GT(log.count("ailing"), 50) << "it has ailed";
    EXPECT_EQ(network.bytes(2), all);
    EXPECT_EQ(network.bytes(1), all);
    EXPECT_GT(network.bytes(0).size(), all.size()) << "those ahead get repeats";
    EXPECT_EQ(withoutRepeats(network.datagrams(), 0), all);
}

}  // namespace
