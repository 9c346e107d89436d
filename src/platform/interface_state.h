#pragma once

#include <cstdint>

namespace mcgate::platform {

/// Whether the interface can carry data now: set up, and with a carrier where it has such a thing. False also for an
/// index that no interface has, and when the kernel refuses. Any thread; the answer is that of the calling thread's
/// network namespace.
bool isInterfaceUp(std::uint32_t interfaceIndex);

}  // namespace mcgate::platform
