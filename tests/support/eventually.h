#pragma once

#include <chrono>
#include <thread>

namespace test {

/// How long a test waits for what must happen.
inline constexpr std::chrono::seconds kDeadline{20};

/// Asks again and again until the condition holds; false when it does not by the deadline.
template <class Condition>
bool eventually(Condition&& condition, std::chrono::milliseconds deadline = kDeadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace test
