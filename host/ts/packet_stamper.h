#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ts/ts_packet.h"

namespace mcgate::host {

struct StampedPacket {
    TsPacket bytes;
    std::int64_t time = 0;       ///< 100 ns, from 0 at the first packet
    bool discontinuity = false;  ///< the stream's clock begins anew here
};

/// Gives packets their times by the stream's PCRs: linear between two of them, so packets wait here for the next PCR.
/// The first pid with a PCR counts. A discontinuity_indicator, or a step of more than 100 ms or backwards, is a new
/// base: times go on from there without a jump. One thread.
class PacketStamper {
public:
    /// Appends to `out` what can be stamped now.
    void add(const std::uint8_t* packet, std::vector<StampedPacket>& out);
    /// The rest, at the last rate.
    void finish(std::vector<StampedPacket>& out);
    /// As finish, and the next packet begins a new base.
    void restart(std::vector<StampedPacket>& out);
    /// Bits per second of the last interval; 0 before the second PCR.
    std::uint32_t bitRate() const noexcept;

private:
    void emit(std::vector<StampedPacket>& out);

    std::vector<StampedPacket> waiting_;
    std::optional<std::uint64_t> lastPcr_;
    std::optional<std::uint16_t> pcrPid_;
    std::size_t pcrIndex_ = 0;  ///< of the packet in waiting_ that carried lastPcr_
    double perPacket_ = 0;      ///< 100 ns
    double next_ = 0;
    bool newBase_ = false;
};

}  // namespace mcgate::host
