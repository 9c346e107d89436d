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
    friend int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs) noexcept;
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
    /// Takes one without waiting; takes no lock when the count is 0.
    bool tryAcquire() noexcept { return tryTake(); }

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

/// waitAny for a single object.
inline bool wait(Waitable& object, std::uint32_t timeoutMs) noexcept { return waitAny({&object}, timeoutMs) == 0; }

}  // namespace mcgate::platform
