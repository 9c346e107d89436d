#include "platform/process/process.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace mcgate::process {

namespace {

std::mutex hookLock;  // a leaf: held while the hook runs, so that replacing it waits for the call in progress
std::atomic<DebugHook> hook{nullptr};
void* hookContext = nullptr;
std::atomic<std::uint32_t> offset{0};
std::atomic<int> timeCritical{0};

bool passToHook(const char* text) noexcept {
    if (hook.load() == nullptr) return false;
    const std::lock_guard hold(hookLock);
    const DebugHook present = hook.load();
    if (present == nullptr) return false;
    present(hookContext, text);
    return true;
}

}  // namespace

void writeDebugOutput(const char* text) noexcept {
    if (!passToHook(text)) std::fputs(text, stderr);
}

void setDebugHook(DebugHook newHook, void* context) noexcept {
    const std::lock_guard hold(hookLock);
    hookContext = context;
    hook = newHook;
}

std::uint32_t tickOffset() noexcept { return offset.load(std::memory_order_relaxed); }

void setTickOffset(std::uint32_t milliseconds) noexcept { offset.store(milliseconds, std::memory_order_relaxed); }

int timeCriticalClass() noexcept { return timeCritical.load(std::memory_order_relaxed); }

void setTimeCriticalClass(int priorityClass) noexcept { timeCritical.store(priorityClass, std::memory_order_relaxed); }

}  // namespace mcgate::process
