#include "ts/packet_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace mcgate::host {

namespace {

constexpr std::uint8_t kSync = 0x47;
constexpr std::size_t kChunk = 65536;
constexpr std::size_t kSyncWindow = 8192;
constexpr int kPollMs = 100;
constexpr std::size_t kRepeats = 5;

// Offset of the first place from which sync bytes repeat at this distance; the end of the data counts as agreeing.
std::size_t syncAt(const std::uint8_t* data, std::size_t size, std::size_t distance) {
    for (std::size_t start = 0; start < distance && start < size; ++start) {
        std::size_t hits = 0;
        std::size_t at = start;
        while (hits < kRepeats && at < size && data[at] == kSync) {
            ++hits;
            at += distance;
        }
        if (hits == kRepeats || (hits > 0 && at >= size)) return start;
    }
    return size;
}

}  // namespace

PacketReader::PacketReader(const std::string& path) : path_(path == "-" ? "standard input" : path) {
    // Without O_NONBLOCK, opening a named pipe would wait for a writer without end; next() polls.
    descriptor_ = path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                              : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0) throw std::runtime_error("can't open " + path_ + ": " + std::strerror(errno));
    lookAtSize();
}

PacketReader::~PacketReader() { close(descriptor_); }

bool PacketReader::fill() {
    pollfd watched{descriptor_, POLLIN, 0};
    if (poll(&watched, 1, kPollMs) <= 0) return false;
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(begin_));
    begin_ = 0;
    const std::size_t had = buffer_.size();
    buffer_.resize(had + kChunk);
    const ssize_t got = read(descriptor_, buffer_.data() + had, kChunk);
    const int error = errno;
    buffer_.resize(had + static_cast<std::size_t>(got > 0 ? got : 0));
    if (got < 0 && error != EINTR && error != EAGAIN)
        throw std::runtime_error("can't read " + path_ + ": " + std::strerror(error));
    ended_ = got == 0;
    fetched_ += got > 0 ? static_cast<std::uint64_t>(got) : 0;
    return true;
}

void PacketReader::lookAtSize() noexcept {
    struct stat file {};
    size_ = fstat(descriptor_, &file) == 0 && S_ISREG(file.st_mode) ? static_cast<std::uint64_t>(file.st_size) : 0;
}

// Called with enough bytes, or with all there are.
bool PacketReader::findSync() {
    const std::uint8_t* data = buffer_.data() + begin_;
    const std::size_t size = buffer_.size() - begin_;
    const std::size_t start = syncAt(data, size, kPacketSize);
    if (start < size) {
        begin_ += start;
        synced_ = true;
        return true;
    }
    for (const std::size_t other : {std::size_t{204}, std::size_t{192}}) {
        if (size > 3 * other && syncAt(data, size, other) < size) {
            throw std::runtime_error(path_ + " has packets of " + std::to_string(other) + " bytes" +
                                     (other == 204 ? " (with error correction)" : " (with time stamps in front)") +
                                     "; mcgate takes packets of 188 bytes");
        }
    }
    if (total_ == 0)
        throw std::runtime_error(path_ + " is no transport stream: no packets of 188 bytes in its beginning");
    begin_ = buffer_.size();
    return false;
}

PacketReader::Result PacketReader::next(TsPacket& out) {
    for (;;) {
        const std::size_t wanted = synced_ ? kPacketSize : kSyncWindow;
        if (buffer_.size() - begin_ < wanted && !ended_) {
            if (!fill()) return Result::Nothing;
            continue;
        }
        if (buffer_.size() - begin_ < kPacketSize) {
            if (total_ == 0)
                throw std::runtime_error(path_ + " is no transport stream: it ends before its first packet");
            return Result::End;
        }
        if (synced_ && buffer_[begin_] != kSync) synced_ = false;
        if (!synced_) {
            if (buffer_.size() - begin_ >= kSyncWindow || ended_) findSync();
            continue;
        }
        std::memcpy(out.data(), buffer_.data() + begin_, kPacketSize);
        begin_ += kPacketSize;
        total_ += kPacketSize;
        return Result::Packet;
    }
}

bool PacketReader::rewind() {
    if (lseek(descriptor_, 0, SEEK_SET) != 0) return false;
    buffer_.clear();
    begin_ = 0;
    synced_ = false;
    ended_ = false;
    fetched_ = 0;
    ++pass_;
    lookAtSize();
    return true;
}

}  // namespace mcgate::host
