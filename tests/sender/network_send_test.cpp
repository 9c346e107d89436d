#include "sender/network_send.h"

#include <gtest/gtest.h>

#include "support/fake_udp_sender.h"
#include "support/recording_log.h"
#include "support/test_filters.h"

namespace {

using mcgate::platform::ComPtr;

CMediaType transportType(std::uint32_t bitRate) {
    CMediaType type(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
    const AM_MPEGSYSTEMTYPE block{bitRate, 0};
    type.SetFormat(FORMAT_MPEGStreams, &block, sizeof block);
    return type;
}

/// Follows data ids; can hold its caller.
class Crossing final : public IDelayCrossingCallback {
public:
    void OnReserved() override {}
    void OnDataCrossing(std::uint64_t id) override {
        std::unique_lock hold(lock_);
        ids_.push_back(id);
        changed_.notify_all();
        changed_.wait(hold, [this] { return !holding_; });
    }
    void hold(bool on) {
        const std::lock_guard guard(lock_);
        holding_ = on;
        changed_.notify_all();
    }
    bool waitFor(std::size_t count) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, test::kDeadline, [&] { return ids_.size() >= count; });
    }
    std::vector<std::uint64_t> ids() {
        const std::lock_guard hold(lock_);
        return ids_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool holding_ = false;
    std::vector<std::uint64_t> ids_;
};

struct NetworkSendTest : testing::Test {
    test::RecordingLog log;
    test::FakeNetwork network;
    test::FakeGraph graph;
    Crossing input;
    Crossing output;
    HRESULT status = S_OK;
    ComPtr<CNetworkSend> filter{new CNetworkSend(nullptr, &status, network.maker())};
    ComPtr<test::FeedingFilter> feeder{new test::FeedingFilter(transportType(0), 4)};
    std::unique_ptr<test::PinConnection> connection;

