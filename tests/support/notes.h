#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

#include "support/eventually.h"

namespace test {

/// What callbacks told, in order; can hold whoever tells. Any thread.
template <class Note>
class Notes {
public:
    using All = std::vector<Note>;

    void add(Note note) {
        std::unique_lock hold(lock_);
        all_.push_back(std::move(note));
        changed_.notify_all();
        changed_.wait(hold, [this] { return !holding_; });
    }
    /// Those who tell wait behind their note from now on, or go on.
    void hold(bool on) {
        const std::lock_guard guard(lock_);
        holding_ = on;
        changed_.notify_all();
    }
    /// False when `condition(all)` did not come true by the deadline.
    template <class Condition>
    bool waitFor(Condition&& condition) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, kDeadline, [&] { return condition(all_); });
    }
    bool waitForCount(std::size_t count) {
        return waitFor([count](const All& all) { return all.size() >= count; });
    }
    All all() {
        const std::lock_guard hold(lock_);
        return all_;
    }
    /// And none are left.
    All take() {
        const std::lock_guard hold(lock_);
        return std::exchange(all_, {});
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool holding_ = false;
    All all_;
};

}  // namespace test
