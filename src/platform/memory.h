#pragma once
// What the pools ask of the system's memory.

#include <cstddef>

namespace mcgate::platform {

/// The granularity in which the system gives memory, in bytes. Any thread.
std::size_t pageSize() noexcept;

}  // namespace mcgate::platform