    void SetUp() override {
        ASSERT_EQ(status, S_OK);
        filter->SetLogPerf(&log);
        filter->JoinFilterGraph(&graph, u"sender");
    }
    void TearDown() override {
        input.hold(false);
        output.hold(false);
        filter->Stop();
        feeder->Stop();
        if (connection) connection->disconnect();
        filter->JoinFilterGraph(nullptr, nullptr);
        filter->SetLogPerf(nullptr);
    }
    void connect() {
        connection = std::make_unique<test::PinConnection>(feeder->output(), filter->GetPin(0));
        ASSERT_EQ(connection->status(), S_OK);
    }
    void run() {
        std::int32_t index = -1;
        ASSERT_EQ(filter->AddDestination(u"127.0.0.1", 9, u"127.0.0.1", &index), S_OK);
        connect();
        ASSERT_EQ(filter->Run(0), S_OK);
        ASSERT_EQ(feeder->Run(0), S_OK);
    }
};

TEST_F(NetworkSendTest, WithoutDestinationsPauseFailsAndTellsWhy) {
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_EQ(filter->Run(0), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());
    EXPECT_EQ(log.count("Unable to start net sender: unable to create UDP senders"), 2);
    filter->SetDestination(0, u"nonsense", 5, u"127.0.0.1");
    EXPECT_EQ(log.count("Invalid dest address: getaddrinfo failed with "), 1);
    std::int32_t index = 5;
    ASSERT_EQ(filter->AddDestination(u"127.0.0.1", 9, u"127.0.0.1", &index), S_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(filter->SetDestination(0, u"nonsense", 5, u"also"), S_OK) << "looked at only when the filter starts";
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());
}

TEST_F(NetworkSendTest, TheListKeepsItsRules) {
    std::int32_t index = 7;
    EXPECT_EQ(filter->RemoveDestination(0), S_FALSE);
    EXPECT_EQ(filter->AddDestination(u"239.1.1.1", 9, u"224.0.0.1", &index), E_FAIL);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(filter->SetDestination(5, u"239.1.1.1", 70000, u"127.0.0.1"), S_OK);
    EXPECT_EQ(filter->RemoveDestination(0), S_FALSE) << "the only one stays";
    EXPECT_EQ(filter->AddDestination(u"ff15::1", 9, u"::1", &index), S_OK);
    EXPECT_EQ(filter->SetDestination(-1, u"239.1.1.1", 9, u"127.0.0.1"), E_INVALIDARG);
    BSTR remote = nullptr;
    BSTR local = nullptr;
    std::uint32_t port = 0;
    ASSERT_EQ(filter->GetDestination(0, &remote, &port, &local), S_OK);
    EXPECT_EQ(mcgate::platform::toNarrow(remote) + " " + std::to_string(port) + " " + mcgate::platform::toNarrow(local),
              "239.1.1.1 4464 127.0.0.1");
    SysFreeString(remote);
    SysFreeString(local);
    EXPECT_EQ(filter->GetDestination(2, &remote, &port, &local), S_FALSE);
    EXPECT_EQ(filter->GetDestination(-1, &remote, &port, &local), S_FALSE);
    EXPECT_EQ(filter->RemoveDestination(0), S_OK);
    EXPECT_EQ(filter->RemoveDestination(0), S_FALSE);
}

TEST_F(NetworkSendTest, ThePinAcceptsThreeTypesAndAsksForThirtySeconds) {
    auto& pin = *static_cast<CInputPin*>(filter->GetPin(0));
    EXPECT_EQ(filter->GetPin(1), nullptr);
    CMediaType type;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(pin.GetMediaType(i, &type), S_OK);
        EXPECT_EQ(pin.CheckMediaType(&type), i == 1 ? S_FALSE : S_OK) << "the transport stream needs its format";
    }
    EXPECT_EQ(pin.GetMediaType(3, &type), VFW_S_NO_MORE_ITEMS);
    const std::pair<std::uint32_t, std::int32_t> requirements[] = {
        {0, 0}, {8'000'000, 117'187}, {8'000'007, 117'187}, {2'000'000'000, 29'296'875}};
    for (const auto& [rate, buffers] : requirements) {
        type = transportType(rate);
        ASSERT_EQ(pin.SetMediaType(&type), S_OK);
        ALLOCATOR_PROPERTIES asked;
        pin.GetAllocatorRequirements(&asked);
        EXPECT_EQ(asked.cBuffers, buffers);
        EXPECT_EQ(asked.cbBuffer, 256);
        EXPECT_EQ(asked.cbAlign, 32);
    }
}

TEST_F(NetworkSendTest, SamplesCrossInOrderAndEndIsToldOnce) {
    filter->SetInputCrossingCallback(&input);
    filter->SetOutputCrossingCallback(&output);
    run();
    for (std::uint64_t id = 1; id <= 50; ++id) {
        ASSERT_EQ(
            feeder->deliver(std::vector<std::uint8_t>(1500, static_cast<std::uint8_t>(id)), {.start = 0, .dataId = id}),
            S_OK);
        ASSERT_TRUE(output.waitFor(id));
    }
    EXPECT_EQ(input.ids(), output.ids());
    EXPECT_EQ(network.bytes().size(), 75'000U);
    feeder->deliverEndOfStream();
    feeder->deliverEndOfStream();
    EXPECT_EQ(graph.count(EC_COMPLETE), 1);
}

TEST_F(NetworkSendTest, AFullPoolDropsUntilThereIsRoomAndStartsNoFlush) {
    filter->SetInputCrossingCallback(&input);
    filter->SetOutputCrossingCallback(&output);
    run();
    output.hold(true);  // the loop stands with the first sample
    for (std::uint64_t id = 1; id <= 3; ++id) {
        ASSERT_EQ(feeder->deliver(std::vector<std::uint8_t>(1500), {.dataId = id}), S_OK);
        ASSERT_TRUE(output.waitFor(1));
    }
    EXPECT_EQ(log.count("started dropping"), 0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(feeder->deliver(std::vector<std::uint8_t>(1500), {.discontinuity = true, .dataId = 99}), S_OK);
    }
    EXPECT_EQ(input.ids(), (std::vector<std::uint64_t>{1, 2, 3})) << "four buffers queue three";
    output.hold(false);
    ASSERT_TRUE(output.waitFor(3));
    while (feeder->output()->allocator() != nullptr && log.count("stopped dropping") == 0) {
        ASSERT_EQ(feeder->deliver(std::vector<std::uint8_t>(1500), {.dataId = 4}), S_OK);
    }
    EXPECT_EQ(log.count("input queue full, started dropping samples"), 1);
    EXPECT_EQ(log.count("Flush start"), 0);
}

TEST_F(NetworkSendTest, AClearedCallbackIsNotCalledAgain) {
    filter->SetOutputCrossingCallback(&output);
    run();
    output.hold(true);
    feeder->deliver(std::vector<std::uint8_t>(1500), {.dataId = 1});
    ASSERT_TRUE(output.waitFor(1));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(filter->SetOutputCrossingCallback(nullptr), S_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200)) << "it waits for the call";
    output.hold(false);
    feeder->deliver(std::vector<std::uint8_t>(1500), {.dataId = 2});
    ASSERT_TRUE(network.waitForDatagrams(2));
    EXPECT_EQ(output.ids().size(), 1U);
}

TEST_F(NetworkSendTest, ADestructionDuringALongWaitEndsAtOnce) {
    run();
    feeder->deliver(std::vector<std::uint8_t>(1500), {.start = 0});
    feeder->deliver(std::vector<std::uint8_t>(1500), {.start = 3600 * kTicksPerSecond});
    filter->Stop();
    feeder->Stop();
    connection->disconnect();
    connection.reset();
    filter->JoinFilterGraph(nullptr, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    filter.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    filter = ComPtr<CNetworkSend>(new CNetworkSend(nullptr, &status, network.maker()));
}

}  // namespace
