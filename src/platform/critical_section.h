#pragma once
// The re-entrant lock of filters, sockets and queues.

#include <mutex>

namespace mcgate::platform {

/// Re-entrant: the thread that holds it may take it again. Satisfies Lockable, so std::lock_guard and std::unique_lock
/// hold it by scope.
class CriticalSection {
public:
    void lock() { mutex_.lock(); }
    bool try_lock() { return mutex_.try_lock(); }
    void unlock() { mutex_.unlock(); }

private:
    std::recursive_mutex mutex_;
};

}  // namespace mcgate::platform
