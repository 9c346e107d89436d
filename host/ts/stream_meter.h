#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "ts/packet_scanner.h"
#include "ts/spacing_meter.h"

namespace mcgate::host {

/// Measures a received transport stream: continuity, and how well the spacing of its datagrams was kept.
///
/// A datagram's place in the stream's time is linear between PCRs. Threads: add by one; figures by any.
class StreamMeter {
public:
    struct Figures {
        std::uint64_t packets = 0;
        std::uint64_t continuityErrors = 0;
        std::uint64_t syncErrors = 0;
        SpacingMeter::Figures spacing;  ///< of the datagrams' arrivals
    };

    /// A datagram's payload, and when it came in 100 ns. Packets may cross datagrams.
    void add(const std::uint8_t* data, std::size_t size, std::int64_t arrival);
    Figures figures() const;

private:
    struct Arrival {
        std::uint64_t offset;
        std::int64_t time;
    };

    void takePacket(const std::uint8_t* packet, std::uint64_t offset);
    void checkContinuity(const std::uint8_t* packet);
    void onPcr(std::uint64_t pcr, std::uint64_t offset, bool broken);

    mutable std::mutex lock_;
    Figures figures_;
    PacketScanner scanner_;
    std::array<std::int8_t, 8192> counters_ = [] {
        std::array<std::int8_t, 8192> none;
        none.fill(-1);
        return none;
    }();
    std::array<bool, 8192> repeated_{};
    std::optional<std::uint16_t> pcrPid_;
    std::optional<std::uint64_t> lastPcr_;
    std::uint64_t lastPcrOffset_ = 0;
    double streamTime_ = 0;          ///< of lastPcr_, 100 ns
    std::vector<Arrival> unplaced_;  ///< datagrams since lastPcr_
    SpacingMeter spacing_;
};

}  // namespace mcgate::host
