#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "ts/packet_scanner.h"

namespace mcgate::host {

/// Measures a received transport stream: continuity, and how well the spacing of its datagrams was kept.
///
/// Spacing error: each datagram has a place in the stream's time (linear between PCRs) and a time of arrival. Within
/// each second of the stream, a datagram's error is the distance of (arrival - stream time) from that second's median
/// of it. Threads: add by one; figures by any.
class StreamMeter {
public:
    struct Figures {
        std::uint64_t packets = 0;
        std::uint64_t continuityErrors = 0;
        std::uint64_t syncErrors = 0;
        std::size_t spacingSamples = 0;
        double medianMs = 0;
        double p99Ms = 0;
        double maxMs = 0;
        double lastP99Ms = 0;  ///< within the last whole second of the stream
    };

    /// A datagram's payload, and when it came in 100 ns. Packets may cross datagrams.
    void add(const std::uint8_t* data, std::size_t size, std::int64_t arrival);
    Figures figures() const;

private:
    static constexpr std::size_t kBins = 100'000;  // of 10 us: one second
    static constexpr std::int64_t kBinWidth = 100;

    struct Arrival {
        std::uint64_t offset;
        std::int64_t time;
    };

    void takePacket(const std::uint8_t* packet, std::uint64_t offset);
    void checkContinuity(const std::uint8_t* packet);
    void onPcr(std::uint64_t pcr, std::uint64_t offset, bool broken);
    void closeSecond();

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
    double streamTime_ = 0;             ///< of lastPcr_, 100 ns
    std::vector<Arrival> unplaced_;     ///< datagrams since lastPcr_
    std::vector<std::int64_t> delays_;  ///< arrival - stream time of this second's datagrams
    double secondEnds_ = 10'000'000;
    std::vector<std::uint32_t> histogram_ = std::vector<std::uint32_t>(kBins);
    std::int64_t largest_ = 0;
};

}  // namespace mcgate::host
