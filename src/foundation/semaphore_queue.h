#pragma once
// A first-in, first-out queue that a thread can sleep on together with a stop event.

#include <deque>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "platform/waitable.h"

namespace mcgate::foundation {

/// Threads: any number of producers and takers. The lock is a leaf: nothing is taken and nothing blocks under it.
/// No bound of its own.
template <class Item>
class SemaphoreQueue {
public:
    /// Appends. Throws std::bad_alloc with the queue as it was; `item` is then untouched.
    void push(Item&& item) {
        const std::lock_guard hold(lock_);
        items_.push_back(std::move(item));
        if (available_.release()) return;
        item = std::move(items_.back());
        items_.pop_back();
        throw std::bad_alloc();
    }

    /// Takes the head without waiting; false, without taking the lock, when the queue is empty.
    bool tryPop(Item& out) {
        if (!available_.tryAcquire()) return false;
        takeHead(out);
        return true;
    }

    /// Waits for the stop event or an item, without time-out. False when the stop event is signalled, also when an item
    /// waits, which then stays.
    bool pop(Item& out, platform::Event& stopEvent) {
        if (platform::waitAny({&stopEvent, &available_}, platform::kInfinite) == 0) return false;
        takeHead(out);
        return true;
    }

private:
    // The caller has taken a count, so there is an entry. What `out` held before goes after the lock is released.
    void takeHead(Item& out) {
        std::unique_lock hold(lock_);
        Item head = std::move(items_.front());
        items_.pop_front();
        hold.unlock();
        out = std::move(head);
    }

    std::deque<Item> items_;
    platform::Semaphore available_;
    std::mutex lock_;
};

}  // namespace mcgate::foundation
