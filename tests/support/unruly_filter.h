#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <random>
#include <vector>

#include "support/calling_filter.h"

namespace test {

/// A renderer that misbehaves as told: it blocks its source now and then, or keeps samples until the pool is dry, or
/// takes samples on the source's thread. Any thread.
class UnrulyFilter final : public CallingFilter {
public:
    using Clock = std::chrono::steady_clock;
    enum class Manner { Polite, Blocking, Holding, Direct };

    explicit UnrulyFilter(std::uint32_t seed)
        : CallingFilter([this](IMediaSample& sample) { return take(sample); }), random_(seed) {}

    /// Acts at the next sample; Direct, or its end, when the source starts anew.
    void behave(Manner manner) {
        const std::lock_guard hold(lock_);
        manner_ = manner;
    }
    /// Gives back what it keeps, and goes on keeping.
    void releaseHeld() {
        std::vector<mcgate::platform::ComPtr<IMediaSample>> held;
        const std::lock_guard hold(lock_);
        held.swap(held_);
    }
    /// Lets go of all it keeps and blocks nobody, whatever its manner, until resume().
    void letGo() {
        setFree(true);
        releaseHeld();
    }
    void resume() { setFree(false); }

    /// How long it has held its source's own thread, altogether; a difference of two answers tells of the time between.
    Clock::duration blockedDirectly() {
        const std::lock_guard hold(lock_);
        return blockedDirectly_ + (blockingDirectly_ ? Clock::now() - blockBegin_ : Clock::duration::zero());
    }
    std::uint64_t received() {
        const std::lock_guard hold(lock_);
        return received_;
    }
    /// False when fewer samples came by the deadline.
    bool waitForReceived(std::uint64_t count, std::chrono::seconds deadline) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, deadline, [&] { return received_ >= count; });
    }

private:
    void setFree(bool free) {
        const std::lock_guard hold(lock_);
        free_ = free;
        changed_.notify_all();
    }
    HRESULT answerCanBlock() override {
        const std::lock_guard hold(lock_);
        direct_ = manner_ == Manner::Direct;
        return direct_ ? S_FALSE : S_OK;
    }

    HRESULT take(IMediaSample& sample) {
        std::unique_lock hold(lock_);
        ++received_;
        changed_.notify_all();
        if (free_) return S_OK;
        if (manner_ == Manner::Holding) {
            held_.emplace_back(&sample);
        } else if (manner_ != Manner::Polite && oneIn(10)) {
            block(hold, std::chrono::milliseconds(upTo(manner_ == Manner::Direct ? 10 : 30)));
        }
        return S_OK;
    }

    void block(std::unique_lock<std::mutex>& hold, std::chrono::milliseconds time) {
        blockingDirectly_ = direct_;
        blockBegin_ = Clock::now();
        changed_.wait_for(hold, time, [this] { return free_; });
        if (blockingDirectly_) blockedDirectly_ += Clock::now() - blockBegin_;
        blockingDirectly_ = false;
    }

    bool oneIn(int count) { return upTo(count) == 1; }
    int upTo(int most) { return std::uniform_int_distribution<int>(1, most)(random_); }

    std::mutex lock_;  // over what follows
    std::condition_variable changed_;
    std::mt19937 random_;
    Manner manner_ = Manner::Polite;
    bool free_ = false;
    bool direct_ = false;  ///< what the source was last told
    bool blockingDirectly_ = false;
    Clock::time_point blockBegin_;
    Clock::duration blockedDirectly_{0};
    std::uint64_t received_ = 0;
    std::vector<mcgate::platform::ComPtr<IMediaSample>> held_;
};

}  // namespace test
