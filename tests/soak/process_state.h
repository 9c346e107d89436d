#pragma once

#include <cstdint>

namespace soak {

/// What this process holds of the system.
struct ProcessState {
    std::int64_t residentKiB = 0;
    std::int64_t descriptors = 0;
    std::int64_t threads = 0;

    /// Throws std::runtime_error when the system does not tell.
    static ProcessState now();
};

}  // namespace soak
