#pragma once

#include <cstddef>
#include <vector>

#include "network/udp_sender.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

/// First-in, first-out queue of datagrams in reused slots: allocates only while it grows, up to kLimit packets.
/// Threads: one at a time (NetSender's lock).
class PacketQueue {
public:
    static constexpr std::size_t kLimit = 8192;

    bool empty() const noexcept { return count_ == 0; }
    std::size_t size() const noexcept { return count_; }
    const UdpPacket& head() const noexcept { return slots_[first_]; }
    void removeHead() noexcept;
    /// A slot behind the last packet, for the caller to fill; its old content is meaningless. At kLimit the head goes
    /// first: the caller looks at full() before. Throws std::bad_alloc with the queue as it was.
    UdpPacket& append();
    bool full() const noexcept { return count_ == kLimit; }
    /// Empties the queue and frees its slots.
    void clear() noexcept;

private:
    void grow();

    std::vector<UdpPacket> slots_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

}  // namespace quorvel::network::udp::lib_udp::v2_1
