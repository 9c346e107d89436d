#pragma once
// The lock that two processors may enter at full speed.

#include <atomic>
#include <cstdint>

namespace mcgate::platform {

/// A mutex whose uncontended lock and unlock are one atomic operation each, without a call. A thread that finds it
/// taken tries for about a microsecond, since a wait that long costs less than the two system calls of a sleep, and
/// then sleeps. Not re-entrant; satisfies Lockable. After unlock() has let go, it touches nothing but the address, so
/// that whoever takes the lock next may end what it lies in.
class LeafLock {
public:
    LeafLock() noexcept = default;
    LeafLock(const LeafLock&) = delete;
    LeafLock& operator=(const LeafLock&) = delete;

    void lock() noexcept {
        if (!try_lock()) lockSlowly();
    }
    bool try_lock() noexcept {
        std::uint32_t expected = kFree;
        return state_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire, std::memory_order_relaxed);
    }
    void unlock() noexcept {
        if (state_.exchange(kFree, std::memory_order_release) == kWanted) wakeOne();
    }

private:
    enum : std::uint32_t { kFree, kTaken, kWanted };  // kWanted: taken, and somebody may sleep

    void lockSlowly() noexcept;
    void wakeOne() noexcept;

    std::atomic<std::uint32_t> state_{kFree};
};

/// Tells the processor that this is a loop of looks.
inline void relaxProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

}  // namespace mcgate::platform
