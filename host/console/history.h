#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "streams/managed_stream.h"

namespace mcgate::host {

/// The figures of a stream over the last ten minutes, one a second, as plots show them. Seconds count on a clock that
/// never goes back. Threads: one at a time.
class History {
public:
    static constexpr std::int64_t kSeconds = 600;

    History();
    /// What is known of the stream in this second. A stream that was stopped then, and one that tells nothing new for
    /// longer than a look may come late, have no figures.
    void look(std::int64_t second, const StreamSnapshot& snapshot);
    /// {"bit_rate": [...], ...}: kSeconds values up to `second` for each figure, null where none is known. Counters are
    /// told as what came in a second.
    nlohmann::ordered_json series(std::int64_t second) const;

private:
    enum Figure { BitRate, SpacingError, HoldBack, Queued, Datagrams, ContinuityErrors, KernelDrops, Data, kFigures };
    using Values = std::array<double, kFigures>;  ///< not a number where unknown

    Values valuesOf(const StreamSnapshot& snapshot) const;
    double perTurn(const StreamSnapshot& snapshot, std::optional<std::uint64_t> StreamValues::*counter) const;
    Values& at(std::int64_t second) { return values_[static_cast<std::size_t>(second % kSeconds)]; }

    std::array<Values, kSeconds> values_;
    std::int64_t first_ = 0;  ///< the second that was looked at first
    std::int64_t last_ = -1;
    StreamSnapshot before_;
    std::int64_t renewed_ = 0;  ///< the second in which before_ was new
};

}  // namespace mcgate::host
