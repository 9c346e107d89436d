#include "platform/dynamic_library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/errors.h"

#if defined(__SANITIZE_THREAD__)
#include <mutex>
#endif

namespace mcgate::platform {

namespace {

/// The loader runs starts and ends of libraries under a lock of its own, whatever thread asks. The thread sanitizer
/// can't see into the loader, so for it the same order is made once more.
class LoaderOrder {
#if defined(__SANITIZE_THREAD__)
private:
    static inline std::recursive_mutex lock;
    const std::lock_guard<std::recursive_mutex> hold{lock};
#endif
};

void* load(const std::string& path) {
    [[maybe_unused]] const LoaderOrder order;
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

DynamicLibrary::DynamicLibrary(const std::string& path) : handle_(load(path)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary::~DynamicLibrary() {
    [[maybe_unused]] const LoaderOrder order;
    if (handle_ != nullptr) dlclose(handle_);
}

void* DynamicLibrary::symbol(const char* name) const noexcept { return dlsym(handle_, name); }

int moduleFileName(const void* address, std::string& path) noexcept try {
    Dl_info found{};
    if (dladdr(address, &found) == 0 || found.dli_fname == nullptr) return ErrorFileNotFound;
    path = found.dli_fname;
    if (!path.starts_with('/')) {
        const std::unique_ptr<char, decltype(&std::free)> whole(realpath(found.dli_fname, nullptr), &std::free);
        if (!whole) return ErrorFileNotFound;
        path = whole.get();
    }
    return path.size() < kLongestModulePath ? 0 : ErrorInsufficientBuffer;
} catch (...) {
    return ErrorNotEnoughMemory;
}

}  // namespace mcgate::platform
