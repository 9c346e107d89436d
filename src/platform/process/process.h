#pragma once
// What a process has once, shared by the host and every module loaded into it: the debug output with its hook, the tick
// offset for tests, what raised priority was granted, and the list of local interfaces. It lives in a small shared
// library of its own, with the registry (platform/registry.h), class creation (platform/class_creation.h) and the
// filter mapper (platform/filter_mapper.h).

#include <cstddef>
#include <cstdint>

#include "platform/process/api.h"

namespace mcgate::process {

/// Receives every text written to the debug output, as written, on the writing thread; must not call back.
using DebugHook = void (*)(void* context, const char* text);

/// Writes a text, as it stands, to the debug output: the hook if one is set, else standard error. Any thread.
MCGATE_PROCESS_API void writeDebugOutput(const char* text) noexcept;
/// Replaces the hook; null removes it. Returns when no call of the old hook is in progress: for that a lock is held
/// while a hook runs, and only then, so a hook must be quick. Standard error is written without it.
MCGATE_PROCESS_API void setDebugHook(DebugHook hook, void* context) noexcept;

/// Milliseconds added to platform::tickCount, so that tests can stand just before its wrap. 0 at first.
MCGATE_PROCESS_API std::uint32_t tickOffset() noexcept;
MCGATE_PROCESS_API void setTickOffset(std::uint32_t milliseconds) noexcept;

/// What the last request for time-critical priority got, in any module of the process: a platform::PriorityClass.
MCGATE_PROCESS_API int timeCriticalClass() noexcept;
MCGATE_PROCESS_API void setTimeCriticalClass(int priorityClass) noexcept;

/// The list of local interfaces as a block of memory; what its bytes mean is the filler's business. Null until one is
/// kept, unchanged from then on.
struct InterfaceBlock {
    const void* data = nullptr;
    std::size_t size = 0;  ///< bytes
};
/// Any thread.
MCGATE_PROCESS_API InterfaceBlock interfaceBlock() noexcept;
/// Takes over `data`, which came from std::malloc, and gives true; false, and nothing happens, when a block is kept
/// already. Any thread: of several, one wins.
MCGATE_PROCESS_API bool keepInterfaceBlock(void* data, std::size_t size) noexcept;
/// For tests, between which nobody reads: frees the block.
MCGATE_PROCESS_API void dropInterfaceBlock() noexcept;

}  // namespace mcgate::process
