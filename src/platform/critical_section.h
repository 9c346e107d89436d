#pragma once
// The re-entrant lock of filters, sockets and queues.

#include <atomic>
#include <cstdint>

#include "platform/leaf_lock.h"

#if defined(__SANITIZE_THREAD__)
#include <mutex>
#endif

namespace mcgate::platform {

#if defined(__SANITIZE_THREAD__)
/// The library's own, whose order of taking the thread sanitizer watches.
using CriticalSection = std::recursive_mutex;
#else
/// Re-entrant: the thread that holds it may take it again. Satisfies Lockable, so std::lock_guard and std::unique_lock
/// hold it by scope.
/// Within one module: host and module know a thread by different marks, so a section belongs to one of them.
class CriticalSection {
public:
    void lock() noexcept {
        const Thread self = thisThread();
        if (owner_.load(std::memory_order_relaxed) != self) {
            lock_.lock();
            owner_.store(self, std::memory_order_relaxed);
        }
        ++depth_;
    }
    bool try_lock() noexcept {
        const Thread self = thisThread();
        if (owner_.load(std::memory_order_relaxed) != self) {
            if (!lock_.try_lock()) return false;
            owner_.store(self, std::memory_order_relaxed);
        }
        ++depth_;
        return true;
    }
    void unlock() noexcept {
        if (--depth_ > 0) return;
        owner_.store(0, std::memory_order_relaxed);
        lock_.unlock();
    }

private:
    using Thread = std::uintptr_t;
    /// The address of something of its own names a thread.
    static Thread thisThread() noexcept {
        static thread_local char mark;
        return reinterpret_cast<Thread>(&mark);
    }

    LeafLock lock_;
    std::atomic<Thread> owner_{0};  ///< only its own value means anything to a thread
    std::uint32_t depth_ = 0;       ///< of the owner alone
};
#endif

}  // namespace mcgate::platform
