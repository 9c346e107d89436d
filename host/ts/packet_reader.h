#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ts/ts_packet.h"

namespace mcgate::host {

/// Reads the packets of a file, or of standard input for the path "-". One thread.
class PacketReader {
public:
    enum class Result { Packet, End, Nothing };

    /// Throws std::runtime_error that names the path and the reason.
    explicit PacketReader(const std::string& path);
    ~PacketReader();
    PacketReader(const PacketReader&) = delete;
    PacketReader& operator=(const PacketReader&) = delete;

    /// The next packet in `out`; Nothing when none came within 100 ms. Bytes between packets are passed over. Throws
    /// std::runtime_error for a read error, an input without packets, and packets of 204 or 192 bytes.
    Result next(TsPacket& out);
    /// Back to the beginning; false where the input can't.
    bool rewind();
    std::uint64_t bytesRead() const noexcept { return total_; }
    /// How far it has read.
    struct Place {
        std::uint64_t position = 0;  ///< bytes of the present pass, whatever they were
        std::uint64_t size = 0;      ///< bytes that the file had at the beginning of the pass; 0: no file
        std::uint64_t pass = 1;      ///< from 1, counts the rewinds
    };
    Place place() const noexcept { return {fetched_ - (buffer_.size() - begin_), size_, pass_}; }

private:
    bool fill();
    bool findSync();
    void lookAtSize() noexcept;

    const std::string path_;
    int descriptor_ = -1;
    bool synced_ = false;
    bool ended_ = false;
    std::vector<std::uint8_t> buffer_;
    std::size_t begin_ = 0;
    std::uint64_t total_ = 0;
    std::uint64_t fetched_ = 0;  ///< bytes of this pass
    std::uint64_t size_ = 0;
    std::uint64_t pass_ = 1;
};

}  // namespace mcgate::host
