#pragma once

#include <string>

namespace mcgate::platform {

/// A loaded library; move-only, and let go of at destruction. Its symbols are seen by nobody else. Threads: any;
/// loading and letting go run the library's own start and end on the calling thread.
class DynamicLibrary {
public:
    /// Loads the library with all that it needs. Throws std::runtime_error with the loader's reason.
    explicit DynamicLibrary(const std::string& path);
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&&) = delete;
    ~DynamicLibrary();

    /// A function that the library exports, or null.
    template <class Function>
    Function* function(const char* name) const noexcept {
        return reinterpret_cast<Function*>(symbol(name));
    }

private:
    void* symbol(const char* name) const noexcept;
    void* handle_;
};

/// The longest path of a module, in bytes with the terminator.
inline constexpr std::size_t kLongestModulePath = 260;

/// The path of the file that `address` was loaded from, made absolute. A platform error number:
/// ErrorInsufficientBuffer for a path longer than kLongestModulePath, ErrorFileNotFound for an address of no file.
int moduleFileName(const void* address, std::string& path) noexcept;

}  // namespace mcgate::platform
