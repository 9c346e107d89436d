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

private:
    bool fill();
    bool findSync();

    const std::string path_;
    int descriptor_ = -1;
    bool synced_ = false;
    bool ended_ = false;
    std::vector<std::uint8_t> buffer_;
    std::size_t begin_ = 0;
    std::uint64_t total_ = 0;
};

}  // namespace mcgate::host
