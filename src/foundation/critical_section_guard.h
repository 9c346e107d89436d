#pragma once

#include "platform/critical_section.h"

namespace mcgate::foundation {

/// Holds a critical section by scope, and can let go of it earlier.
class CriticalSectionGuard {
public:
    explicit CriticalSectionGuard(platform::CriticalSection& section) : section_(section), held_(true) {
        section.lock();
    }
    ~CriticalSectionGuard() { Unlock(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

    /// Leaves the section once; later calls, and the destructor, do nothing more.
    void Unlock() {
        if (!held_) return;
        held_ = false;
        section_.unlock();
    }

private:
    platform::CriticalSection& section_;
    bool held_;
};

}  // namespace mcgate::foundation
