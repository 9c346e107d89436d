#pragma once

#include <cstddef>
#include <cstdint>

namespace mcgate::host {

/// What is known of a sample before it is delivered to the sender.
struct SampleMark {
    std::uint64_t id = 0;  ///< its data id: 1, 2, ...
    std::size_t bytes = 0;
    std::int64_t time = 0;       ///< its place in the stream's time, 100 ns
    bool discontinuity = false;  ///< times behind this one have nothing to do with those before
};

}  // namespace mcgate::host
