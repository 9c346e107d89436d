#pragma once
// The file under the registry: read whole, locked between processes, replaced whole.

#include <cstddef>
#include <string>

#include "platform/linux/file_descriptor.h"

namespace mcgate::platform {

/// Bytes. A larger file is none of a registry.
inline constexpr std::size_t kLargestRegistryFile = std::size_t{1} << 20;

/// Reads the file into `text`. A platform error number: ErrorFileNotFound, ErrorAccessDenied, ErrorInvalidData for what
/// is no plain file of a registry's size.
int readRegistryFile(const std::string& path, std::string& text);

/// Holds the lock of a registry file, from construction to destruction, against every other thread and process.
class RegistryFileLock {
public:
    /// Waits for the lock at most ten seconds: its holders read and write one small file.
    explicit RegistryFileLock(const std::string& path);
    ~RegistryFileLock();
    RegistryFileLock(const RegistryFileLock&) = delete;
    RegistryFileLock& operator=(const RegistryFileLock&) = delete;

    /// 0 when it is held, else why not: ErrorAccessDenied, ErrorPathNotFound, ErrorLockViolation after the wait.
    int status() const noexcept { return status_; }

private:
    const FileDescriptor file_;
    int status_ = 0;
};

/// Replaces the content in one step, as FileStream does; to be called with the lock held. ErrorAccessDenied when the
/// file there may not be written.
int replaceRegistryFile(const std::string& path, const std::string& text);

}  // namespace mcgate::platform
