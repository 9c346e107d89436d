#include "platform/dynamic_library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/errors.h"

namespace mcgate::platform {

DynamicLibrary::DynamicLibrary(const std::string& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary::~DynamicLibrary() {
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
