#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ts/ts_packet.h"

namespace mcgate::host {

/// Finds the packets in datagrams, also those that cross from one to the next; passes over what is none. One thread.
class PacketScanner {
public:
    /// Calls `found(packet, offset)` for each packet that is whole now. Offsets count all bytes since the first.
    template <class Found>
    void add(const std::uint8_t* data, std::size_t size, Found&& found) {
        const std::uint64_t first = bytes_ - partial_.size();
        bytes_ += size;
        partial_.insert(partial_.end(), data, data + size);
        std::size_t at = 0;
        while (partial_.size() - at >= kPacketSize) {
            if (!ts_validate(&partial_[at])) {
                ++skipped_;
                ++at;
                continue;
            }
            found(static_cast<const std::uint8_t*>(&partial_[at]), first + at);
            at += kPacketSize;
        }
        partial_.erase(partial_.begin(), partial_.begin() + static_cast<std::ptrdiff_t>(at));
    }
    /// Bytes given so far: the offset of the next one.
    std::uint64_t bytes() const noexcept { return bytes_; }
    /// Bytes that belong to no packet.
    std::uint64_t skipped() const noexcept { return skipped_; }
    /// Whether the last byte was the last of a packet.
    bool atBoundary() const noexcept { return partial_.empty(); }

private:
    std::vector<std::uint8_t> partial_;
    std::uint64_t bytes_ = 0;
    std::uint64_t skipped_ = 0;
};

}  // namespace mcgate::host
