#pragma once
// A first-in, first-out queue that a thread can sleep on together with a stop event.

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

#include "foundation/growing_ring.h"
#include "platform/leaf_lock.h"
#include "platform/waitable.h"

namespace mcgate::foundation {

/// Threads: any number of producers and takers. No bound of its own; allocates only while it grows.
///
/// Two lists with a lock each keep producers and takers apart: a taker empties its own list and only then exchanges it
/// for the producers', with all their counts at once, so that at full speed the two sides rarely touch the same memory.
/// Both locks are leaves (the taker's before the producers'): nothing is taken and nothing blocks under them.
template <class Item>
class SemaphoreQueue {
public:
    /// Appends. Throws std::bad_alloc with the queue as it was; `item` is then untouched.
    void push(Item&& item) {
        const std::lock_guard hold(putLock_);
        if (put_.size() >= static_cast<std::size_t>(platform::Semaphore::kMaximum)) throw std::bad_alloc();
        put_.push(std::move(item));
        available_.release();  // under the lock, so that counts and entries go over to the takers together
    }

    /// Takes the head without waiting; false, without taking a lock, when the queue is empty.
    bool tryPop(Item& out) {
        while (taken_.load(std::memory_order_relaxed) > 0 || available_.isRaised()) {
            if (takeHead(out)) return true;
        }
        return false;
    }

    /// Waits for the stop event or an item, without time-out. False when the stop event is signalled, also when an item
    /// waits, which then stays.
    bool pop(Item& out, platform::Event& stopEvent) {
        for (;;) {
            if (taken_.load(std::memory_order_relaxed) > 0) {
                if (platform::wait(stopEvent, 0)) return false;
            } else {
                const int which = platform::waitAny({&stopEvent, &available_}, platform::kInfinite, patience_);
                if (which == 0) return false;
            }
            if (takeHead(out)) return true;
        }
    }

private:
    // False when another taker was faster. What `out` held before goes after the lock is released.
    bool takeHead(Item& out) {
        std::unique_lock hold(takeLock_);
        if (take_.empty()) {
            const std::lock_guard holdPut(putLock_);
            take_.swap(put_);
            available_.takeAll();
        }
        taken_.store(take_.empty() ? 0 : take_.size() - 1, std::memory_order_relaxed);
        if (take_.empty()) return false;
        Item head = take_.pop();
        if (!take_.empty()) prefetch(take_.front());
        hold.unlock();
        out = std::move(head);
        return true;
    }

    // What an entry points to was last touched by a producer, on another processor: fetching it takes as long as
    // handling the present entry.
    static void prefetch(const Item& next) noexcept {
        if constexpr (requires { next.get(); }) {
            const char* object = reinterpret_cast<const char*>(next.get());
            __builtin_prefetch(object, 1);
            __builtin_prefetch(object + platform::kCacheLine, 1);
        }
    }

    platform::LeafLock takeLock_;
    GrowingRing<Item> take_;
    std::atomic<std::size_t> taken_{0};  ///< entries of take_, for a look without the lock
    platform::Patience patience_;

    alignas(platform::kCacheLine) platform::LeafLock putLock_;
    GrowingRing<Item> put_;
    platform::Semaphore available_;  ///< as many counts as entries in put_
};

}  // namespace mcgate::foundation
