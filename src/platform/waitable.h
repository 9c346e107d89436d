#pragma once
// Things a thread can sleep on: events, counting semaphores, and a wait for any of several with a fixed precedence.
//
// Threads: any. Setting and taking make no system call while nobody sleeps. An object must not be destroyed by the
// thread that waited for it merely because its wait returned: the setter may still be inside the call that woke it.
// Owners here set and then join the waiting thread, which is safe.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <mutex>

#include "platform/leaf_lock.h"

namespace mcgate::platform {

/// Time-out of a wait that never ends, in milliseconds.
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

class Sleeper;

/// One sleeper's place in the list of one object; lies on the sleeper's stack, so that sleeping allocates nothing.
struct Enrolment {
    Sleeper* sleeper = nullptr;
    Enrolment* previous = nullptr;
    Enrolment* next = nullptr;
};

/// Memory that two processors change apart from each other lies this far apart, in bytes.
inline constexpr std::size_t kCacheLine = 64;

/// Whether it is worth looking for a few microseconds before sleeping: waking a sleeper costs more than that. It is, as
/// long as such looks find something; where they don't, a wait sleeps at once and tries a look only now and then. On a
/// single processor never. Threads: any.
class Patience {
public:
    /// Calls `found()` until it gives true or the time is up; gives what it gave last.
    template <class Found>
    bool look(Found&& found) noexcept {
        if (!isDue()) return false;
        for (int i = 0; i < kLooks; ++i) {
            if (found()) {
                misses_.store(0, std::memory_order_relaxed);
                return true;
            }
            relaxProcessor();
        }
        return false;
    }

private:
    static constexpr int kLooks = 256;            // some ten microseconds
    static constexpr std::uint32_t kTrials = 4;   // misses after which looking is given up
    static constexpr std::uint32_t kEvery = 128;  // and tried again

    /// Counts a miss in advance; a look that finds something takes it back.
    bool isDue() noexcept;

    std::atomic<std::uint32_t> misses_{0};
};

/// Base of what waitAny takes.
class Waitable {
public:
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;

protected:
    Waitable() = default;
    ~Waitable() = default;

    /// Takes what a wait would take (an automatic event's signal, one count) and gives true, or gives false at once.
    virtual bool tryTake() noexcept = 0;
    /// To be called after the state was raised: wakes those who sleep on this object.
    void wake() noexcept;

private:
    friend class Wait;
    void enrol(Enrolment& place) noexcept;
    void leave(Enrolment& place) noexcept;

    // The state is raised before `sleepers_` is read, and a sleeper enrols before it looks at the state: both
    // sequentially consistent, so one of the two sees the other.
    std::atomic<int> sleepers_{0};
    std::mutex listLock_;
    Enrolment* first_ = nullptr;
};

/// A signal that is on or off, off at first. `Automatic` is taken by the one wait that sees it, `Manual` stays on.
class Event final : public Waitable {
public:
    enum class Reset { Automatic, Manual };
    explicit Event(Reset reset) noexcept : reset_(reset) {}

    void set() noexcept;
    void reset() noexcept;

private:
    bool tryTake() noexcept override;
    const Reset reset_;
    std::atomic<bool> on_{false};
};

/// A count between 0 and 0x7FFFFFFF, 0 at first.
class Semaphore final : public Waitable {
public:
    static constexpr std::int32_t kMaximum = 0x7FFFFFFF;

    /// Adds one; false, and no change, at the maximum.
    bool release() noexcept;
    /// Takes all without waiting.
    void takeAll() noexcept { count_.store(0); }
    /// Whether there is one to take now.
    bool isRaised() const noexcept { return count_.load(std::memory_order_acquire) > 0; }

private:
    bool tryTake() noexcept override;
    std::atomic<std::int32_t> count_{0};
};

/// The most objects that one wait takes.
inline constexpr std::size_t kMostWaitables = 4;

/// Waits until one of `objects` (at most kMostWaitables) can be taken, takes it and gives its index; the first in the
/// list wins when several can. -1 after `timeoutMs` milliseconds (steady clock); 0 only looks, kInfinite waits for
/// ever. Allocates nothing and throws nothing.
int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs) noexcept;

/// As above, but looks for a while before it sleeps, as long as that has been worth it.
int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs, Patience& patience) noexcept;

/// waitAny for a single object.
inline bool wait(Waitable& object, std::uint32_t timeoutMs) noexcept { return waitAny({&object}, timeoutMs) == 0; }

}  // namespace mcgate::platform
