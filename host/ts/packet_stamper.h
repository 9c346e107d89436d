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
/// The first pid with a PCR counts, another one when that has shown none for a second or 8 MiB. A
/// discontinuity_indicator, a step of more than 100 ms or backwards, another pid, or a PCR after 8 MiB without one is a
/// new base: times go on from there without a jump. One thread.
class PacketStamper {
public:
    /// Appends to `out` what can be stamped now.
    void add(const std::uint8_t* packet, std::vector<StampedPacket>& out);
    /// The rest, at the last rate.
    void finish(std::vector<StampedPacket>& out);
    /// As finish, and the next packet begins a new base.
    void restart(std::vector<StampedPacket>& out);
    /// Mean bits per second over the first second of unbroken intervals, or over what there is of it; 0 before the
    /// first. Clamped to 31 bits.
    std::uint32_t bitRate() const noexcept;
    /// PCRs that counted.
    std::uint64_t references() const noexcept { return references_; }
    /// Whether bitRate() stands on a whole second.
    bool rateIsSettled() const noexcept;

private:
    bool follows(std::uint16_t pid);
    void loseClock();
    bool beginsAnew(std::uint64_t pcr, const std::uint8_t* packet);
    void learnRate(double interval, double packets);
    void emit(std::vector<StampedPacket>& out);

    std::vector<StampedPacket> waiting_;
    std::optional<std::uint64_t> lastPcr_;
    std::optional<std::uint16_t> pcrPid_;
    std::size_t pcrIndex_ = 0;  ///< of the packet in waiting_ that carried lastPcr_
    double perPacket_ = 0;      ///< 100 ns
    double next_ = 0;
    double rateTicks_ = 0;    ///< of the intervals that bitRate() is the mean of, 100 ns
    double ratePackets_ = 0;  ///< in them
    bool lost_ = false;       ///< there was a PCR, but too long ago
    std::uint64_t references_ = 0;
    bool newBase_ = false;
};

}  // namespace mcgate::host
