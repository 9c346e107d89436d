#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

namespace soak {

/// When each of the latest numbers was handed to the sender, and from then on when it left it: a ring of fixed size,
/// nearly three minutes at the soak's rate, which is longer than any fault. Threads: one notes, one tells what left,
/// any asks; no lock.
class Handovers {
public:
    void note(std::uint32_t number, std::int64_t whenMs) {
        times_[number % kSize].store(static_cast<std::uint32_t>(whenMs), std::memory_order_relaxed);
        last_.store(number, std::memory_order_release);
    }
    /// The sender passed the number on; others than noted ones don't count.
    void left(std::uint64_t number, std::int64_t whenMs) {
        if (number > last()) return;
        times_[number % kSize].store(static_cast<std::uint32_t>(whenMs), std::memory_order_relaxed);
    }
    /// When it left, or was handed over if it hasn't. Nothing when it was longer ago than the ring remembers.
    std::optional<std::int64_t> when(std::uint32_t number) const {
        const std::uint32_t last = last_.load(std::memory_order_acquire);
        if (number > last || last - number > kSize - kBeingWritten) return std::nullopt;
        return times_[number % kSize].load(std::memory_order_relaxed);
    }
    /// The last number handed over, 0 before the first.
    std::uint32_t last() const { return last_.load(std::memory_order_acquire); }

private:
    static constexpr std::uint32_t kSize = 1U << 18;
    static constexpr std::uint32_t kBeingWritten = 1024;  // the oldest may be overwritten while somebody asks
    std::vector<std::atomic<std::uint32_t>> times_ = std::vector<std::atomic<std::uint32_t>>(kSize);
    std::atomic<std::uint32_t> last_{0};
};

}  // namespace soak
