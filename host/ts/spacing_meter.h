#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mcgate::host {

/// How well the spacing of a stream's datagrams was kept, from the delay of each: when it was seen, less its place in
/// the stream's time. Within each second of the stream, a datagram's error is the distance of its delay from that
/// second's median. Times in 100 ns. Threads: one at a time.
class SpacingMeter {
public:
    struct Figures {
        std::size_t samples = 0;  ///< the rest is 0 without any
        double medianMs = 0;
        double p99Ms = 0;
        double maxMs = 0;
        double lastP99Ms = 0;  ///< within the last whole second of the stream
    };

    void add(std::int64_t delay) { delays_.push_back(delay); }
    /// The stream's time is this by now.
    void reach(std::int64_t streamTime) {
        if (streamTime >= secondEnds_) cut(streamTime);
    }
    /// Delays behind this one have nothing to do with those before; a second begins.
    void cut(std::int64_t streamTime);
    Figures figures() const;

private:
    static constexpr std::size_t kBins = 100'000;  // of 10 us: one second
    static constexpr std::int64_t kBinWidth = 100;
    static constexpr std::int64_t kSecond = 10'000'000;

    std::vector<std::int64_t> delays_;  ///< of this second
    std::int64_t secondEnds_ = kSecond;
    std::vector<std::uint64_t> histogram_;  ///< up to the largest error so far
    std::int64_t largest_ = 0;
    Figures figures_;
};

}  // namespace mcgate::host
