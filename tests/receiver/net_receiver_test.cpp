#include "receiver/net_receiver.h"

#include <gtest/gtest.h>

#include <deque>
#include <stdexcept>

#include "platform/process/process.h"
#include "support/fake_listener.h"
#include "support/presence_listener.h"

namespace {

using namespace quorvel::network::udp::lib_udp::v2_1;

/// What all fake listeners of a test yield: a result of Receive per readable datagram, nothing otherwise.
struct Wire {
    std::deque<std::int32_t> results;
    int made = 0;
    int reports = 0;
    bool refuseListener = false;
    bool refuseReport = false;

    std::int32_t next() {
        const std::int32_t result = results.front();
        results.pop_front();
        return result;
    }
};

class FakeReports final : public quorvel::network::ip::igmp_socket::v0::IRawMembershipSender {
public:
    explicit FakeReports(Wire& wire) : wire_(wire) {}
    std::int32_t SendMembershipReport(const char*) override { return 0; }
    std::int32_t SendMembershipReport(std::uint32_t) override {
        ++wire_.reports;
        if (wire_.refuseReport) throw std::runtime_error("no privilege");
        return 8;
    }

private:
    Wire& wire_;
};

/// A pin that is not active, so that turns read into the scratch buffer.
class IdlePin final : public IReceiverPin {
public:
    HRESULT GetDeliveryBuffer(IMediaSample**, REFERENCE_TIME*, REFERENCE_TIME*, std::uint32_t) override {
        return answer;
    }
    HRESULT Deliver(IMediaSample*) override { return S_OK; }
    bool BreakWait() override { return false; }
    void MendAfterBreak() override {}
    HRESULT answer = VFW_E_NOT_COMMITTED;
};

/// The worker's turns on the test's thread. Start makes a thread, so the listener is put in place by a Start whose
/// thread is stopped again before the first turn counts.
struct NetReceiverTest : testing::Test {
    Wire wire;
    IdlePin pin;
    FlowWatch watch;
    test::PresenceListener listener;
    CNetReceiver receiver{pin,
                          watch,
                          {[this](const Endpoint& target) -> std::unique_ptr<INetListener> {
                               if (wire.refuseListener) throw std::runtime_error("interface gone");
                               ++wire.made;
                               return std::make_unique<test::FakeListener>(
                                   target, [this] { return !wire.results.empty(); }, [this] { return wire.next(); });
                           },
                           [this] { return std::make_unique<FakeReports>(wire); }}};

