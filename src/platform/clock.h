#pragma once
// The one monotonic clock of the system, in the units that its users need. All of them slew together.

#include <cstdint>

namespace mcgate::platform {

/// Milliseconds since an arbitrary start, wrapping every 49.7 days. Any thread. Carries the test offset.
std::uint32_t tickCount() noexcept;
/// The same counter, under the name of its other use: the driving clock of pacing.
inline std::uint32_t millisecondClock() noexcept { return tickCount(); }
/// 100 ns units since the same start, never wrapping: what a graph's system clock shows. No test offset.
std::int64_t monotonicTime() noexcept;

}  // namespace mcgate::platform
