#include "platform/process/process.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace mcgate::process {

namespace {

std::mutex hookLock;  // a leaf: held while the hook runs, so that replacing it waits for the call in progress
DebugHook hook = nullptr;
void* hookContext = nullptr;
std::atomic<std::uint32_t> offset{0};

}  // namespace

void writeDebugOutput(const char* text) noexcept {
    static const bool toStandardError = [] {
        const char* wanted = std::getenv("MCGATE_DEBUG");
        return wanted != nullptr && *wanted != '\0';
    }();
    const std::lock_guard hold(hookLock);
    if (hook != nullptr) {
        hook(hookContext, text);
    } else if (toStandardError) {
        std::fputs(text, stderr);
    }
}

void setDebugHook(DebugHook newHook, void* context) noexcept {
    const std::lock_guard hold(hookLock);
    hook = newHook;
    hookContext = context;
}

std::uint32_t tickOffset() noexcept { return offset.load(std::memory_order_relaxed); }

void setTickOffset(std::uint32_t milliseconds) noexcept { offset.store(milliseconds, std::memory_order_relaxed); }

}  // namespace mcgate::process
