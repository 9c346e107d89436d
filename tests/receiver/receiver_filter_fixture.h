#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

#include "network/sock_udp_sender.h"
#include "platform/socket.h"
#include "receiver/network_receiver_filter.h"
#include "support/recording_log.h"
#include "support/test_filters.h"

namespace test {

/// The receiver on a loopback port, before a collector.
struct ReceiverFilterTest : testing::Test {
    /// Below the range of which the sender's own port is.
    static constexpr std::uint16_t kPort = 25100;
    static constexpr std::uint16_t kOtherPort = 25101;

    RecordingLog log;
    ComPtr<CNetworkReceiverFilter> filter{new CNetworkReceiverFilter(nullptr)};
    ComPtr<CollectingFilter> collector{new CollectingFilter};
    std::unique_ptr<PinConnection> connection;
    quorvel::network::udp::lib_udp::v2_1::SockUdpSender sender{
        quorvel::network::udp::lib_udp::v2_1::MakeDestinationAddresses("127.0.0.1", kPort, "127.0.0.1")};

    void SetUp() override { filter->SetLogPerf(&log); }
    void TearDown() override {
        collector->release();
        collector->letGo();
        if (filter) filter->Stop();
        collector->Stop();
        if (connection) connection->disconnect();
    }

    /// A filter whose workers make these listeners and raw senders, in place of the one that is there.
    void useMakers(CNetReceiver::Makers makers) {
        filter = new CNetworkReceiverFilter(nullptr, std::move(makers));
        filter->SetLogPerf(&log);
    }
    HRESULT listenOn(std::uint16_t port) { return filter->SetSource(port, u"127.0.0.1", u"0.0.0.0", u""); }
    /// The next three are to be called in ASSERT_NO_FATAL_FAILURE.
    void connect() {
        connection = std::make_unique<PinConnection>(filter->GetPin(0), collector->input());
        ASSERT_EQ(connection->status(), S_OK);
        ASSERT_EQ(listenOn(kPort), S_OK);
    }
    void run() {
        ASSERT_EQ(collector->Run(0), S_OK);
        ASSERT_EQ(filter->Run(0), S_OK);
    }

    /// Running before a collector that keeps its samples, the worker waits for one.
    void runUntilDry(int notices = 1) {
        collector->holdSamples();
        ASSERT_NO_FATAL_FAILURE(run());
        for (int i = 0; i < 200; ++i) send(1);
        ASSERT_TRUE(log.waitForFull(notices));
    }

    static quorvel::network::udp::lib_udp::v2_1::UdpPacket packet(std::uint8_t value, std::uint16_t size) {
        quorvel::network::udp::lib_udp::v2_1::UdpPacket packet;
        packet.size = size;
        packet.payload.fill(value);
        return packet;
    }
    void send(std::uint8_t value, std::uint16_t size = 1316) { sender.send(packet(value, size)); }
    std::uint8_t present() {
        std::uint8_t flag = 2;
        filter->GetDataPresent(&flag);
        return flag;
    }
    static bool within(std::chrono::milliseconds limit, const std::function<void()>& action) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        return std::chrono::steady_clock::now() - begin < limit;
    }
};

/// A socket of another program that shares its port with nobody; invalid while somebody has the port.
inline mcgate::platform::Socket takePort(std::uint16_t port) {
    auto socket = mcgate::platform::Socket::openDatagram(mcgate::platform::kFamilyIPv4);
    mcgate::platform::SocketAddress local;
    const bool bound = mcgate::platform::resolveNumeric("127.0.0.1", port, local) == 0 && socket.bind(local);
    return bound ? std::move(socket) : mcgate::platform::Socket();
}

}  // namespace test
