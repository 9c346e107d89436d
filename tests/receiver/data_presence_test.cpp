// What a host hears of the flow: the listener for data presence, and the time-out behind it.

#include <atomic>
#include <chrono>
#include <future>
#include <utility>

#include "receiver/receiver_filter_fixture.h"
#include "support/fake_listener.h"
#include "support/presence_listener.h"

namespace {

using namespace std::chrono_literals;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

using DataPresence = test::ReceiverFilterTest;

TEST_F(DataPresence, AnUnconnectedFilterTellsAndDeliversNothing) {
    test::PresenceListener listener;
    filter->SetDataSourceListener(&listener);
    ASSERT_EQ(listenOn(kPort), S_OK);
    ASSERT_EQ(filter->Run(0), S_OK);
    send(1);
    ASSERT_TRUE(listener.waitForCalls(1));
    EXPECT_EQ(present(), 1);
    EXPECT_EQ(filter->Stop(), S_OK);
    EXPECT_EQ(present(), 0);
    EXPECT_EQ(listener.heard(), "T") << "Stop tells nobody";
    send(2);
    ASSERT_TRUE(listener.waitForCalls(2)) << "the worker reads on";
    filter->SetDataSourceListener(nullptr);
    EXPECT_EQ(log.declared(), 0);
    EXPECT_EQ(log.full(), 0);
}

TEST_F(DataPresence, ARemovedListenerIsWaitedForAndNotCalledAgain) {
    std::promise<void> leave;
    test::PresenceListener slow([&leave] { leave.get_future().wait(); });
    filter->SetDataSourceListener(&slow);
    ASSERT_EQ(listenOn(kPort), S_OK);
    ASSERT_EQ(filter->Run(0), S_OK);
    send(1);
    ASSERT_TRUE(slow.waitForCalls(1));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(filter->RemoveDataSourceListener(nullptr), S_OK);
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, 250ms) << "the call was still in progress";
    EXPECT_LT(took, 10s) << "but a listener may itself wait for this thread";
    leave.set_value();

    // Out of the cleared flag the next datagram is news, for whoever listens now.
    filter->Stop();
    test::PresenceListener next;
    filter->SetDataSourceListener(&next);
    send(2);
    ASSERT_TRUE(next.waitForCalls(1));
    EXPECT_EQ(slow.heard(), "T");
    filter->RemoveDataSourceListener(&slow);  // whichever it is given
    filter->Stop();
    EXPECT_EQ(filter->Pause(), S_OK);  // the old worker has ended, so it has called for the last time
    EXPECT_EQ(next.heard(), "T");
}

/// A network without data. Each turn of the worker finds none, at once; counts the turns of the first listener.
struct Silence {
    std::atomic<int> turns{0};
    std::atomic<int> made{0};  ///< listeners

    CNetReceiver::Makers makers() {
        CNetReceiver::Makers makers;
        makers.listener = [this](const udp::Endpoint& target) {
            const bool first = ++made == 1;
            const auto hasNoData = [this, first] {
                if (first) ++turns;
                return false;
            };
            return std::make_unique<test::FakeListener>(target, hasNoData, [] { return -1; });
        };
        return makers;
    }
    /// False when there was one listener alone until the deadline.
    bool waitForRebuild() const {
        return test::eventually([this] { return made >= 2; });
    }
};

// The turns themselves are counted in net_receiver_test.
TEST(TimeOut, HalfOfItIsTheThresholdTruncatedTowardsZeroAndAChangeActsAtOnce) {
    constexpr std::int32_t kNever = 0x7FFFFFFF;
    const std::pair<std::int32_t, int> cases[] = {{5001, 26}, {5000, 26}, {4999, 25}, {199, 1},
                                                  {0, 1},     {-1, 1},    {kNever, 0}};
    for (const auto& [timeOut, turns] : cases) {
        Silence silence;
        const test::ComPtr<CNetworkReceiverFilter> filter(new CNetworkReceiverFilter(nullptr, silence.makers()));
        filter->SetTimeout(timeOut);
        EXPECT_EQ(filter->SetSource(5000, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
        EXPECT_EQ(filter->Pause(), S_OK);
        std::uint32_t back = 0;
        EXPECT_EQ(filter->GetTimeout(&back), S_OK);
        EXPECT_EQ(back, static_cast<std::uint32_t>(timeOut));
        if (timeOut == kNever) filter->SetTimeout(0);
        ASSERT_TRUE(silence.waitForRebuild());
        if (timeOut != kNever) {
            EXPECT_EQ(silence.turns, turns) << timeOut;
        }
    }
}

}  // namespace
