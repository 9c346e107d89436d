// The private time-stamped stream from one graph to another: each time arrives as it was given.

#include <gtest/gtest.h>
#include <poll.h>

#include <bit>
#include <limits>

#include "interfaces/class_ids.h"
#include "interfaces/i_sender_config.h"
#include "receiving_graph.h"
#include "support/plain_sockets.h"

namespace {

using namespace test;

constexpr std::uint16_t kPort = 45700;
constexpr std::uint16_t kWirePort = 45701;
constexpr const char* kHere = "127.0.0.1";

CMediaType privateType() { return {MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped}; }

/// Feeder, sender; to the receiver and to a plain socket beside it.
struct TimeStampedSending {
    const RegisteredModule& module = RegisteredModule::once();
    ComPtr<IBaseFilter> filter = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    ComPtr<FeedingFilter> feeder{new FeedingFilter(privateType(), 64, 64)};
    PinConnection connection{feeder->output(), mcgate::host::findPin(*filter, PINDIR_INPUT).get()};

    TimeStampedSending() {
        const auto config = filter.query<ISenderConfig>();
        std::int32_t index = 0;
        for (const std::uint16_t port : {kPort, kWirePort}) {
            EXPECT_EQ(config->AddDestination(u"127.0.0.1", port, u"127.0.0.1", &index), S_OK);
        }
        EXPECT_EQ(connection.status(), S_OK);
        EXPECT_EQ(filter->Run(0), S_OK);
        EXPECT_EQ(feeder->Run(0), S_OK);
    }
    ~TimeStampedSending() {
        filter->Stop();
        feeder->Stop();
    }
};

/// What a plain socket is given next; empty when nothing comes.
std::vector<std::uint8_t> nextAt(const PlainSocket& socket) {
    pollfd watched{socket.get(), POLLIN, 0};
    if (poll(&watched, 1, 20'000) != 1) return {};
    std::vector<std::uint8_t> bytes(2048);
    const ssize_t length = recv(socket.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return bytes;
}

TEST(TimeStamped, EachTimeArrivesAsItWasGiven) {
    const PlainSocket wire(AF_INET);
    ASSERT_TRUE(wire.bind(Endpoint(kHere, kWirePort), true));
    ReceivingGraph receiving(kPort, kHere, "0.0.0.0", "", 5000, {privateType()});
    receiving.start();
    TimeStampedSending sending;

    constexpr REFERENCE_TIME kLeast = std::numeric_limits<REFERENCE_TIME>::min();
    constexpr REFERENCE_TIME kMost = std::numeric_limits<REFERENCE_TIME>::max();
    const REFERENCE_TIME times[] = {0, 1, -1, 0x0102030405060708, kLeast, kMost - 1, 5, kMost};
    std::vector<std::uint8_t> payload(8, 0xA0);
    ASSERT_EQ(sending.feeder->deliver(payload), S_OK);  // without a time: it is not sent
    for (const REFERENCE_TIME time : times) {
        ++payload[0];
        ASSERT_EQ(sending.feeder->deliver(payload, {.start = time}), S_OK);
    }
    ASSERT_TRUE(receiving.collector->waitForSamples(std::size(times)));
    const auto samples = receiving.collector->samples();
    ASSERT_EQ(samples.size(), std::size(times));
    static_assert(std::endian::native == std::endian::little, "as the times on the wire");
    payload[0] = 0xA0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        ++payload[0];
        EXPECT_EQ(samples[i].bytes, payload);
        EXPECT_EQ(samples[i].timeStatus, S_OK);
        EXPECT_EQ(samples[i].start, times[i]);
        EXPECT_EQ(samples[i].stop, times[i] == kMost ? kLeast : times[i] + 1);
        const auto datagram = nextAt(wire);
        ASSERT_EQ(datagram.size(), 16U);
        EXPECT_EQ(std::memcmp(datagram.data(), &times[i], 8), 0);
        EXPECT_EQ(std::memcmp(datagram.data() + 8, payload.data(), 8), 0);
    }
}

}  // namespace
