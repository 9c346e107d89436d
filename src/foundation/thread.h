#pragma once

#include <cstdint>
#include <functional>

#include "platform/native_thread.h"

namespace quorvel::system::thread::v1 {

/// Platform creation flags of a start mode: 1 gives 0 (run at once), every other value 4 (suspended).
constexpr std::uint32_t StartModeFlags(int startMode) noexcept { return startMode == 1 ? 0U : 4U; }

inline constexpr int kStartSuspended = 0;
inline constexpr int kStartRunning = 1;

/// Runs a callable on a thread of its own. Has no stop request: the owner signals the body's stop event, then waits.
/// Threads: one owner creates, waits and destroys.
/// Contract: the owner has waited before it destroys a Thread whose body ran.
/// Errors: the constructor throws std::system_error when no thread can be made; nothing then waits for it.
class Thread {
public:
    Thread(std::function<void()> body, int startMode);
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Returns when the body has ended; at once when it has ended already or never ran.
    void Wait();
    /// For priority and resuming.
    mcgate::platform::NativeThread& handle() noexcept { return handle_; }

private:
    mcgate::platform::NativeThread handle_;
};

}  // namespace quorvel::system::thread::v1
