// What a host hears of the flow: the listener for data presence, and the time-out behind it.

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "receiver/receiver_filter_fixture.h"
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
    EXPECT_LT(took, 2s) << "but a listener may itself wait for this thread";
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
            ++made;
            return std::make_unique<Listener>(*this, target);
        };
        return makers;
    }
    /// False when there was one listener alone until the deadline.
    bool waitForRebuild() const {
        const auto end = std::chrono::steady_clock::now() + test::kDeadline;
        while (made < 2 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
        return made >= 2;
    }

private:
    struct Listener final : udp::INetListener {
        Listener(Silence& owner, const udp::Endpoint& endpoint) : silence(owner), target(endpoint) {}
        std::int32_t Receive(char*, std::uint32_t) override { return -1; }
        bool WaitForData(std::int32_t) override {
            if (silence.made == 1) ++silence.turns;
            return false;
        }
        udp::Endpoint& GetEndpoint(udp::Endpoint& out) override { return out = target; }
        Silence& silence;
        const udp::Endpoint target;
    };
};

// The turns themselves are counted in net_receiver_test.
TEST(TimeOut, HalfOfItIsTheThresholdTruncatedTowardsZeroAndAChangeActsAtOnce) {
    const struct {
        std::int32_t timeOut;
        int turns;
    } cases[] = {{5001, 26}, {5000, 26}, {4999, 25}, {199, 1}, {0, 1}, {-1, 1}};
    for (const auto& one : cases) {
        Silence silence;
        const test::ComPtr<CNetworkReceiverFilter> filter(new CNetworkReceiverFilter(nullptr, silence.makers()));
        filter->SetTimeout(one.timeOut);
        EXPECT_EQ(filter->SetSource(5000, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
        EXPECT_EQ(filter->Pause(), S_OK);
        ASSERT_TRUE(silence.waitForRebuild());
        EXPECT_EQ(silence.turns, one.turns) << one.timeOut;
        std::uint32_t back = 0;
        EXPECT_EQ(filter->GetTimeout(&back), S_OK);
        EXPECT_EQ(back, static_cast<std::uint32_t>(one.timeOut));
    }
    Silence silence;
    const test::ComPtr<CNetworkReceiverFilter> filter(new CNetworkReceiverFilter(nullptr, silence.makers()));
    filter->SetTimeout(0x7FFFFFFF);
    EXPECT_EQ(filter->SetSource(5000, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
    EXPECT_EQ(filter->Pause(), S_OK);
    filter->SetTimeout(0);
    EXPECT_TRUE(silence.waitForRebuild());
}

}  // namespace
