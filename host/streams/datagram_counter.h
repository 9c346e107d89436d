#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "filters/sample_mark.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "ts/spacing_meter.h"

namespace mcgate::host {

/// Follows samples through the sender by its two crossing points and counts what left: samples are gathered whole into
/// datagrams of at most 1500 bytes, and a datagram leaves when the next sample does not fit. A sample that crosses out
/// tells that all before it are gone, too. The spacing of what left is measured by the first sample of each datagram.
/// Threads: any, but spacing and restart by one; the source's calls come in the order of its samples. One leaf lock.
class DatagramCounter {
public:
    using Callback =
        quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::IDelayCrossingCallback;
    struct Counts {
        std::uint64_t accepted = 0;   ///< samples that entered the sender
        std::uint64_t queued = 0;     ///< of those, the ones not known to have left
        std::uint64_t datagrams = 0;  ///< that left, to each destination
        std::uint64_t bytes = 0;      ///< in them
    };

    /// `now` is the time in 100 ns, of a clock that never goes back.
    explicit DatagramCounter(std::function<std::int64_t()> now = steadyTicks)
        : now_(std::move(now)), in_(*this, &DatagramCounter::entered), out_(*this, &DatagramCounter::left) {}
    /// To be called before the sample is delivered.
    void announce(const SampleMark& mark);
    Callback& input() noexcept { return in_; }
    Callback& output() noexcept { return out_; }
    Counts counts() const;
    /// Of the datagrams that left; empty before a second of the stream did, and where it isn't measured. To be called
    /// once a second: what left since waits for this thread, as the sender's has no time to measure.
    std::optional<SpacingMeter::Figures> spacing();
    /// Forgets all; the ids begin with 1 again.
    void restart(bool measuresSpacing);

private:
    class Point final : public Callback {
    public:
        using Passed = void (DatagramCounter::*)(std::uint64_t id);
        Point(DatagramCounter& owner, Passed passed) : owner_(owner), passed_(passed) {}
        void OnReserved() override {}
        void OnDataCrossing(std::uint64_t id) override { (owner_.*passed_)(id); }

    private:
        DatagramCounter& owner_;
        const Passed passed_;
    };
    struct Departure {
        std::int64_t place;  ///< in the stream's time
        std::int64_t delay;
        bool discontinuity;
    };

    void entered(std::uint64_t id);
    void left(std::uint64_t id);
    void gather(const SampleMark& sample, std::int64_t now);
    void count(const SampleMark& first, std::size_t datagrams, std::size_t bytes, std::int64_t now);

    static std::int64_t steadyTicks();

    const std::function<std::int64_t()> now_;
    Point in_;
    Point out_;
    mutable std::mutex lock_;
    Counts counts_;
    SampleMark announced_;
    std::deque<SampleMark> inside_;  ///< entered and not known to have left
    SampleMark gathered_;            ///< what waits for the next sample: its first one, with the bytes of all
    bool measures_ = false;
    std::vector<Departure> departures_;  ///< not measured yet

    // Of the thread that asks.
    std::vector<Departure> measured_;  ///< empty; keeps its room for departures_
    SpacingMeter spacing_;
};

}  // namespace mcgate::host
