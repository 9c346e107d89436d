#include "io/output_file.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

namespace mcgate::host {

namespace {

constexpr std::size_t kGather = 65536;
constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::seconds kGrace{1};

constexpr const char* kStandardOutput = "standard output";

[[noreturn]] void refuse(const std::string& name, int error) {
    throw std::runtime_error("can't write " + name + ": " + std::strerror(error));
}

int flagsOf(OutputFile::Begin begin, const std::string& path) {
    switch (begin) {
        case OutputFile::Begin::Append:
            return O_CREAT | O_APPEND;
        case OutputFile::Begin::AppendOwn:
            return O_CREAT | O_APPEND | O_NOFOLLOW;
        case OutputFile::Begin::Empty:
            return O_CREAT | O_TRUNC;
        case OutputFile::Begin::New:
            break;
    }
    struct stat kind {};
    const bool isPipe = lstat(path.c_str(), &kind) == 0 && S_ISFIFO(kind.st_mode);
    return O_NOFOLLOW | (isPipe ? 0 : O_CREAT | O_EXCL);
}

}  // namespace

OutputFile::OutputFile(const std::string& path, Stop stopRequested, Begin begin)
    : path_(path),
      name_(path == "-" ? kStandardOutput : path),
      stopRequested_(std::move(stopRequested)),
      flags_(flagsOf(begin, path)) {
    open();
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

void OutputFile::fail() const { refuse(name_, errno); }

// False for a named pipe that nobody reads yet: opening it in the common way would wait without end.
bool OutputFile::open() {
    descriptor_ = path_ == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                               : ::open(path_.c_str(), O_WRONLY | flags_ | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    struct stat kind {};
    if (descriptor_ < 0) {
        const int error = errno;
        if (error == ENXIO && stat(path_.c_str(), &kind) == 0 && S_ISFIFO(kind.st_mode)) return false;
        refuse(name_, error);
    }
    const bool isKnown = fstat(descriptor_, &kind) == 0;
    const int error = isKnown ? EEXIST : errno;
    if (!isKnown || (path_ != "-" && (flags_ & O_CREAT) == 0 && !S_ISFIFO(kind.st_mode))) {
        ::close(std::exchange(descriptor_, -1));  // no destructor does, where the constructor throws
        refuse(name_, error);
    }
    isFile_ = S_ISREG(kind.st_mode);
    isSocket_ = S_ISSOCK(kind.st_mode);
    return true;
}

void OutputFile::check(const std::string& path) {
    if (path == "-") return;
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) refuse(path, EISDIR);
    if (access(path.c_str(), W_OK) == 0) return;
    if (errno != ENOENT) refuse(path, errno);
    const auto directory = std::filesystem::path(path).parent_path();
    if (access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) != 0) refuse(path, errno);
}

void OutputFile::write(const std::uint8_t* data, std::size_t size) {
    if (!isFile_) {
        writeOut(data, size);
        return;
    }
    gathered_.insert(gathered_.end(), data, data + size);
    if (gathered_.size() >= kGather) flush();
}

void OutputFile::flush() {
    std::vector<std::uint8_t> block;
    block.swap(gathered_);  // bytes that fail are not tried again
    writeOut(block.data(), block.size());
    block.clear();
    gathered_.swap(block);
}

// Standard output may be shared with others, so its mode is left alone: a pipe that polls as writable takes this much
// without waiting.
void OutputFile::writeOut(const std::uint8_t* data, std::size_t size) {
    while (size > 0) {
        if (!isFile_ && !waitUntilWritable()) {
            givenUp_ += size;
            return;
        }
        const std::size_t piece = isFile_ ? size : std::min<std::size_t>(size, PIPE_BUF);
        const ssize_t written =
            isSocket_ ? send(descriptor_, data, piece, MSG_DONTWAIT) : ::write(descriptor_, data, piece);
        if (written < 0 && errno != EAGAIN && errno != EINTR) fail();
        if (written <= 0) continue;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

bool OutputFile::waitUntilWritable() {
    while (mayWait()) {
        if (descriptor_ < 0 && !open()) {
            std::this_thread::sleep_for(kLook);
            continue;
        }
        pollfd watched{descriptor_, POLLOUT, 0};
        if (poll(&watched, 1, static_cast<int>(kLook.count())) > 0) return true;
    }
    return false;
}

// A stop request that was taken back gives up nothing more.
bool OutputFile::mayWait() {
    const auto now = std::chrono::steady_clock::now();
    if (!stopRequested_()) {
        deadline_.reset();
    } else if (!deadline_) {
        deadline_ = now + kGrace;
    }
    return !deadline_ || now < *deadline_;
}

}  // namespace mcgate::host