    void SetUp() override { watch.listener.set(&listener); }
    /// To be called in ASSERT_NO_FATAL_FAILURE: without a listener there is nothing to tell.
    void start(const Endpoint& target) {
        pin.answer = E_FAIL;  // the thread's turns do nothing
        ASSERT_EQ(receiver.Start(target), S_OK);
        receiver.StopThread();
        pin.answer = VFW_E_NOT_COMMITTED;
    }
    void turns(int count) {
        for (int i = 0; i < count; ++i) receiver.ReceiveTurn();
    }
};

TEST_F(NetReceiverTest, SilenceRebuildsAt26AndIsToldAt52And78) {
    watch.thresholdMs = 2500;
    ASSERT_NO_FATAL_FAILURE(start(MakeEndpoint("127.0.0.1", 5000, "239.1.1.1", "")));
    turns(25);
    EXPECT_EQ(wire.made, 1);
    turns(1);
    EXPECT_EQ(wire.made, 2);
    turns(25);
    EXPECT_EQ(listener.heard(), "");
    turns(1);
    EXPECT_EQ(listener.heard(), "f");
    turns(26);
    EXPECT_EQ(listener.heard(), "ff");
    EXPECT_EQ(wire.made, 2);
    EXPECT_EQ(wire.reports, 78);
}

TEST_F(NetReceiverTest, DataClearsTheCountersAndIsToldOncePerChange) {
    watch.thresholdMs = 250;
    ASSERT_NO_FATAL_FAILURE(start(MakeEndpoint("127.0.0.1", 5000, "0.0.0.0", "")));
    wire.results = {1316, 1316};
    turns(2);
    EXPECT_EQ(listener.heard(), "T");
    turns(5);  // rebuilt, and not yet told
    wire.results = {1316};
    turns(1);
    EXPECT_EQ(listener.heard(), "T") << "the flag was still set";
    turns(6);
    EXPECT_EQ(listener.heard(), "Tf");
    wire.results = {1316};
    turns(1);
    EXPECT_EQ(listener.heard(), "TfT");
    EXPECT_EQ(wire.reports, 0) << "a unicast listener announces nothing";
}

TEST_F(NetReceiverTest, EmptyAndFailedReadsAreNeitherDataNorSilence) {
    watch.thresholdMs = 250;
    ASSERT_NO_FATAL_FAILURE(start(MakeEndpoint("127.0.0.1", 5000, "0.0.0.0", "")));
    for (int i = 0; i < 4; ++i) {
        turns(1);
        EXPECT_EQ(wire.made, i < 2 ? 1 : 2) << "the third silent turn expires, the reads between do not count";
        wire.results = {0, -1, -1};
        turns(3);
    }
    EXPECT_EQ(listener.heard(), "");
}

TEST_F(NetReceiverTest, AThresholdOfNothingExpiresEveryTurn) {
    watch.thresholdMs = 0;
    ASSERT_NO_FATAL_FAILURE(start(MakeEndpoint("127.0.0.1", 5000, "232.1.1.1", "10.0.0.1")));
    turns(3);
    EXPECT_EQ(wire.made, 2);
    EXPECT_EQ(listener.heard(), "ff");
    watch.thresholdMs = 1'000'000;
    turns(10);
    EXPECT_EQ(listener.heard(), "ff");
    watch.thresholdMs = 1000;
    turns(1);
    EXPECT_EQ(listener.heard(), "fff") << "the silence so far counts";
    EXPECT_EQ(wire.reports, 0) << "a source-specific join announces nothing";
}

TEST_F(NetReceiverTest, AFailedRebuildIsRetriedEachSecondWhileSilenceGoesOn) {
    mcgate::process::setTickOffset(0);
    const auto pass = [](std::uint32_t ms) { mcgate::process::setTickOffset(mcgate::process::tickOffset() + ms); };
    watch.thresholdMs = 2500;
    wire.refuseReport = true;
    ASSERT_NO_FATAL_FAILURE(start(MakeEndpoint("127.0.0.1", 5000, "239.1.1.1", "")));
    turns(25);
    wire.refuseListener = true;
    turns(1);
    EXPECT_EQ(receiver.ReceiveTurn(), E_UNEXPECTED);
    pass(2600);
    EXPECT_EQ(receiver.ReceiveTurn(), E_UNEXPECTED);
    EXPECT_EQ(listener.heard(), "f") << "no data is told without a listener, too";
    wire.refuseListener = false;
    turns(1);
    EXPECT_EQ(wire.made, 1) << "not before a second has passed";
    pass(1100);
    turns(1);
    EXPECT_EQ(wire.made, 2);
    wire.results = {100};
    EXPECT_EQ(receiver.ReceiveTurn(), S_OK);
    EXPECT_EQ(listener.heard(), "fT");
    mcgate::process::setTickOffset(0);
}

TEST_F(NetReceiverTest, AFailedStartLeavesNothingBehind) {
    EXPECT_EQ(receiver.ReceiveTurn(), E_UNEXPECTED);
    wire.refuseListener = true;
    EXPECT_EQ(receiver.Start(MakeEndpoint("127.0.0.1", 5000, "239.1.1.1", "")), E_FAIL);
    EXPECT_EQ(receiver.ReceiveTurn(), E_UNEXPECTED);
    EXPECT_EQ(wire.made, 0);
}

}  // namespace
