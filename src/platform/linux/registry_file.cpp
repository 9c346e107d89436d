#include "platform/linux/registry_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "platform/errors.h"
#include "platform/file_stream.h"
#include "platform/linux/file_descriptor.h"

namespace mcgate::platform {

namespace {

constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kNextTry{5};

int fileError(int number) noexcept {
    switch (number) {
        case ENOENT:
        case ENOTDIR:
            return ErrorPathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
        case ELOOP:
            return ErrorAccessDenied;
        case EMFILE:
        case ENFILE:
            return ErrorTooManyOpenFiles;
        case ENOMEM:
            return ErrorNotEnoughMemory;
        case ENOSPC:
        case EDQUOT:
            return ErrorDiskFull;
        default:
            return ErrorGenFailure;
    }
}

}  // namespace

int readRegistryFile(const std::string& path, std::string& text) {
    // A pipe or a device without a writer must not hold the reader up.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.valid()) return errno == ENOENT || errno == ENOTDIR ? ErrorFileNotFound : fileError(errno);
    struct stat kind {};
    if (fstat(file.get(), &kind) != 0) return fileError(errno);
    if (!S_ISREG(kind.st_mode)) return ErrorInvalidData;
    text.clear();
    char piece[4096];
    for (;;) {
        const ssize_t got = read(file.get(), piece, sizeof piece);
        if (got == 0) return 0;
        if (got < 0 && errno != EINTR) return fileError(errno);
        if (got > 0) text.append(piece, static_cast<std::size_t>(got));
        if (text.size() > kLargestRegistryFile) return ErrorInvalidData;
    }
}

RegistryFileLock::RegistryFileLock(const std::string& path)
    : file_(open((FileStream::targetOf(path) + ".lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644)) {
    if (!file_.valid()) {
        status_ = fileError(errno);
        return;
    }
    // A holder that was stopped must not stop everybody: hence no wait without end.
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        status_ = errno == EWOULDBLOCK ? ErrorLockViolation : fileError(errno);
        if (status_ != ErrorLockViolation || std::chrono::steady_clock::now() >= end) return;
        std::this_thread::sleep_for(kNextTry);
    }
    status_ = 0;
}

// Let go by name: a process forked meanwhile has the descriptor, too.
RegistryFileLock::~RegistryFileLock() {
    if (status_ == 0) flock(file_.get(), LOCK_UN);
}

int replaceRegistryFile(const std::string& path, const std::string& text) try {
    const auto file = FileStream::create(path);
    file->Write(text.data(), static_cast<std::uint32_t>(text.size()), nullptr);  // a failure stops the commit
    file->commit();
    return 0;
} catch (const std::system_error& refusal) {
    return fileError(refusal.code().value());
} catch (const std::runtime_error&) {
    return ErrorAccessDenied;  // it is no plain file
}

}  // namespace mcgate::platform
