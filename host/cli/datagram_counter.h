#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

#include "interfaces/i_delay_crossing_point_filter.h"

namespace mcgate::host {

/// Follows samples through the sender by its two crossing points and counts what left: samples are gathered whole into
/// datagrams of at most 1500 bytes, and a datagram leaves when the next sample does not fit. A sample that crosses out
/// tells that all before it are gone, too. Threads: any; the source's calls come in the order of its samples. One leaf
/// lock.
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

    DatagramCounter() : in_(*this), out_(*this) {}
    /// To be called before the sample is delivered.
    void announce(std::uint64_t id, std::size_t bytes);
    Callback& input() noexcept { return in_; }
    Callback& output() noexcept { return out_; }
    Counts counts() const;
    /// Forgets all; the ids begin with 1 again.
    void restart();

private:
    struct Sample {
        std::uint64_t id;
        std::size_t bytes;
    };
    class In final : public Callback {
    public:
        explicit In(DatagramCounter& owner) : owner_(owner) {}
        void OnReserved() override {}
        void OnDataCrossing(std::uint64_t id) override { owner_.entered(id); }

    private:
        DatagramCounter& owner_;
    };
    class Out final : public Callback {
    public:
        explicit Out(DatagramCounter& owner) : owner_(owner) {}
        void OnReserved() override {}
        void OnDataCrossing(std::uint64_t id) override { owner_.left(id); }

    private:
        DatagramCounter& owner_;
    };

    void entered(std::uint64_t id);
    void left(std::uint64_t id);
    void gather(std::size_t bytes);

    In in_;
    Out out_;
    mutable std::mutex lock_;
    Counts counts_;
    Sample announced_{0, 0};
    std::deque<Sample> inside_;  ///< entered and not known to have left
    std::size_t gathered_ = 0;   ///< bytes that wait for the next sample
};

}  // namespace mcgate::host
