// What a host hears of the flow: the listener for data presence, and the time-out behind it.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>

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

TEST_F(DataPresence, AListenerThatRemovesItselfDoesNotWait) {
    std::promise<std::chrono::steady_clock::duration> took;
    test::PresenceListener once([&] {
        const auto begin = std::chrono::steady_clock::now();
        filter->RemoveDataSourceListener(nullptr);
        took.set_value(std::chrono::steady_clock::now() - begin);
    });
    filter->SetDataSourceListener(&once);
    ASSERT_EQ(listenOn(kPort), S_OK);
    ASSERT_EQ(filter->Run(0), S_OK);
    send(1);
    EXPECT_LT(took.get_future().get(), 200ms);
    filter->Stop();
}

/// The silence of a network, granted turn by turn: each turn of the worker waits in its listener until the test grants
/// one, and finds no data.
class Silence {
public:
    /// Returns when the worker has finished `count` more turns and waits in the next. False past the deadline.
    bool turns(int count) {
        std::unique_lock hold(lock_);
        granted_ += count;
        changed_.notify_all();
        return changed_.wait_for(hold, test::kDeadline, [this] { return asked_ > granted_; });
    }
    /// No turn waits any more.
    void end() {
        const std::lock_guard hold(lock_);
        ended_ = true;
        changed_.notify_all();
    }
    CNetReceiver::Makers makers() {
        return {[this](const udp::Endpoint& target) {
                    ++made;
                    return std::make_unique<Listener>(*this, target);
                },
                [] { return std::make_unique<NoReports>(); }};
    }

    std::atomic<int> made{0};  ///< listeners

private:
    class Listener final : public udp::INetListener {
    public:
        Listener(Silence& silence, const udp::Endpoint& target) : silence_(silence), target_(target) {}
        std::int32_t Receive(char*, std::uint32_t) override { return -1; }
        bool WaitForData(std::int32_t) override {
            silence_.awaitGrant();
            return false;
        }
        udp::Endpoint& GetEndpoint(udp::Endpoint& out) override { return out = target_; }

    private:
        Silence& silence_;
        const udp::Endpoint target_;
    };
    class NoReports final : public quorvel::network::ip::igmp_socket::v0::IRawMembershipSender {
    public:
        std::int32_t SendMembershipReport(const char*) override { return 0; }
        std::int32_t SendMembershipReport(std::uint32_t) override { return 0; }
    };

    void awaitGrant() {
        std::unique_lock hold(lock_);
        ++asked_;
        changed_.notify_all();
        changed_.wait(hold, [this] { return ended_ || asked_ <= granted_; });
    }

    std::mutex lock_;
    std::condition_variable changed_;
    int asked_ = 0;
    int granted_ = 0;
    bool ended_ = false;
};

/// A receiver that hears nothing but this silence.
struct SilentReceiver {
    Silence silence;
    test::PresenceListener listener;
    test::ComPtr<CNetworkReceiverFilter> filter{new CNetworkReceiverFilter(nullptr, silence.makers())};

    explicit SilentReceiver(std::int32_t timeOut) {
        filter->SetDataSourceListener(&listener);
        filter->SetTimeout(timeOut);
        EXPECT_EQ(filter->SetSource(5000, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
        EXPECT_EQ(filter->Pause(), S_OK);
    }
    ~SilentReceiver() {
        silence.end();
        filter.reset();
    }
    /// Grants turns until the listener has been rebuilt; how many that took.
    int turnsToRebuild() {
        int count = 0;
        while (silence.made == 1 && count < 100 && silence.turns(1)) ++count;
        return count;
    }
};

TEST(TimeOut, HalfOfItIsTheThresholdTruncatedTowardsZero) {
    const struct {
        std::int32_t timeOut;
        int turns;
    } cases[] = {{5001, 26}, {5000, 26}, {4999, 25}, {199, 1}, {0, 1}, {-1, 1}};
    for (const auto& one : cases) {
        SilentReceiver receiver(one.timeOut);
        EXPECT_EQ(receiver.turnsToRebuild(), one.turns) << one.timeOut;
        std::uint32_t back = 0;
        EXPECT_EQ(receiver.filter->GetTimeout(&back), S_OK);
        EXPECT_EQ(back, static_cast<std::uint32_t>(one.timeOut));
    }
}

TEST(TimeOut, AChangeActsAtTheNextSilentTurnAndCountsTheSilenceSoFar) {
    SilentReceiver receiver(100'000);
    ASSERT_TRUE(receiver.silence.turns(10));
    EXPECT_EQ(receiver.silence.made, 1);
    receiver.filter->SetTimeout(2000);
    ASSERT_TRUE(receiver.silence.turns(1));
    EXPECT_EQ(receiver.silence.made, 2) << "1100 ms of silence are above 1000";
    EXPECT_EQ(receiver.listener.heard(), "");
    for (const char* told : {"f", "ff"}) {
        receiver.filter->SetTimeout(told[1] == '\0' ? -1 : 0);
        ASSERT_TRUE(receiver.silence.turns(1));
        EXPECT_EQ(receiver.listener.heard(), told);
    }
    receiver.filter->SetTimeout(5001);
    ASSERT_TRUE(receiver.silence.turns(25));
    EXPECT_EQ(receiver.listener.heard(), "ff");
    ASSERT_TRUE(receiver.silence.turns(1));
    EXPECT_EQ(receiver.listener.heard(), "fff");
    EXPECT_EQ(receiver.silence.made, 2);
}

}  // namespace
