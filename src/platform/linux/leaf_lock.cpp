#include "platform/leaf_lock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace mcgate::platform {

namespace {

constexpr int kTries = 40;

long futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) noexcept {
    static_assert(sizeof word == sizeof value, "the kernel sees the word itself");
    return syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
}

}  // namespace

void LeafLock::lockSlowly() noexcept {
    for (int i = 0; i < kTries; ++i) {
        if (state_.load(std::memory_order_relaxed) == kFree && try_lock()) return;
        relaxProcessor();
    }
    // From here on the lock is marked as wanted by whoever takes it, as others may sleep, too.
    while (state_.exchange(kWanted, std::memory_order_acquire) != kFree) futex(state_, FUTEX_WAIT, kWanted);
}

void LeafLock::wakeOne() noexcept { futex(state_, FUTEX_WAKE, 1); }

}  // namespace mcgate::platform
