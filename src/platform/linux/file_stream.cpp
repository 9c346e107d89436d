#include "platform/file_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace mcgate::platform {

namespace {

HRESULT writeStatus(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? STG_E_MEDIUMFULL : STG_E_WRITEFAULT;
}

// So that the new name outlives a loss of power. A file system that can't do that is no failure: the file stands.
void syncDirectory(const std::filesystem::path& directory) {
    const int descriptor = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

}  // namespace

ComPtr<FileStream> FileStream::open(const std::string& path) {
    ComPtr<FileStream> stream(new FileStream(path));
    stream->descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);  // no wait for a writer
    struct stat kind {};
    if (stream->descriptor_ < 0 || fstat(stream->descriptor_, &kind) != 0) stream->refuse("open", errno);
    stream->demandFile("open", kind.st_mode);
    return stream;
}

ComPtr<FileStream> FileStream::create(const std::string& path) {
    ComPtr<FileStream> stream(new FileStream(path));
    stream->target_ = targetOf(path);
    stream->beginBeside();
    return stream;
}

std::string FileStream::targetOf(const std::string& path) {
    std::error_code unknown;
    const auto whole = std::filesystem::weakly_canonical(path, unknown);
    if (unknown) return path;
    if (!std::filesystem::is_symlink(whole, unknown)) return whole;
    // It leads nowhere yet. An absolute target replaces the whole.
    return whole.parent_path() / std::filesystem::read_symlink(whole);
}

void FileStream::beginBeside() {
    struct stat present {};
    const bool replaces = stat(target_.c_str(), &present) == 0;
    if (replaces) demandFile("write", present.st_mode);
    if (replaces && access(target_.c_str(), W_OK) != 0) refuse("write", errno);
    // Another process has another number; what a dead one of the same number left behind is passed over.
    for (int attempt = 0; descriptor_ < 0; ++attempt) {
        part_ = target_ + '.' + std::to_string(getpid()) + '-' + std::to_string(attempt) + ".part";
        descriptor_ = ::open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        const int error = errno;
        if (descriptor_ >= 0 || error == EEXIST) continue;
        part_.clear();
        refuse("write", error);
    }
    // Whoever may not give a file away keeps it.
    if (replaces && fchown(descriptor_, present.st_uid, present.st_gid) != 0 && errno != EPERM) refuse("write", errno);
    if (replaces && fchmod(descriptor_, present.st_mode & 07777) != 0) refuse("write", errno);
}

FileStream::~FileStream() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!part_.empty()) unlink(part_.c_str());
}

void FileStream::demandFile(const char* attempt, unsigned mode) const {
    if (S_ISDIR(mode)) refuse(attempt, EISDIR);
    if (!S_ISREG(mode)) throw std::runtime_error(std::string("can't ") + attempt + ' ' + path_ + ": it is no file");
}

void FileStream::refuse(const char* attempt, int error) const {
    throw std::system_error(error, std::generic_category(), std::string("can't ") + attempt + ' ' + path_);
}

HRESULT FileStream::Read(void* buffer, std::uint32_t size, std::uint32_t* read) {
    std::uint32_t count = 0;
    ssize_t got = 1;
    while (count < size && got != 0) {
        got = ::read(descriptor_, static_cast<char*>(buffer) + count, size - count);
        if (got < 0 && errno != EINTR) break;
        if (got > 0) count += static_cast<std::uint32_t>(got);
    }
    if (read != nullptr) *read = count;
    return got < 0 ? STG_E_READFAULT : S_OK;
}

HRESULT FileStream::Write(const void* data, std::uint32_t size, std::uint32_t* written) {
    std::uint32_t count = 0;
    while (count < size && writeError_ == 0) {
        const ssize_t went = ::write(descriptor_, static_cast<const char*>(data) + count, size - count);
        if (went < 0 && errno != EINTR) writeError_ = errno;
        if (went > 0) count += static_cast<std::uint32_t>(went);
    }
    if (written != nullptr) *written = count;
    return writeError_ != 0 ? writeStatus(writeError_) : S_OK;
}

void FileStream::commit() {
    if (writeError_ != 0) refuse("write", writeError_);
    if (fsync(descriptor_) != 0 || std::rename(part_.c_str(), target_.c_str()) != 0) refuse("write", errno);
    part_.clear();
    syncDirectory(std::filesystem::path(target_).parent_path());
}

}  // namespace mcgate::platform
