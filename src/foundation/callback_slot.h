#pragma once
// A borrowed pointer that one thread calls through while another replaces it.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace mcgate::foundation {

/// Holds an unowned callback object. After set() returned, the object that it replaced is not called again; a call in
/// progress on another thread is waited for, at most 250 ms, so that a callback which itself waits for the setter's
/// thread costs a pause and no deadlock. A callback may call set() itself: it does not wait for its own call. Threads:
/// set() from any; invoke() from one thread at a time.
template <class Callback>
class CallbackSlot {
public:
    static constexpr std::chrono::milliseconds kLongestWait{250};

    /// The caller holds no lock that a callback may want.
    void set(Callback* callback) {
        target_.store(callback);
        const std::uint64_t seen = turn_.load();
        if (seen % 2 == 0 || caller_.load() == std::this_thread::get_id()) return;
        std::unique_lock hold(lock_);
        ++waiting_;
        ended_.wait_for(hold, kLongestWait, [this, seen] { return turn_.load() != seen; });
        --waiting_;
    }

    Callback* get() const noexcept { return target_.load(std::memory_order_relaxed); }

    /// Calls `call(callback)` if one is set. What it throws passes on.
    template <class Call>
    void invoke(Call&& call) {
        if (get() == nullptr) return;
        caller_.store(std::this_thread::get_id());
        ++turn_;  // before the pointer is read: a setter that missed this call replaced the pointer in time
        const End end{*this};
        if (Callback* callback = target_.load()) call(*callback);
    }

private:
    struct End {
        CallbackSlot& slot;
        ~End() {
            ++slot.turn_;
            if (slot.waiting_.load() == 0) return;
            const std::lock_guard hold(slot.lock_);
            slot.ended_.notify_all();
        }
    };

    std::atomic<Callback*> target_{nullptr};
    std::atomic<std::uint64_t> turn_{0};  ///< odd while a call is in progress
    std::atomic<std::thread::id> caller_{};
    std::atomic<int> waiting_{0};
    std::mutex lock_;
    std::condition_variable ended_;
};

}  // namespace mcgate::foundation
