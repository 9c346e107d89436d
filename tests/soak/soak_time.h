#pragma once

#include <chrono>
#include <cstdint>

namespace soak {

/// Milliseconds since the soak began: one origin for all its threads. Any thread.
class SoakTime {
public:
    std::int64_t now() const {
        using namespace std::chrono;
        return duration_cast<milliseconds>(steady_clock::now() - begin_).count();
    }

private:
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace soak
