#include "platform/clock.h"

#include <ctime>

#include "platform/process/process.h"

namespace mcgate::platform {

std::int64_t monotonicTime() noexcept {
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{10'000'000} + now.tv_nsec / 100;
}

std::uint32_t tickCount() noexcept {
    return static_cast<std::uint32_t>(monotonicTime() / 10'000) + process::tickOffset();
}

}  // namespace mcgate::platform
