#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "ts/packet_scanner.h"

namespace mcgate::host {

struct DatagramStamp {
    std::int64_t time = 0;       ///< 100 ns, on the clock of the arrivals
    bool discontinuity = false;  ///< what is on its way has nothing to do with this datagram's time
};

/// Gives the datagrams of a live transport stream their times. These lie on the clock of the arrivals and have the
/// spacing of the stream's own clock: linear by bytes between two PCRs (ISO/IEC 13818-1, 2.4.2), so a datagram waits
/// here for the PCR behind it. All times are in 100 ns.
///
/// The two clocks drift apart, so each PCR moves the scale towards the arrivals, by at most 500 ppm. A PCR that breaks
/// off (a discontinuity_indicator, a step of more than 100 ms or backwards, another pid) goes on where the bytes say,
/// or at its arrival where that is elsewhere. Nothing waits longer than 150 ms: until the next PCR datagrams then go by
/// the last rate, and after a second without one, or where there never was any, by their arrivals. The first pid with a
/// PCR counts; another takes over when it has shown none for a second. A silence, and a scale that turns out to lie
/// more than 200 ms behind the arrivals, is a discontinuity. One thread.
class DatagramStamper {
public:
    /// `silence`: what counts as one. Without `byPcr` every datagram keeps its arrival.
    DatagramStamper(std::int64_t silence, bool byPcr) : silence_(silence), byPcr_(byPcr) {}

    /// All of these append to `out` the stamps of the datagrams that are decided now, in the order in which they came.
    void add(const std::uint8_t* data, std::size_t size, std::int64_t arrival, std::vector<DatagramStamp>& out);
    /// To be called now and then: lets go of what has waited too long for a PCR.
    void releaseOverdue(std::int64_t now, std::vector<DatagramStamp>& out);
    void releaseAll(std::vector<DatagramStamp>& out);

    /// Bits per second by the PCRs of the last second of unbroken intervals; 0 before the first second, and while the
    /// clock is lost.
    std::uint32_t bitRate() const noexcept { return bitRate_; }
    /// Whether the stream so far ends with a whole packet.
    bool atPacketBoundary() const noexcept { return scanner_.atBoundary(); }

private:
    struct Waiting {
        std::uint64_t offset;  ///< of its first byte
        std::int64_t arrival;
        bool discontinuity;
    };
    /// Where the stream's clock and the arrivals' meet.
    struct Anchor {
        std::uint64_t pcr;
        std::uint64_t offset;
        double time;
    };
    using Stamps = std::vector<DatagramStamp>;

    void takePacket(const std::uint8_t* packet, std::uint64_t offset, const Waiting& datagram, Stamps& out);
    bool follows(std::uint16_t pid, std::int64_t arrival, bool& broken);
    void onPcr(std::uint64_t pcr, std::uint64_t offset, bool broken, const Waiting& datagram, Stamps& out);
    void goOn(std::uint64_t pcr, std::uint64_t offset, double interval, const Waiting& datagram, Stamps& out);
    void beginAnew(std::uint64_t pcr, std::uint64_t offset, std::int64_t arrival, Stamps& out);
    void loseClock(Stamps& out);
    void learnRate(double interval, double bytes);
    std::int64_t placeOf(const Waiting& one) const;
    void release(std::uint64_t upTo, Stamps& out);

    const std::int64_t silence_;
    const bool byPcr_;
    PacketScanner scanner_;
    std::deque<Waiting> waiting_;
    std::optional<std::int64_t> lastArrival_;
    std::optional<std::uint16_t> pcrPid_;
    std::int64_t pcrArrival_ = 0;  ///< of that pid's last one
    std::optional<Anchor> anchor_;
    double perByte_ = 0;    ///< of the last interval; 0 when not known
    bool overdue_ = false;  ///< nothing waits until the next PCR
    bool breaks_ = false;   ///< the next datagram is a discontinuity
    double rateTicks_ = 0;
    double rateBytes_ = 0;
    std::uint32_t bitRate_ = 0;
};

}  // namespace mcgate::host
