#pragma once
// A mutex for critical sections of some ten nanoseconds that two processors enter at full speed.

#include <mutex>

namespace mcgate::platform {

/// Tries for a moment before it sleeps: a thread that finds it taken by another processor would otherwise pay two
/// system calls for a wait shorter than one. Not re-entrant; to be used as a std::mutex.
class AdaptiveMutex : public std::mutex {
public:
    AdaptiveMutex() noexcept;
};

}  // namespace mcgate::platform
