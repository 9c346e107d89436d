#include "network/packet_queue.h"

#include <algorithm>

namespace quorvel::network::udp::lib_udp::v2_1 {

void PacketQueue::removeHead() noexcept {
    --count_;
    // An empty queue begins anew at the first slot: at the usual length of one the same memory stays in the cache.
    first_ = count_ == 0 || first_ + 1 == slots_.size() ? 0 : first_ + 1;
}

UdpPacket& PacketQueue::append() {
    if (full()) removeHead();
    if (count_ == slots_.size()) grow();
    UdpPacket& slot = slots_[(first_ + count_) % slots_.size()];
    ++count_;
    return slot;
}

void PacketQueue::grow() {
    std::vector<UdpPacket> larger(std::min(kLimit, std::max<std::size_t>(64, 2 * slots_.size())));
    for (std::size_t i = 0; i < count_; ++i) larger[i] = slots_[(first_ + i) % slots_.size()];
    slots_ = std::move(larger);
    first_ = 0;
}

void PacketQueue::clear() noexcept {
    slots_ = {};
    first_ = 0;
    count_ = 0;
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
