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
/// Both locks are leaves (the taker's before the producers'): nothing is taken under them but what waking a sleeper
/// takes, and nothing blocks.
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
        // In this order: an entry that goes over to the takers is seen in one of the two.
        while (available_.isRaised() || taken_.load() > 0) {
            if (takeHead(out, false)) return true;
        }
        return false;
    }

    /// Waits for the stop event or an item, without time-out. False when the stop event is signalled, also when an item
    /// waits, which then stays.
    bool pop(Item& out, platform::Event& stopEvent) {
        for (;;) {
            bool counted = false;
            if (taken_.load(std::memory_order_relaxed) > 0) {
                if (platform::wait(stopEvent, 0)) return false;
            } else {
                const Waiting waiting(*this);
                // Looked at again: a taker that left entries in the list either sees this one waiting or is seen here.
                if (taken_.load() == 0) {
                    const int which = platform::waitAny({&stopEvent, &available_}, platform::kInfinite, patience_);
                    if (which == 0) return false;
                    counted = true;
                } else if (platform::wait(stopEvent, 0)) {
                    return false;
                }
            }
            if (takeHead(out, counted)) return true;
        }
    }

private:
    /// Counts a taker that waits, or is about to.
    struct Waiting {
        explicit Waiting(SemaphoreQueue& owner) : queue(owner) { ++queue.waiting_; }
        ~Waiting() { --queue.waiting_; }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;
        SemaphoreQueue& queue;
    };

    // False when another taker was faster. `counted`: the caller has taken a count, which goes back when the head comes
    // from the takers' list, for which none stands. A count too many makes a taker look in vain once, and is gone at
    // the next exchange. What `out` held before goes after the lock is released.
    bool takeHead(Item& out, bool counted) {
        std::unique_lock hold(takeLock_);
        if (take_.empty()) {
            const std::lock_guard holdPut(putLock_);
            take_.swap(put_);
            taken_.store(take_.size());
            available_.takeAll();
        } else if (counted) {
            available_.release();
        }
        if (take_.empty()) return false;
        Item head = take_.pop();
        taken_.store(take_.size());
        if (!take_.empty()) {
            prefetch(take_.front());
            if (waiting_.load() > 0) available_.release();
        }
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
    std::atomic<int> waiting_{0};        ///< takers in pop's wait
    platform::Patience patience_;

    alignas(platform::kCacheLine) platform::LeafLock putLock_;
    GrowingRing<Item> put_;
    platform::Semaphore available_;  ///< what put_ holds, give or take what takers hold at the moment
};

}  // namespace mcgate::foundation
