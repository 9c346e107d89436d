#include "platform/process/process.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace mcgate::process {

namespace {

std::mutex hookLock;  // a leaf: held while the hook runs, so that replacing it waits for the call in progress
std::atomic<DebugHook> hook{nullptr};
void* hookContext = nullptr;
std::atomic<std::uint32_t> offset{0};
std::atomic<int> timeCritical{0};
std::mutex interfacesLock;   // a leaf
void* interfaces = nullptr;  // under interfacesLock, as is its size
std::size_t interfacesSize = 0;

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

InterfaceBlock interfaceBlock() noexcept {
    const std::lock_guard hold(interfacesLock);
    return {interfaces, interfacesSize};
}

bool keepInterfaceBlock(void* data, std::size_t size) noexcept {
    const std::lock_guard hold(interfacesLock);
    if (interfaces != nullptr) return false;
    interfaces = data;
    interfacesSize = size;
    return true;
}

void dropInterfaceBlock() noexcept {
    const std::lock_guard hold(interfacesLock);
    std::free(interfaces);
    interfaces = nullptr;
    interfacesSize = 0;
}

}  // namespace mcgate::process
