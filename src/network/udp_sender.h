#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quorvel::network::udp::lib_udp::v2_1 {

/// One datagram on its way to the destinations.
struct UdpPacket {
    static constexpr std::size_t kCapacity = 1500;
    std::uint16_t size = 0;  ///< valid bytes of payload
    std::array<std::uint8_t, kCapacity> payload;
    std::int64_t timeTag = 0;  ///< sample time given with the first bytes, 100 ns; never leaves the process
};

/// One destination.
class UdpSender {
public:
    /// Sends the payload as one datagram; throws when the destination failed and the packet should be tried again.
    virtual void send(const UdpPacket& packet) = 0;
    virtual ~UdpSender() = default;
};

}  // namespace quorvel::network::udp::lib_udp::v2_1
