#pragma once
// A thread of the operating system: started at once or held at a gate until resumed, with the two raised priorities
// that the module uses.

#include <cstdint>
#include <functional>
#include <memory>

namespace mcgate::platform {

/// The priorities that setPriority knows.
inline constexpr int kPriorityTimeCritical = 15;
inline constexpr int kPriorityHighest = 2;

/// What a thread asked for and what the system allowed; a refusal is never a failure.
enum class PriorityClass { Normal, Nice, RealTime };

/// Threads: one owner creates, waits and destroys; setPriority may be called by the thread itself through
/// setCurrentThreadPriority.
/// Errors: the constructor throws std::system_error when no thread can be made.
/// Life: destroying it does not wait. A thread that was never resumed ends without running its body; one that still
/// runs goes on by itself, its body kept alive until it returns.
class NativeThread {
public:
    enum class Start { Running, Suspended };

    NativeThread(std::function<void()> body, Start start);
    ~NativeThread();
    NativeThread(const NativeThread&) = delete;
    NativeThread& operator=(const NativeThread&) = delete;

    /// Time critical: round robin 10 where the process may, else nice -11 or what the limit allows. Highest: nice -5
    /// the same way. Others: no change. False, with lastError() 6, only when the thread has ended.
    bool setPriority(int priority);
    /// Lets a suspended thread run; false, with lastError() 6, when it was not suspended.
    bool resume();
    /// Joins. Returns at once when the thread was joined before, was never resumed, or is the caller itself.
    void wait();

    struct Shared;

private:
    std::shared_ptr<Shared> shared_;
};

/// As NativeThread::setPriority, for the calling thread. Gives what it got.
PriorityClass setCurrentThreadPriority(int priority);

/// What setCurrentThreadPriority and setPriority got for time critical the last time in this process; Normal before the
/// first call.
PriorityClass lastTimeCriticalClass() noexcept;

}  // namespace mcgate::platform
